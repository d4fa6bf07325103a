// A COLLADA document held in memory as a compact tree, for the faithful
// output: the elements a scene is bound from, their attributes and text,
// with the large number lists (float_array, p, vcount, h) parsed into
// vectors while they stream in. Elements that the scene never reads (and
// everything below them) are not kept, so memory stays linear in the
// document and small beside it.
// A COLLADA document held in memory as a compact tree, for the faithful
// output: the elements a scene is bound from, their attributes and text,
// with the large number lists (float_array, p, vcount, h) parsed into
// numbers while they stream in. Elements that the scene never reads (and
// everything below them) are not kept. An element is a few dozen bytes;
// names are indexes into the tables of kept names, and values, text and
// numbers sit in blocks of the tree that never move. All of it is counted
// against the conversion's memory budget.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "events/xml_reader.h"
#include "support/memory_budget.h"

namespace morvane::faithful {

inline constexpr std::uint32_t kNoElement = 0xFFFFFFFFu;

// One kept attribute: the index of its name, and its value in the tree.
struct AttributeValue {
    const char* Data = nullptr;
    std::uint32_t Size = 0;
    std::uint8_t Name = 0;
};

class Element {
public:
    std::string_view Name() const;
    // The attribute's value; empty when it is missing.
    std::string_view Attribute(std::string_view name) const;
    bool HasAttribute(std::string_view name) const;
    // The text of an element that is not a number list.
    std::string_view Text() const;
    // float_array.
    std::span<const float> Floats() const;
    // p, vcount, h: negative numbers and numbers past 2^31 - 1 become -1.
    std::span<const std::int32_t> Ints() const;

    std::uint32_t Parent = kNoElement;
    std::uint32_t FirstChild = kNoElement;
    std::uint32_t LastChild = kNoElement;
    std::uint32_t Next = kNoElement;

private:
    friend class DocumentTreeReader;
    enum class Content : std::uint8_t { Text, Floats, Ints };

    const void* content_ = nullptr;
    const AttributeValue* attributes_ = nullptr;
    std::uint32_t contentSize_ = 0;
    std::uint8_t name_ = 0;
    std::uint8_t attributeCount_ = 0;
    Content kind_ = Content::Text;
};

// Values kept in blocks that never move, so that a view of a run of them
// stays valid while more are added. The open run grows at the end of the
// last block; a run that outgrows its block moves to a new one, half as
// large again as the run at least. Every block is charged to the budget.
template <class T>
class RunStore {
public:
    explicit RunStore(MemoryBudget& budget) : budget_(budget) {}
    RunStore(const RunStore&) = delete;
    RunStore& operator=(const RunStore&) = delete;
    ~RunStore() { Clear(); }

    void Push(const T& value) {
        if (used_ == capacity_) Grow(1);
        last_[used_++] = value;
    }
    void Append(const T* values, std::size_t count) {
        if (capacity_ - used_ < count) Grow(count);
        std::copy_n(values, count, last_ + used_);
        used_ += count;
    }
    std::size_t OpenSize() const { return used_ - start_; }
    // Drops the open run.
    void Discard() { used_ = start_; }
    // Ends the open run and gives it.
    std::span<const T> Close() {
        const std::span<const T> run(last_ + start_, used_ - start_);
        start_ = used_;
        return run;
    }
    void Clear() {
        budget_.Release(charged_);
        blocks_.clear();
        last_ = nullptr;
        capacity_ = used_ = start_ = 0;
        charged_ = 0;
    }

private:
    static constexpr std::size_t kBlock = (std::size_t{64} << 10) / sizeof(T);

    void Grow(std::size_t more) {
        const std::size_t run = used_ - start_;
        const std::size_t capacity = std::max(kBlock, run + more + run / 2);
        budget_.Charge(capacity * sizeof(T));
        charged_ += capacity * sizeof(T);
        std::unique_ptr<T[]> block(new T[capacity]);
        if (run > 0) std::copy_n(last_ + start_, run, block.get());
        if (start_ == 0 && !blocks_.empty()) {
            // The last block held nothing but the run that leaves it.
            budget_.Release(capacity_ * sizeof(T));
            charged_ -= capacity_ * sizeof(T);
            blocks_.pop_back();
        }
        last_ = block.get();
        blocks_.push_back(std::move(block));
        capacity_ = capacity;
        used_ = run;
        start_ = 0;
    }

