#include "events/tag_handler.h"

#include <utility>

#include "events/central_object.h"
#include "support/narrow_text.h"

namespace morvane {

TagHandler::TagHandler(ColladaReader& owner, std::string tagName)
    : TagName(std::move(tagName)), owner_(&owner) {}

bool TagHandler::Start(const std::string& name, const AttributeList&) { return MatchStart(name); }

bool TagHandler::End(const std::string& name) { return MatchEnd(name); }

bool TagHandler::MatchStart(const std::string& name) {
    if (name != TagName) return false;
    IsOpen = true;
    ClearText();
    return true;
}

bool TagHandler::MatchEnd(const std::string& name) {
    if (name != TagName) return false;
    IsOpen = false;
    return true;
}

void TagHandler::AppendText(const char* chars, std::size_t count) {
    if (KeepsText) AppendCharacters(chars, count, Text);
}

void TagHandler::ClearText() { Text.clear(); }

std::string GetAttribute(const AttributeList& attributes, std::string_view name) {
    std::string value;
    GetAttributeString(attributes, name, value);
    return value;
}

void GetAttributeString(const AttributeList& attributes, std::string_view name, std::string& out) {
    out.clear();
    std::string_view raw;
    if (attributes.GetValueFromName(name, raw)) AppendNarrowed(out, raw.data(), raw.size());
}

std::string GetReference(const AttributeList& attributes, std::string_view name) {
    return DropFirst(GetAttribute(attributes, name));
}

std::string DropFirst(const std::string& reference) {
    return reference.empty() ? std::string() : reference.substr(1);
}

void AppendCharacters(const char* chars, std::size_t count, std::string& target) {
    AppendNarrowed(target, chars, count);
}

}  // namespace morvane
