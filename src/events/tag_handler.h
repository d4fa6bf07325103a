// Base of the element handlers. Each COLLADA element name the converter
// knows has one handler object of a class of its own; a handler learns its
// context only by asking whether another element is open.
#pragma once

#include <string>
#include <string_view>

#include "events/xml_reader.h"

namespace morvane {

class ColladaReader;

class TagHandler {
public:
    TagHandler(ColladaReader& owner, std::string tagName);
    virtual ~TagHandler() = default;
    TagHandler(const TagHandler&) = delete;
    TagHandler& operator=(const TagHandler&) = delete;

    // Start and End return whether the element was this handler's. An
    // override calls MatchStart or MatchEnd first, returns false at once if
    // that declines, and returns true after its own work.
    virtual bool Start(const std::string& name, const AttributeList& attributes);
    virtual bool End(const std::string& name);
    virtual bool MatchStart(const std::string& name);
    virtual bool MatchEnd(const std::string& name);
    // Takes a run of the element's character data, UTF-8: narrowed onto
    // Text when KeepsText, dropped otherwise, unless the handler reads its
    // text as it comes.
    virtual void AppendText(const char* chars, std::size_t count);
    // Forgets the element's text; every start tag of the element does.
    virtual void ClearText();

    ColladaReader& Owner() const { return *owner_; }

    const std::string TagName;
    // Character data of the element: emptied at each start tag, kept after
    // the end tag so that it can be read up to the writing of the document.
    std::string Text;
    // Whether Text is kept: only for the elements whose Text is read, so
    // that white space or the text of unknown elements costs no memory.
    bool KeepsText = false;
    // A flag, not a depth: the end tag of a nested element of the same name
    // clears it while the outer one is still open.
    bool IsOpen = false;

private:
    ColladaReader* owner_;
};

// The value of the attribute in no namespace with this local name,
// narrowed; empty when the attribute is missing.
std::string GetAttribute(const AttributeList& attributes, std::string_view name);
void GetAttributeString(const AttributeList& attributes, std::string_view name, std::string& out);
// The value less its first character, which is dropped unseen (it is
// expected to be '#'); empty when the attribute is missing or empty.
std::string GetReference(const AttributeList& attributes, std::string_view name);
// A stored reference less its first character, unseen; empty stays empty.
std::string DropFirst(const std::string& reference);

void AppendCharacters(const char* chars, std::size_t count, std::string& target);

}  // namespace morvane