    MemoryBudget& budget_;
    std::vector<std::unique_ptr<T[]>> blocks_;
    T* last_ = nullptr;
    std::size_t capacity_ = 0;
    std::size_t used_ = 0;
    std::size_t start_ = 0;
    std::uint64_t charged_ = 0;
};

// Numbers in the text of a small element (a matrix, a colour, a float):
// blanks between them, anything unreadable read as 0.
std::vector<double> ParseNumbers(std::string_view text);
// The text without the blanks around it.
std::string_view Trim(std::string_view text);
// The blank-separated words of a text (an IDREF_array's ids).
std::vector<std::string_view> Words(std::string_view text);

class DocumentTree;

// The children of one name, in document order, walked where they are.
class NamedChildren {
public:
    class Iterator {
    public:
        using value_type = const Element*;
        using difference_type = std::ptrdiff_t;

        Iterator() = default;
        Iterator(const DocumentTree* tree, const Element* at, std::string_view name)
            : tree_(tree), at_(at), name_(name) {}
        const Element* operator*() const { return at_; }
        Iterator& operator++();
        Iterator operator++(int) {
            Iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const Iterator& other) const { return at_ == other.at_; }

    private:
        const DocumentTree* tree_ = nullptr;
        const Element* at_ = nullptr;
        std::string_view name_;
    };

    NamedChildren() = default;
    NamedChildren(const DocumentTree& tree, const Element& parent, std::string_view name);
    Iterator begin() const { return first_; }
    Iterator end() const { return {}; }
    bool empty() const { return *first_ == nullptr; }

private:
    Iterator first_;
};

class DocumentTree {
public:
    DocumentTree();
    DocumentTree(const DocumentTree&) = delete;
    DocumentTree& operator=(const DocumentTree&) = delete;

    // The root element (COLLADA), or null for a document without one.
    const Element* Root() const { return At(0); }
    const Element* At(std::uint32_t index) const {
        return index >= count_ ? nullptr : &blocks_[index >> kBlockBits][index & kBlockMask];
    }
    std::uint32_t Size() const { return count_; }

    // The element whose id is `id`; a leading '#' is dropped. The first one
    // in document order wins. A URL whose document part names this document
    // ("self.dae#cube", "./self.dae#cube") finds it here too; one naming
    // another document finds nothing.
    const Element* FindId(std::string_view id) const { return At(FindIdIndex(id)); }
    std::uint32_t FindIdIndex(std::string_view id) const;
    // The document's own file name, for the URLs that name it.
    void SetDocumentName(std::string_view name) { documentName_ = name; }

    // Children in document order.
    const Element* FirstChild(const Element& parent) const { return At(parent.FirstChild); }
    const Element* NextSibling(const Element& element) const { return At(element.Next); }
    const Element* Parent(const Element& element) const { return At(element.Parent); }
    const Element* Child(const Element& parent, std::string_view name) const;
    NamedChildren Children(const Element& parent, std::string_view name) const { return {*this, parent, name}; }
    // The text of the first descendant along a path of child names.
    std::string_view TextAt(const Element& parent, std::initializer_list<std::string_view> path) const;

    // What the tree and the conversion that writes it may hold in memory.
    MemoryBudget& Budget() const { return budget_; }
    // Empties the tree; the budget keeps its input.
    void Clear();

private:
    friend class DocumentTreeReader;
    static constexpr unsigned kBlockBits = 12;
    static constexpr std::uint32_t kBlockMask = (1u << kBlockBits) - 1;

    Element& Add();
    Element& Get(std::uint32_t index) { return blocks_[index >> kBlockBits][index & kBlockMask]; }
    void IndexIds();

    mutable MemoryBudget budget_;
    std::vector<std::unique_ptr<Element[]>> blocks_;
    std::uint32_t count_ = 0;
    RunStore<char> chars_;
    RunStore<AttributeValue> attributes_;
    RunStore<float> floats_;
    RunStore<std::int32_t> ints_;
    // The elements that have an id, ordered by id and then by place.
    std::vector<std::uint32_t> ids_;
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
    // The parser's buffer takes up to twice what it holds.
    void bytesGiven(std::uint64_t total, std::uint64_t held) override {
        tree_.Budget().Read(total);
        tree_.Budget().HoldForParser(2 * held);
    }

    DocumentTree& Tree() { return tree_; }
    std::uint64_t InputBytes() const { return inputBytes_; }
    bool Ended() const { return ended_; }

private:
    enum class ListKind { None, Floats, Ints };
    // Ends the text or the number list of the open element. Text before a
    // child is white space between elements, never a value: it is dropped.
    void CloseContent(bool childFollows);
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
