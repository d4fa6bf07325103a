// Everything a conversion knows about the document being read: the lists
// that the element handlers fill, the stacks that track where the reader
// stands, the scene roots, the bounding box and what the writing keeps.
// One value is made afresh at the start of each document, so nothing of
// one document can reach the next; its start values are written once, here.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "appearance/appearance_node.h"
#include "geometry/source_arrays.h"
#include "nodes/x3d_node.h"
#include "scene/light_nodes.h"
#include "scene/viewpoint_node.h"

namespace morvane {

class AnimationNode;
class ColladaReader;

struct DocumentState {
    // Creates the mesh library and the two roots of `document`.
    explicit DocumentState(ColladaReader* document);
    ~DocumentState();
    DocumentState(const DocumentState&) = delete;
    DocumentState& operator=(const DocumentState&) = delete;

    // Creates a node that lives as long as the document.
    template <class T, class... Args>
    T* MakeNode(Args&&... args) {
        auto node = std::make_unique<T>(std::forward<Args>(args)...);
        T* raw = node.get();
        Nodes.push_back(std::move(node));
        return raw;
    }

    // The source id of the POSITION input of the latest vertices element.
    std::string PositionSourceId;
    // The id of the geometry being read, which its primitives' meshes bear.
    std::string CurrentGeometryId;
    // The camera and the light being filled.
    ViewpointNode CurrentCamera;
    LightNode* CurrentLight = nullptr;
    // The box around every position read, in metres and document axes.
    std::array<double, 3> BoundsMin{1e10, 1e10, 1e10};
    std::array<double, 3> BoundsMax{-1e10, -1e10, -1e10};
    // The material and effect record being filled, and every material.
    AppearanceNode CurrentAppearance;
    AppearanceList Appearances;
    // Every mesh; none at the end means no output. Dropped once written.
    std::unique_ptr<morvane::MeshLibrary> MeshLibrary;
    SourceList Sources;
    ImageList Images;
    std::unique_ptr<TransformNode> SceneRoot;
    std::unique_ptr<TransformNode> LibraryRoot;
    // The open nodes; the bottom is a root, once a library element opened.
    std::vector<TransformNode*> NodeStack;
    // The top-level animations, and the open ones.
    std::vector<AnimationNode*> Animations;
    std::vector<AnimationNode*> AnimationStack;
    NewParamList NewParams;
    // Metres per document unit.
    double UnitScale = 0.0254;
    LightList Lights;
    bool ToolIsMaxOrMaya = false;
    bool ToolIsSketchUp = false;
    bool UpAxisIsZ = false;
    // The size of the document, which bounds the size of its output.
    std::uint64_t InputBytes = 0;
    // Triangles that count attributes promise beyond their p lists, summed.
    std::int64_t MissingTriangles = 0;

    // How many Transform elements are open in the output being written.
    int OpenTransforms = 0;
    // The nodes below LibraryRoot by name, built at the first search of the
    // writing, once the library tree is complete.
    std::unique_ptr<DescendantIndex> LibraryIndex;
    // Whether the output was written whole.
    bool OutputWritten = false;

    // Owner of the shapes, viewpoints, lights and animations, which the
    // lists and the scene tree only point to.
    std::vector<std::unique_ptr<X3dNode>> Nodes;
};

}  // namespace morvane
