// The central object: the content handler that the reader calls, the owner
// of the element handlers, the options, everything a conversion knows about
// the document being read, and the writer of the X3D document. Its layers,
// base first: SaxContentBase (empty callbacks), TagDispatcher (the element
// handlers and the dispatch of events to them), ColladaReader (options and
// document state, start and end of a document) and X3dConverter (writing).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "appearance/appearance_node.h"
#include "events/element_kinds.h"
#include "events/tag_handler.h"
#include "events/xml_reader.h"
#include "geometry/source_arrays.h"
#include "nodes/x3d_node.h"
#include "scene/light_nodes.h"
#include "scene/viewpoint_node.h"
#include "support/name_index.h"
#include "support/text_output.h"

namespace morvane {

class AnimationNode;

class SaxContentBase : public SaxContentHandler {
public:
    void startDocument() override {}
    void endDocument() override {}
    void startElement(std::string_view, const AttributeList&) override {}
    void endElement(std::string_view) override {}
    void characters(const char*, std::size_t) override {}
};

class TagDispatcher : public SaxContentBase {
public:
    // Offers a start tag to the handlers; the one that accepts becomes
    // CurrentHandler, after its Start has run.
    void startElement(std::string_view localName, const AttributeList& attributes) override;
    void endElement(std::string_view localName) override;
    // Text goes to CurrentHandler while it is open, and is dropped otherwise.
    void characters(const char* chars, std::size_t count) override;

    TagHandler* FindHandler(std::string_view name) const;
    template <class T>
    T* FindHandlerAs(std::string_view name) const {
        return dynamic_cast<T*>(FindHandler(name));
    }
    // Whether an element of this name is open; false for an unknown name.
    bool IsTagOpen(std::string_view name) const;

    // In registration order.
    std::vector<std::unique_ptr<TagHandler>> Handlers;
    TagHandler* CurrentHandler = nullptr;
    // Element kinds of the document that tell why it gave no output.
    SeenKinds Seen;

    void AddHandler(std::unique_ptr<TagHandler> handler);

protected:
    void ClearHandlers();

private:
    // Names are unique, so finding the handler by name picks exactly the one
    // that a walk over the list in order would stop at.
    FixedNameTable<TagHandler*> byName_;
    std::string startName_;
    std::string endName_;
    std::string scratch_;
};

class ColladaReader : public TagDispatcher {
public:
    ColladaReader();
    ~ColladaReader() override;

    // A clean start: the model of the previous document is dropped, every
    // handler starts anew, and only the options carry over.
    void startDocument() override;
    void endDocument() override;
    void documentBytes(std::uint64_t bytes) override { InputBytes = bytes; }

    // Sets the per-document scalars back to their start values.
    virtual void Reset();
    // Writes the X3D document; nothing at this layer.
    virtual void Write();

    // The node that scene elements attach to: the top of NodeStack, or null
    // while no library element has opened.
    TransformNode* CurrentNode() const { return NodeStack.empty() ? nullptr : NodeStack.back(); }
    // The animation that sources, accessors and sampler inputs fill: the top
    // of AnimationStack while an animation element counts as open, or null.
    AnimationNode* CurrentAnimation() const {
        return IsTagOpen("animation") && !AnimationStack.empty() ? AnimationStack.back() : nullptr;
    }

    // What TransformNode::FindDescendant of LibraryRoot finds, through an
    // index built at the first search of a document's writing, once the
    // library tree is complete.
    TransformNode* FindLibraryNode(std::string_view id);

    // Creates a per-document node that lives until the next document starts.
    template <class T, class... Args>
    T* MakeNode(Args&&... args) {
        auto node = std::make_unique<T>(std::forward<Args>(args)...);
        T* raw = node.get();
        DocumentNodes.push_back(std::move(node));
        return raw;
    }

    // Options, set from the command line before the first document.
    std::string OutputFileName;
    bool WritePolygons = true;
    bool WriteLines = true;
    bool WritePoints = true;
    bool AutoViewpoint = true;
    bool AutoBackground = true;
    bool AutoNavigation = true;
    bool ExamineNavigation = true;
    bool ForceMaterials = false;
    bool GzipOutput = false;
    bool ProtoLibraries = false;
    float CreaseAngle = 60.0f;  // degrees
    bool SmoothMeshes = true;

    // Where the text of the output goes; null: to the file OutputFileName.
    OutputSink* Output = nullptr;

    // Per-document state.
    std::string PositionSourceId;
    std::string CurrentGeometryId;
    ViewpointNode CurrentCamera;
    LightNode* CurrentLight = nullptr;
    std::array<double, 3> BoundsMin{1e10, 1e10, 1e10};
    std::array<double, 3> BoundsMax{-1e10, -1e10, -1e10};
    AppearanceNode CurrentAppearance;
    AppearanceList Appearances;
    std::unique_ptr<morvane::MeshLibrary> MeshLibrary;
    SourceList Sources;
    ImageList Images;
    std::unique_ptr<TransformNode> SceneRoot;
    std::unique_ptr<TransformNode> LibraryRoot;
    std::vector<TransformNode*> NodeStack;
    // How many Transform elements are open in the file being written.
    int OpenTransforms = 0;
    std::vector<AnimationNode*> Animations;
    std::vector<AnimationNode*> AnimationStack;
    NewParamList NewParams;
    double UnitScale = 0.0254;
    LightList Lights;
    bool ToolIsMaxOrMaya = false;
    bool ToolIsSketchUp = false;
    bool UpAxisIsZ = false;
    // The size of the document, which bounds the size of its output.
    std::uint64_t InputBytes = 0;
    // Triangles that count attributes promise beyond their p lists, summed.
    std::int64_t MissingTriangles = 0;
    // Whether the output was written whole.
    bool OutputWritten = false;

    // Owner of the shapes, viewpoints, lights and animations of a document,
    // which the lists and the scene tree only point to.
    std::vector<std::unique_ptr<X3dNode>> DocumentNodes;

protected:
    // Dropped whenever the library tree may have grown since it was built.
    std::unique_ptr<DescendantIndex> libraryIndex_;

private:
    void RegisterHandlers();
    void ClearDocument();
};

class X3dConverter : public ColladaReader {
public:
    void Write() override;

private:
    void WriteDocument(TextOutput& out);
    void WriteLibraries(TextOutput& out);
    void WriteViewpoints(TextOutput& out);
};

}  // namespace morvane
