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

void TagDispatcher::ClearHandlers() {
    CurrentHandler = nullptr;
    byName_.Clear();
    Handlers.clear();
}

// ---- ColladaReader ----

ColladaReader::ColladaReader() {
    RegisterHandlers();
    Reset();
}

ColladaReader::~ColladaReader() = default;

void ColladaReader::startDocument() {
    ClearDocument();
    Reset();
    MeshLibrary = std::make_unique<morvane::MeshLibrary>(this);
    SceneRoot = std::make_unique<TransformNode>("Scene", this);
    LibraryRoot = std::make_unique<TransformNode>("Library", this);
}

void ColladaReader::endDocument() {
    Write();
    MeshLibrary.reset();
}

void ColladaReader::Reset() {
    UnitScale = 0.0254;
    CurrentLight = nullptr;
    ToolIsMaxOrMaya = false;
    ToolIsSketchUp = false;
    UpAxisIsZ = false;
    BoundsMin = {1e10, 1e10, 1e10};
    BoundsMax = {-1e10, -1e10, -1e10};
}

void ColladaReader::Write() {}

TransformNode* ColladaReader::FindLibraryNode(std::string_view id) {
    if (!LibraryRoot) return nullptr;
    if (!libraryIndex_) libraryIndex_ = std::make_unique<DescendantIndex>(*LibraryRoot);
    return libraryIndex_->Find(id);
}

void ColladaReader::ClearDocument() {
    ClearHandlers();
    RegisterHandlers();
    PositionSourceId.clear();
    CurrentGeometryId.clear();
    CurrentCamera = ViewpointNode();
    CurrentAppearance = AppearanceNode();
    Appearances.clear();
    Sources.clear();
    Images.clear();
    NodeStack.clear();
    Animations.clear();
    AnimationStack.clear();
    NewParams.clear();
    Lights.clear();
    MeshLibrary.reset();
    libraryIndex_.reset();
    SceneRoot.reset();
    LibraryRoot.reset();
    DocumentNodes.clear();
    Seen = {};
    InputBytes = 0;
    MissingTriangles = 0;
    OutputWritten = false;
}

}  // namespace morvane
