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
// that it holds.
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
    "phong", "blinn", "lambert", "constant", "emission", "diffuse", "specular", "shininess", "transparent"};
constexpr std::string_view kMoreKeptElements[] = {"transparency", "float", "texture", "image",      "extra",
                                                 "xmag",         "ymag",  "targets", "IDREF_array"};
// double_sided is read from an effect's extra technique.
constexpr std::string_view kDoubleSided = "double_sided";

constexpr std::string_view kKeptAttributes[] = {
    "id",     "name",     "sid",      "url",      "source",         "target",    "symbol",   "material",
    "semantic", "offset", "set",      "count",    "stride",         "texture",   "texcoord", "opaque",
    "profile", "type",    "input_semantic", "input_set", "meter", "ref", "method"};

bool IsKept(std::string_view name) {
    if (name == kDoubleSided) return true;
    return std::find(std::begin(kKeptElements), std::end(kKeptElements), name) != std::end(kKeptElements) ||
           std::find(std::begin(kMoreKeptElements), std::end(kMoreKeptElements), name) != std::end(kMoreKeptElements);
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

std::string_view Element::Attribute(std::string_view name) const {
    for (const auto& [key, value] : Attributes) {
        if (key == name) return value;
    }
    return {};
}

bool Element::HasAttribute(std::string_view name) const {
    return std::any_of(Attributes.begin(), Attributes.end(), [&](const auto& entry) { return entry.first == name; });
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

const Element* DocumentTree::FindId(std::string_view id) const {
    if (const std::size_t hash = id.find('#'); hash != std::string_view::npos) {
        std::string_view document = id.substr(0, hash);
        while (document.starts_with("./")) document.remove_prefix(2);
        if (!document.empty() && (documentName_.empty() || document != documentName_)) return nullptr;
        id.remove_prefix(hash + 1);
    }
    const auto found = ids_.find(id);
    return found == ids_.end() ? nullptr : &elements_[found->second];
}

const Element* DocumentTree::Child(const Element& parent, std::string_view name) const {
    for (const Element* child = FirstChild(parent); child != nullptr; child = NextSibling(*child)) {
        if (child->Name == name) return child;
    }
    return nullptr;
}

std::vector<const Element*> DocumentTree::Children(const Element& parent, std::string_view name) const {
    std::vector<const Element*> found;
    for (const Element* child = FirstChild(parent); child != nullptr; child = NextSibling(*child)) {
        if (child->Name == name) found.push_back(child);
    }
    return found;
}

std::string_view DocumentTree::TextAt(const Element& parent, std::initializer_list<std::string_view> path) const {
    const Element* at = &parent;
    for (std::string_view name : path) {
        at = Child(*at, name);
        if (at == nullptr) return {};
    }
    return at->Text;
}

void DocumentTree::IndexIds() {
    ids_.clear();
    ids_.reserve(elements_.size() / 4);
    for (std::uint32_t i = 0; i < elements_.size(); ++i) {
        const std::string_view id = elements_[i].Attribute("id");
        if (!id.empty()) ids_.emplace(id, i);
    }
}

void DocumentTreeReader::startDocument() {
    tree_ = DocumentTree();
    open_ = kNoElement;
    skipDepth_ = 0;
    nodeDepth_ = 0;
    list_ = ListKind::None;
    carry_.clear();
    inputBytes_ = 0;
    ended_ = false;
}

void DocumentTreeReader::endDocument() {
    tree_.IndexIds();
    ended_ = true;
}

void DocumentTreeReader::startElement(std::string_view localName, const AttributeList& attributes) {
    if (skipDepth_ > 0 || !IsKept(localName) || (open_ == kNoElement && !tree_.Elements().empty())) {
        ++skipDepth_;
        return;
    }
    if (localName == "node" && ++nodeDepth_ > 1000) {
        throw ConversionError(ErrorKind::kTooDeep, kNestedTooDeep);
    }
    std::vector<Element>& elements = tree_.Elements();
    if (elements.size() >= kMostEntries) throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
    const auto index = static_cast<std::uint32_t>(elements.size());
    Element& element = elements.emplace_back();
    element.Name = localName;
    for (std::string_view name : kKeptAttributes) {
        std::string_view value;
        if (attributes.GetValueFromName(name, value)) element.Attributes.emplace_back(name, value);
    }
    element.Parent = open_;
    if (open_ != kNoElement) {
        Element& parent = elements[open_];
        if (parent.LastChild == kNoElement) {
            parent.FirstChild = index;
        } else {
            elements[parent.LastChild].Next = index;
        }
        parent.LastChild = index;
    }
    open_ = index;
    carry_.clear();
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
    carry_.clear();
    list_ = ListKind::None;
    if (localName == "node") --nodeDepth_;
    Element& element = tree_.Elements()[open_];
    element.Floats.shrink_to_fit();
    element.Ints.shrink_to_fit();
    open_ = element.Parent;
}

void DocumentTreeReader::characters(const char* chars, std::size_t count) {
    if (skipDepth_ > 0 || open_ == kNoElement) return;
    Element& element = tree_.Elements()[open_];
    // Only the innermost element's text is read: text between children is
    // never part of a value.
    if (element.FirstChild != kNoElement) return;
    if (list_ == ListKind::None) {
        element.Text.append(chars, count);
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
    Element& element = tree_.Elements()[open_];
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
            if (element.Floats.size() >= kMostEntries) {
                throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
            }
            double value = 0.0;
            const auto [ptr, error] = std::from_chars(first, stop, value);
            const bool good = error == std::errc() && ptr == stop;
            element.Floats.push_back(good ? static_cast<float>(value) : 0.0f);
        } else {
            if (element.Ints.size() >= kMostEntries) {
                throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
            }
            element.Ints.push_back(ParseIndex(first, stop));
        }
        at = end;
    }
    return at;
}

}  // namespace morvane::faithful
