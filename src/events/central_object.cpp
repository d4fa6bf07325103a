#include "events/central_object.h"

#include "animation/animation_node.h"
#include "geometry/mesh_node.h"
#include "support/narrow_text.h"

namespace morvane {

// ---- TagDispatcher ----

void TagDispatcher::startElement(std::string_view localName, const AttributeList& attributes) {
    startName_.assign(NarrowView(localName, scratch_));
    TagHandler* handler = byName_.Find(startName_);
    if (handler != nullptr && handler->Start(startName_, attributes)) CurrentHandler = handler;
    Seen.Note(startName_);
}

void TagDispatcher::endElement(std::string_view localName) {
    endName_.assign(NarrowView(localName, scratch_));
    if (TagHandler* handler = byName_.Find(endName_)) handler->End(endName_);
}

void TagDispatcher::characters(const char* chars, std::size_t count) {
    if (CurrentHandler != nullptr && CurrentHandler->IsOpen) CurrentHandler->AppendText(chars, count);
}

TagHandler* TagDispatcher::FindHandler(std::string_view name) const { return byName_.Find(name); }

bool TagDispatcher::IsTagOpen(std::string_view name) const {
    const TagHandler* handler = FindHandler(name);
    return handler != nullptr && handler->IsOpen;
}

void TagDispatcher::AddHandler(std::unique_ptr<TagHandler> handler) {
    byName_.Add(handler->TagName, handler.get());
    Handlers.push_back(std::move(handler));
}

void TagDispatcher::ForgetHandlers() {
    CurrentHandler = nullptr;
    Seen = {};
    byName_.Clear();
    Handlers.clear();
}

// ---- DocumentState ----

DocumentState::DocumentState(ColladaReader* document)
    : MeshLibrary(std::make_unique<morvane::MeshLibrary>(document)),
      SceneRoot(std::make_unique<TransformNode>("Scene", document)),
      LibraryRoot(std::make_unique<TransformNode>("Library", document)) {}

DocumentState::~DocumentState() = default;

// ---- ColladaReader ----

ColladaReader::ColladaReader() : state_(std::make_unique<DocumentState>(this)) { RegisterHandlers(); }

ColladaReader::~ColladaReader() = default;

void ColladaReader::startDocument() {
    // What the last document built goes first, whether it was read to its
    // end or not.
    state_.reset();
    ForgetHandlers();
    RegisterHandlers();
    state_ = std::make_unique<DocumentState>(this);
}

void ColladaReader::endDocument() {
    Write();
    State().MeshLibrary.reset();
}

void ColladaReader::Write() {}

TransformNode* ColladaReader::FindLibraryNode(std::string_view id) {
    DocumentState& state = State();
    if (!state.LibraryRoot) return nullptr;
    if (!state.LibraryIndex) state.LibraryIndex = std::make_unique<DescendantIndex>(*state.LibraryRoot);
    return state.LibraryIndex->Find(id);
}

}  // namespace morvane
