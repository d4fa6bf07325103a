#include "faithful/document_tree.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>

#include "support/conversion_error.h"

namespace morvane::faithful {

namespace {

// The elements a scene is bound from. Anything else is dropped with all
// that it holds. double_sided is read from an effect's extra technique.
constexpr std::string_view kKeptElements[] = {
    "COLLADA", "asset", "contributor", "author", "authoring_tool", "comments", "copyright", "source_data", "title",
    "subject", "keywords", "created", "modified", "revision", "unit", "up_axis", "library_visual_scenes",
    "library_nodes", "library_geometries", "library_controllers", "library_materials", "library_effects",
    "library_images", "library_cameras", "library_lights", "scene", "instance_visual_scene", "visual_scene", "node",
    "matrix", "translate", "rotate", "scale", "lookat", "skew", "instance_geometry", "instance_controller",
    "instance_node", "instance_camera", "instance_light", "bind_material", "technique_common", "instance_material",
    "bind_vertex_input", "geometry", "mesh", "source", "float_array", "accessor", "param", "vertices", "input",
    "triangles", "polylist", "polygons", "tristrips", "trifans", "lines", "linestrips", "p", "vcount", "ph", "h",
    "controller", "skin", "morph", "bind_shape_matrix", "camera", "optics", "perspective", "orthographic", "xfov",
    "yfov", "aspect_ratio", "znear", "zfar", "light", "point", "directional", "spot", "ambient", "color",
    "constant_attenuation", "linear_attenuation", "quadratic_attenuation", "falloff_angle", "material",
    "instance_effect", "effect", "profile_COMMON", "newparam", "surface", "init_from", "sampler2D", "technique",
    "phong", "blinn", "lambert", "constant", "emission", "diffuse", "specular", "shininess", "transparent",
    "transparency", "float", "texture", "image", "extra", "xmag", "ymag", "targets", "IDREF_array", "double_sided"};

constexpr std::string_view kKeptAttributes[] = {
    "id",     "name",     "sid",      "url",      "source",         "target",    "symbol",   "material",
    "semantic", "offset", "set",      "count",    "stride",         "texture",   "texcoord", "opaque",
    "profile", "type",    "input_semantic", "input_set", "meter", "ref", "method"};

static_assert(std::size(kKeptElements) <= 256 && std::size(kKeptAttributes) <= 256);

// The index of `name` in `table`, or -1.
template <std::size_t N>
int IndexIn(const std::string_view (&table)[N], std::string_view name) {
    const auto found = std::find(std::begin(table), std::end(table), name);
    return found == std::end(table) ? -1 : static_cast<int>(found - std::begin(table));
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// An index of a list: a whole number from 0 to 2^31 - 1. Anything else
// becomes -1, which no array has. Plain digits, by far the most common
// form, are read here; signs and long runs of leading zeros go through
// from_chars.
std::int32_t ParseIndex(const char* first, const char* stop) {
    if (first != stop && stop - first <= 9) {
        std::int32_t value = 0;
        const char* at = first;
        for (; at != stop; ++at) {
            const unsigned digit = static_cast<unsigned char>(*at) - static_cast<unsigned>('0');
            if (digit > 9) break;
            value = value * 10 + static_cast<std::int32_t>(digit);
        }
        if (at == stop) return value;
    }
    std::int64_t value = -1;
    const auto [ptr, error] = std::from_chars(first, stop, value);
    const bool good = error == std::errc() && ptr == stop && value >= 0 &&
                      value <= std::numeric_limits<std::int32_t>::max();
    return good ? static_cast<std::int32_t>(value) : -1;
}

constexpr std::size_t kMostEntries = (std::size_t{1} << 31) - 1;

}  // namespace

std::string_view Element::Name() const { return kKeptElements[name_]; }

std::string_view Element::Attribute(std::string_view name) const {
    for (const AttributeValue& value : std::span(attributes_, attributeCount_)) {
        if (kKeptAttributes[value.Name] == name) return {value.Data, value.Size};
    }
    return {};
}

bool Element::HasAttribute(std::string_view name) const {
    return std::any_of(attributes_, attributes_ + attributeCount_,
                       [&](const AttributeValue& value) { return kKeptAttributes[value.Name] == name; });
}

std::string_view Element::Text() const {
    return kind_ == Content::Text && contentSize_ > 0 ? std::string_view(static_cast<const char*>(content_), contentSize_)
                                                      : std::string_view();
}

std::span<const float> Element::Floats() const {
    if (kind_ != Content::Floats || contentSize_ == 0) return {};
    return {static_cast<const float*>(content_), contentSize_};
}

std::span<const std::int32_t> Element::Ints() const {
    if (kind_ != Content::Ints || contentSize_ == 0) return {};
    return {static_cast<const std::int32_t*>(content_), contentSize_};
}

std::vector<std::string_view> Words(std::string_view text) {
    std::vector<std::string_view> words;
    std::size_t at = 0;
    while (at < text.size()) {
        while (at < text.size() && IsBlank(text[at])) ++at;
        std::size_t end = at;
        while (end < text.size() && !IsBlank(text[end])) ++end;
        if (end == at) break;
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::vector<double> ParseNumbers(std::string_view text) {
    std::vector<double> numbers;
    for (const std::string_view word : Words(text)) {
        double value = 0.0;
        const char* first = word.data();
        if (*first == '+') ++first;
        const auto [ptr, error] = std::from_chars(first, word.data() + word.size(), value);
        numbers.push_back(error == std::errc() && ptr == word.data() + word.size() ? value : 0.0);
    }
    return numbers;
}

DocumentTree::DocumentTree() : chars_(budget_), attributes_(budget_), floats_(budget_), ints_(budget_) {}

void DocumentTree::Clear() {
    budget_.Release(blocks_.size() * sizeof(Element) * (kBlockMask + 1) + ids_.capacity() * sizeof(std::uint32_t));
    blocks_.clear();
    count_ = 0;
    chars_.Clear();
    attributes_.Clear();
    floats_.Clear();
    ints_.Clear();
    ids_ = {};
    documentName_.clear();
}

Element& DocumentTree::Add() {
    if ((count_ & kBlockMask) == 0) {
        budget_.Charge(sizeof(Element) * (kBlockMask + 1));
        blocks_.push_back(std::make_unique<Element[]>(kBlockMask + 1));
    }
    return Get(count_++);
}

std::uint32_t DocumentTree::FindIdIndex(std::string_view id) const {
    if (const std::size_t hash = id.find('#'); hash != std::string_view::npos) {
        std::string_view document = id.substr(0, hash);
        while (document.starts_with("./")) document.remove_prefix(2);
        if (!document.empty() && (documentName_.empty() || document != documentName_)) return kNoElement;
        id.remove_prefix(hash + 1);
    }
    const auto found = std::lower_bound(ids_.begin(), ids_.end(), id, [&](std::uint32_t index, std::string_view key) {
        return At(index)->Attribute("id") < key;
    });
    return found != ids_.end() && At(*found)->Attribute("id") == id ? *found : kNoElement;
}

const Element* DocumentTree::Child(const Element& parent, std::string_view name) const {
    for (const Element* child = FirstChild(parent); child != nullptr; child = NextSibling(*child)) {
        if (child->Name() == name) return child;
    }
    return nullptr;
}

NamedChildren::NamedChildren(const DocumentTree& tree, const Element& parent, std::string_view name)
    : first_(&tree, tree.Child(parent, name), name) {}

NamedChildren::Iterator& NamedChildren::Iterator::operator++() {
    do {
        at_ = tree_->NextSibling(*at_);
    } while (at_ != nullptr && at_->Name() != name_);
    return *this;
}

std::string_view DocumentTree::TextAt(const Element& parent, std::initializer_list<std::string_view> path) const {
    const Element* at = &parent;
    for (std::string_view name : path) {
        at = Child(*at, name);
        if (at == nullptr) return {};
    }
    return at->Text();
}

void DocumentTree::IndexIds() {
    std::size_t count = 0;
    for (std::uint32_t i = 0; i < count_; ++i) count += Get(i).HasAttribute("id") ? 1 : 0;
    budget_.Charge(count * sizeof(std::uint32_t));
    ids_.reserve(count);
    budget_.Charge((ids_.capacity() - count) * sizeof(std::uint32_t));
    for (std::uint32_t i = 0; i < count_; ++i) {
        if (Get(i).HasAttribute("id")) ids_.push_back(i);
    }
    // Stable: of equal ids, the first in document order comes first.
    std::stable_sort(ids_.begin(), ids_.end(),
                     [&](std::uint32_t a, std::uint32_t b) { return At(a)->Attribute("id") < At(b)->Attribute("id"); });
}

void DocumentTreeReader::startDocument() {
    tree_.Clear();
    open_ = kNoElement;
    skipDepth_ = 0;
    nodeDepth_ = 0;
    list_ = ListKind::None;
    carry_.clear();
    inputBytes_ = 0;
    ended_ = false;
}

void DocumentTreeReader::endDocument() {
    tree_.Budget().HoldForParser(0);
    tree_.IndexIds();
    ended_ = true;
}

void DocumentTreeReader::CloseContent(bool childFollows) {
    if (open_ == kNoElement) return;
    Element& element = tree_.Get(open_);
    if (element.FirstChild != kNoElement) return;
    std::span<const char> text;
    switch (list_) {
        case ListKind::None:
            if (childFollows) {
                tree_.chars_.Discard();
                break;
            }
            text = tree_.chars_.Close();
            element.content_ = text.data();
            element.contentSize_ = static_cast<std::uint32_t>(text.size());
            element.kind_ = Element::Content::Text;
            break;
        case ListKind::Floats: {
            const std::span<const float> numbers = tree_.floats_.Close();
            element.content_ = numbers.data();
            element.contentSize_ = static_cast<std::uint32_t>(numbers.size());
            element.kind_ = Element::Content::Floats;
            break;
        }
        case ListKind::Ints: {
            const std::span<const std::int32_t> numbers = tree_.ints_.Close();
            element.content_ = numbers.data();
            element.contentSize_ = static_cast<std::uint32_t>(numbers.size());
            element.kind_ = Element::Content::Ints;
            break;
        }
    }
}

void DocumentTreeReader::startElement(std::string_view localName, const AttributeList& attributes) {
    const int name = skipDepth_ > 0 ? -1 : IndexIn(kKeptElements, localName);
    if (name < 0 || (open_ == kNoElement && tree_.Size() > 0)) {
        ++skipDepth_;
        return;
    }
    if (localName == "node" && ++nodeDepth_ > 1000) {
        throw ConversionError(ErrorKind::kTooDeep, kNestedTooDeep);
    }
    if (tree_.Size() >= kMostEntries) throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
    CloseContent(true);
    carry_.clear();
    const std::uint32_t index = tree_.Size();
    Element& element = tree_.Add();
    element.name_ = static_cast<std::uint8_t>(name);
    for (std::size_t i = 0; i < std::size(kKeptAttributes); ++i) {
        std::string_view value;
        if (!attributes.GetValueFromName(kKeptAttributes[i], value)) continue;
        if (value.size() >= kMostEntries) throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
        tree_.chars_.Append(value.data(), value.size());
        const std::span<const char> kept = tree_.chars_.Close();
        tree_.attributes_.Push({kept.data(), static_cast<std::uint32_t>(kept.size()), static_cast<std::uint8_t>(i)});
    }
    const std::span<const AttributeValue> values = tree_.attributes_.Close();
    element.attributes_ = values.data();
    element.attributeCount_ = static_cast<std::uint8_t>(values.size());
    element.Parent = open_;
    if (open_ != kNoElement) {
        Element& parent = tree_.Get(open_);
        if (parent.LastChild == kNoElement) {
            parent.FirstChild = index;
        } else {
            tree_.Get(parent.LastChild).Next = index;
        }
        parent.LastChild = index;
    }
    open_ = index;
    if (localName == "float_array") {
        list_ = ListKind::Floats;
    } else if (localName == "p" || localName == "vcount" || localName == "h") {
        list_ = ListKind::Ints;
    } else {
        list_ = ListKind::None;
    }
}

void DocumentTreeReader::endElement(std::string_view localName) {
    if (skipDepth_ > 0) {
        --skipDepth_;
        return;
    }
    if (open_ == kNoElement) return;
    if (list_ != ListKind::None && !carry_.empty()) TakeNumbers(carry_, true);
    CloseContent(false);
    carry_.clear();
    list_ = ListKind::None;
    if (localName == "node") --nodeDepth_;
    open_ = tree_.Get(open_).Parent;
}

void DocumentTreeReader::characters(const char* chars, std::size_t count) {
    if (skipDepth_ > 0 || open_ == kNoElement) return;
    // Only the innermost element's text is read: text between children is
    // never part of a value.
    if (tree_.Get(open_).FirstChild != kNoElement) return;
    if (list_ == ListKind::None) {
        if (tree_.chars_.OpenSize() + count >= kMostEntries) {
            throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
        }
        tree_.chars_.Append(chars, count);
        return;
    }
    std::string_view text(chars, count);
    if (!carry_.empty()) {
        // The number cut at the end of the last piece goes on up to the
        // first blank of this one.
        std::size_t end = 0;
        while (end < text.size() && !IsBlank(text[end])) ++end;
        carry_.append(text.substr(0, end));
        if (end == text.size()) return;
        TakeNumbers(carry_, true);
        carry_.clear();
        text.remove_prefix(end);
    }
    carry_.assign(text.substr(TakeNumbers(text, false)));
}

std::size_t DocumentTreeReader::TakeNumbers(std::string_view text, bool last) {
    std::size_t at = 0;
    while (true) {
        while (at < text.size() && IsBlank(text[at])) ++at;
        std::size_t end = at;
        while (end < text.size() && !IsBlank(text[end])) ++end;
        // A number that reaches the end of the text may go on in the next piece.
        if (end == at || (end == text.size() && !last)) break;
        const char* first = text.data() + at;
        if (*first == '+') ++first;
        const char* stop = text.data() + end;
        if (list_ == ListKind::Floats) {
            if (tree_.floats_.OpenSize() >= kMostEntries) {
                throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
            }
            double value = 0.0;
            const auto [ptr, error] = std::from_chars(first, stop, value);
            const bool good = error == std::errc() && ptr == stop;
            tree_.floats_.Push(good ? static_cast<float>(value) : 0.0f);
        } else {
            if (tree_.ints_.OpenSize() >= kMostEntries) {
                throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
            }
            tree_.ints_.Push(ParseIndex(first, stop));
        }
        at = end;
    }
    return at;
}

}  // namespace morvane::faithful
