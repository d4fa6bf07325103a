#include "faithful/document_tree.h"

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <vector>

namespace morvane::faithful {
namespace {

// An element's attributes: an id, or none when it is empty.
class IdAttribute final : public AttributeList {
public:
    explicit IdAttribute(std::string_view id = "") : id_(id) {}
    bool GetValueFromName(std::string_view name, std::string_view& value) const override {
        if (name != "id" || id_.empty()) return false;
        value = id_;
        return true;
    }

private:
    std::string_view id_;
};

template <class T>
std::vector<T> Values(std::span<const T> values) {
    return {values.begin(), values.end()};
}

// Reads <COLLADA><mesh><list>…</list></mesh></COLLADA>, the list's text given
// in the pieces a parser may cut it into.
const Element& ReadList(DocumentTreeReader& reader, std::string_view list, const std::vector<std::string>& pieces) {
    const IdAttribute none;
    reader.startDocument();
    reader.startElement("COLLADA", none);
    reader.startElement("mesh", none);
    reader.startElement(list, none);
    for (const std::string& piece : pieces) reader.characters(piece.data(), piece.size());
    reader.endElement(list);
    reader.endElement("mesh");
    reader.endElement("COLLADA");
    reader.endDocument();
    const DocumentTree& tree = reader.Tree();
    return *tree.Child(*tree.Child(*tree.Root(), "mesh"), list);
}

TEST(DocumentTree, IndexListsKeepWholeNumbersUpTo2To31AndMarkTheRestMinusOne) {
    DocumentTreeReader reader;
    const Element& p = ReadList(reader, "p",
                                {"0 7 +2 007 2147483647 2147483648 -0 -3 1.5 x 00000000000012 99999999999 "});
    const std::vector<std::int32_t> expected = {0, 7, 2, 7, 2147483647, -1, 0, -1, -1, -1, 12, -1};
    EXPECT_EQ(Values(p.Ints()), expected);
}

TEST(DocumentTree, NumbersCutBetweenPiecesAreJoined) {
    DocumentTreeReader ints;
    const Element& p = ReadList(ints, "p", {"12", "34 5", "6\n7", "", "8\t"});
    EXPECT_EQ(Values(p.Ints()), (std::vector<std::int32_t>{1234, 56, 78}));

    DocumentTreeReader floats;
    const Element& array = ReadList(floats, "float_array", {"1.", "25 -", "0.5e", "1 2"});
    EXPECT_EQ(Values(array.Floats()), (std::vector<float>{1.25f, -5.0f, 2.0f}));
}

TEST(DocumentTree, UrlsNamingThisDocumentFindItsElementsAndOthersFindNothing) {
    DocumentTreeReader reader;
    reader.startDocument();
    reader.startElement("COLLADA", IdAttribute());
    reader.startElement("geometry", IdAttribute("cube"));
    reader.endElement("geometry");
    reader.endElement("COLLADA");
    reader.endDocument();
    DocumentTree& tree = reader.Tree();
    const Element* cube = tree.Child(*tree.Root(), "geometry");
    ASSERT_NE(cube, nullptr);
    EXPECT_EQ(tree.FindId("#cube"), cube);
    EXPECT_EQ(tree.FindId("cube"), cube);
    // Without a name of its own, a document part names another document.
    EXPECT_EQ(tree.FindId("self.dae#cube"), nullptr);
    tree.SetDocumentName("self.dae");
    EXPECT_EQ(tree.FindId("self.dae#cube"), cube);
    EXPECT_EQ(tree.FindId("./self.dae#cube"), cube);
    EXPECT_EQ(tree.FindId("other.dae#cube"), nullptr);
    EXPECT_EQ(tree.FindId("../self.dae#cube"), nullptr);
    EXPECT_EQ(tree.FindId("self.dae#sphere"), nullptr);
}

// Far more elements, attributes, text and numbers than one block of the
// tree holds, with a number list and a text that outgrow their blocks
// while they stream in: every value stays where its element finds it.
TEST(DocumentTree, ValuesStayWhereTheirElementsFindThemAcrossBlocks) {
    constexpr int kNodes = 10000;
    constexpr int kNumbers = 40000;
    DocumentTreeReader reader;
    reader.startDocument();
    reader.startElement("COLLADA", IdAttribute());
    std::vector<std::string> ids;
    std::vector<std::string> texts;
    for (int i = 0; i < kNodes; ++i) {
        ids.push_back(std::string(1, 'n') += std::to_string(i));
        texts.push_back(std::string(1, 't') += std::to_string(i));
    }
    for (int i = 0; i < kNodes; ++i) {
        reader.startElement("node", IdAttribute(ids[i]));
        reader.characters(texts[i].data(), texts[i].size());
        reader.endElement("node");
    }
    reader.startElement("float_array", IdAttribute("numbers"));
    for (int i = 0; i < kNumbers; ++i) {
        const std::string number = std::to_string(i).append(" ");
        reader.characters(number.data(), number.size());
    }
    reader.endElement("float_array");
    reader.startElement("comments", IdAttribute("long"));
    const std::string line(1000, 'x');
    for (int i = 0; i < 100; ++i) reader.characters(line.data(), line.size());
    reader.endElement("comments");
    // An id given twice: the first in document order is found.
    reader.startElement("node", IdAttribute("n5"));
    reader.endElement("node");
    reader.endElement("COLLADA");
    reader.endDocument();

    const DocumentTree& tree = reader.Tree();
    for (int i = 0; i < kNodes; ++i) {
        const Element* node = tree.FindId(ids[i]);
        ASSERT_NE(node, nullptr) << ids[i];
        EXPECT_EQ(node->Name(), "node");
        EXPECT_EQ(node->Text(), texts[i]);
        EXPECT_EQ(node->Attribute("id"), ids[i]);
    }
    const std::span<const float> numbers = tree.FindId("numbers")->Floats();
    ASSERT_EQ(numbers.size(), std::size_t{kNumbers});
    for (int i = 0; i < kNumbers; ++i) ASSERT_EQ(numbers[i], static_cast<float>(i)) << i;
    EXPECT_EQ(tree.FindId("long")->Text(), std::string(100000, 'x'));
    EXPECT_EQ(tree.FindId("#n5")->Text(), "t5");
}

// The tree is counted against the memory budget: 40,000 elements of 40
// bytes or so pass 1 MiB, and fit once the input is large enough to allow
// 4 bytes for each of its own.
TEST(DocumentTree, ATreePastItsBudgetIsRefused) {
    const auto read = [](DocumentTreeReader& reader) {
        reader.startDocument();
        reader.startElement("COLLADA", IdAttribute());
        for (int i = 0; i < 40000; ++i) {
            reader.startElement("node", IdAttribute());
            reader.endElement("node");
        }
        reader.endElement("COLLADA");
        reader.endDocument();
    };
    DocumentTreeReader small;
    small.Tree().Budget() = MemoryBudget(std::uint64_t{1} << 20);
    try {
        read(small);
        ADD_FAILURE() << "a tree past its budget was read";
    } catch (const ConversionError& refusal) {
        EXPECT_EQ(refusal.Kind(), ErrorKind::kOutOfMemory);
        EXPECT_EQ(std::string(refusal.what()),
                  "needs more memory than its size allows (1 MiB, 4 bytes for each byte of input)");
    }
    DocumentTreeReader allowed;
    allowed.Tree().Budget() = MemoryBudget(std::uint64_t{1} << 20);
    allowed.bytesGiven(std::uint64_t{1} << 20, 0);
    read(allowed);
    EXPECT_GT(allowed.Tree().Budget().Used(), std::uint64_t{1} << 20);
    allowed.Tree().Clear();
    EXPECT_EQ(allowed.Tree().Budget().Used(), 0u);
}

}  // namespace
}  // namespace morvane::faithful
