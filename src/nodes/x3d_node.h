// The family of output nodes. The scene's content (transforms, shapes and
// their geometry and appearance, lights, cameras, interpolators) is written
// by nodes; the document's frame, the proto declarations and the automatic
// viewpoints are written by the document writer in src/document. Most
// parsed records are nodes too, whether or not they are ever written. A node is written at most once in full: its first Write
// sets Written, and a node that supports reuse writes a USE form after that.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nodes/transform_values.h"
#include "support/name_index.h"
#include "support/text_output.h"

namespace morvane {

class ColladaReader;
class AppearanceNode;
class MeshNode;

// The deepest scene a document may hold: node elements nested inside one
// another, or Transforms nested in the file once library nodes are
// instanced inside each other. A deeper document is refused as unreadable;
// no real scene comes near it, and each level costs a line of tabs as long
// as its depth.
inline constexpr int kMaxSceneDepth = 1000;

class X3dNode {
public:
    X3dNode() = default;
    explicit X3dNode(ColladaReader* document) : Document(document) {}
    virtual ~X3dNode() = default;
    X3dNode(const X3dNode&) = default;
    X3dNode& operator=(const X3dNode&) = default;

    // Produces the node's whole text; the base leaves `out` unchanged.
    virtual void Format(std::string& out);
    // Writes `indent` tabs and the Format text; no line end of its own.
    virtual void Write(TextOutput& out, int indent);

    bool Written = false;
    // The document being converted, for the lists and flags a writer reads.
    ColladaReader* Document = nullptr;
};

class NamedNode : public X3dNode {
public:
    using X3dNode::X3dNode;
    void Write(TextOutput& out, int indent) override;

    std::string Name;
};

// The matrix of a node. Its members, and the texts and values of
// TransformNode below, are implemented in transform_values.cpp.
class MatrixNode : public X3dNode {
public:
    // True when none of the three diagonal elements is 0.0.
    bool IsScalable() const;

    // The matrix side of the three Transform attribute texts.
    std::string ScaleText() const;
    std::string TranslationText(bool upAxisIsZ) const;
    std::string RotationText() const;
    // The rotation of the upper left block as a quaternion, scale included.
    void ToQuaternion(AxisAngle& out) const;

    // Row after row, as in the document text.
    std::array<double, 16> Elements{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

// What a mesh becomes: an IndexedFaceSet or an IndexedLineSet.
enum class MeshKind : std::uint8_t { kFaceSet, kLineSet };

// All meshes of a document: MeshLibrary, in geometry/mesh_node.h.
class MeshLibrary;


struct MaterialBinding {
    std::string Symbol;
    std::string Target;
};

class ShapeNode : public X3dNode {
public:
    ShapeNode(ColladaReader* document, std::string name);

    // One Shape element per mesh of the geometry, DEF the first time and
    // USE after that.
    void Write(TextOutput& out, int indent) override;

    void AddBinding(std::string symbol, std::string target);
    // In document order.
    const std::vector<MaterialBinding>& MaterialBindings() const { return bindings_; }
    // The appearance of a mesh of this shape: the document's first with the
    // mesh's material name, else through the bindings of that symbol in
    // order, the first whose target is an appearance's id; null if none.
    AppearanceNode* ChooseAppearance(const MeshNode& mesh);

    // The id of the instanced geometry; fixed, since shapes are found by it.
    const std::string Name;
    // Position of the write loop over the geometry's meshes.
    MeshNode* CurrentMesh = nullptr;

private:
    std::vector<MaterialBinding> bindings_;
    // The bindings of each symbol; built at the first choice after a
    // binding was added.
    NameChains bySymbol_;
    bool chained_ = false;
};

// One COLLADA node, or one of the two roots of a document.
class TransformNode : public X3dNode {
public:
    TransformNode(std::string name, ColladaReader* document);
    ~TransformNode() override;
    void Write(TextOutput& out, int indent) override;

    // The texts of the scale, translation and rotation attributes: each from
    // the matrix or from the fields, by a test of its own.
    std::string ScaleText() const;
    std::string TranslationText(bool upAxisIsZ) const;
    std::string RotationText() const;

    // Appends a shape, viewpoint or light to Instances.
    void AddInstance(X3dNode* instance);
    // Shapes, viewpoints and lights of this node, in document order; not owned.
    const std::vector<X3dNode*>& Instances() const { return instances_; }
    // The first ShapeNode among Instances with this Name, or null.
    ShapeNode* FindInstance(std::string_view name) const { return shapesByName_.Find(name, nullptr); }
    // Searches below this node, breadth of each level before depth: the
    // direct children first, then each child's subtree in order. The
    // node's own name is not compared.
    TransformNode* FindDescendant(const std::string& name);

    std::vector<std::unique_ptr<TransformNode>> Children;
    std::string Name;
    MatrixNode Matrix;
    Vector3 Translation;
    Vector3 Scale{1.0, 1.0, 1.0};
    AxisAngle Rotation{1.0, 0.0, 0.0, 0.0};
    AxisAngle RotateX{1.0, 0.0, 0.0, 0.0};
    AxisAngle RotateY{0.0, 1.0, 0.0, 0.0};
    AxisAngle RotateZ{0.0, 0.0, 1.0, 0.0};
    // Ids of the library nodes that this node instances.
    std::vector<std::string> NodeInstances;

private:
    std::vector<X3dNode*> instances_;
    NameIndex<ShapeNode*> shapesByName_;
};

// Finds nodes below a root as TransformNode::FindDescendant does, by an
// index built once over the finished tree: the search order of that walk,
// each level's children before their subtrees, decides which node of a
// repeated name is found.
class DescendantIndex {
public:
    explicit DescendantIndex(TransformNode& root);
    TransformNode* Find(std::string_view name) const { return byName_.Find(name, nullptr); }

private:
    void NoteBelow(TransformNode& node);

    NameIndex<TransformNode*> byName_;
};

}  // namespace morvane
