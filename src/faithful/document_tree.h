// A COLLADA document held in memory as a compact tree, for the faithful
// output: the elements a scene is bound from, their attributes and text,
// with the large number lists (float_array, p, vcount, h) parsed into
// vectors while they stream in. Elements that the scene never reads (and
// everything below them) are not kept, so memory stays linear in the
// document and small beside it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "events/xml_reader.h"

namespace morvane::faithful {

inline constexpr std::uint32_t kNoElement = 0xFFFFFFFFu;

struct Element {
    std::string Name;
    std::vector<std::pair<std::string, std::string>> Attributes;
    // The text of an element that is not a number list.
    std::string Text;
    // float_array.
    std::vector<float> Floats;
    // p, vcount, h: negative numbers and numbers past 2^31 - 1 become -1.
    std::vector<std::int32_t> Ints;
    std::uint32_t Parent = kNoElement;
    std::uint32_t FirstChild = kNoElement;
    std::uint32_t LastChild = kNoElement;
    std::uint32_t Next = kNoElement;

    // The attribute's value; empty when it is missing.
    std::string_view Attribute(std::string_view name) const;
    bool HasAttribute(std::string_view name) const;
};

// Numbers in the text of a small element (a matrix, a colour, a float):
// blanks between them, anything unreadable read as 0.
std::vector<double> ParseNumbers(std::string_view text);
// The text without the blanks around it.
std::string_view Trim(std::string_view text);
// The blank-separated words of a text (an IDREF_array's ids).
std::vector<std::string_view> Words(std::string_view text);

class DocumentTree {
public:
    // The root element (COLLADA), or null for a document without one.
    const Element* Root() const { return elements_.empty() ? nullptr : &elements_[0]; }
    const Element* At(std::uint32_t index) const { return index == kNoElement ? nullptr : &elements_[index]; }

    // The element whose id is `id`; a leading '#' is dropped. The first one
    // in document order wins. A URL whose document part names this document
    // ("self.dae#cube", "./self.dae#cube") finds it here too; one naming
    // another document finds nothing.
    const Element* FindId(std::string_view id) const;
    // The document's own file name, for the URLs that name it.
    void SetDocumentName(std::string_view name) { documentName_ = name; }

    // Children in document order.
    const Element* FirstChild(const Element& parent) const { return At(parent.FirstChild); }
    const Element* NextSibling(const Element& element) const { return At(element.Next); }
    const Element* Parent(const Element& element) const { return At(element.Parent); }
    const Element* Child(const Element& parent, std::string_view name) const;
    std::vector<const Element*> Children(const Element& parent, std::string_view name) const;
    // The text of the first descendant along a path of child names.
    std::string_view TextAt(const Element& parent, std::initializer_list<std::string_view> path) const;

    std::vector<Element>& Elements() { return elements_; }
    void IndexIds();

private:
    std::vector<Element> elements_;
    std::unordered_map<std::string_view, std::uint32_t> ids_;
    std::string documentName_;
};

// The content handler that builds the tree. A document refused on the way
// throws a ConversionError: nodes nested deeper than 1000 levels, or a
// number list that would reach 2^31 entries.
class DocumentTreeReader final : public SaxContentHandler {
public:
    void startDocument() override;
    void endDocument() override;
    void startElement(std::string_view localName, const AttributeList& attributes) override;
    void endElement(std::string_view localName) override;
    void characters(const char* chars, std::size_t count) override;
    void documentBytes(std::uint64_t bytes) override { inputBytes_ = bytes; }

    DocumentTree& Tree() { return tree_; }
    std::uint64_t InputBytes() const { return inputBytes_; }
    bool Ended() const { return ended_; }

private:
    enum class ListKind { None, Floats, Ints };
    // Reads the numbers of `text` into the open element, all of them when
    // `last`, else all but one that reaches its end; gives how far it read.
    std::size_t TakeNumbers(std::string_view text, bool last);

    DocumentTree tree_;
    std::uint32_t open_ = kNoElement;
    // Depth inside an element that is not kept: its whole subtree is dropped.
    std::uint64_t skipDepth_ = 0;
    std::uint32_t nodeDepth_ = 0;
    ListKind list_ = ListKind::None;
    // A number that began at the end of the last piece of text.
    std::string carry_;
    std::uint64_t inputBytes_ = 0;
    bool ended_ = false;
};

}  // namespace morvane::faithful
