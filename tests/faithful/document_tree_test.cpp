#include "faithful/document_tree.h"

#include <gtest/gtest.h>

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
    EXPECT_EQ(p.Ints, expected);
}

TEST(DocumentTree, NumbersCutBetweenPiecesAreJoined) {
    DocumentTreeReader ints;
    const Element& p = ReadList(ints, "p", {"12", "34 5", "6\n7", "", "8\t"});
    EXPECT_EQ(p.Ints, (std::vector<std::int32_t>{1234, 56, 78}));

    DocumentTreeReader floats;
    const Element& array = ReadList(floats, "float_array", {"1.", "25 -", "0.5e", "1 2"});
    EXPECT_EQ(array.Floats, (std::vector<float>{1.25f, -5.0f, 2.0f}));
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

}  // namespace
}  // namespace morvane::faithful
