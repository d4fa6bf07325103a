#include "nodes/x3d_node.h"

#include <utility>

#include "geometry/mesh_node.h"

namespace morvane {

void WriteTabs(std::FILE* stream, int count) {
    for (int i = 0; i < count; ++i) std::fputc('\t', stream);
}

void X3dNode::Format(std::string&) {}

void X3dNode::Write(std::FILE* stream, int indent) {
    WriteTabs(stream, indent);
    std::string text;
    Format(text);
    std::fputs(text.c_str(), stream);
}

void NamedNode::Write(std::FILE*, int) {}

bool MatrixNode::IsScalable() const {
    return Elements[0] != 0.0 && Elements[5] != 0.0 && Elements[10] != 0.0;
}

MeshLibrary::MeshLibrary(ColladaReader* document) : X3dNode(document) {}

MeshLibrary::~MeshLibrary() = default;

MeshNode* MeshLibrary::FindNext(const std::string& name, const MeshNode* after) const {
    auto it = Children.begin();
    if (after != nullptr) {
        while (it != Children.end() && it->get() != after) ++it;
        if (it != Children.end()) ++it;
    }
    for (; it != Children.end(); ++it) {
        if ((*it)->GeometryName == name) return it->get();
    }
    return nullptr;
}

ShapeNode::ShapeNode(ColladaReader* document, std::string name) : X3dNode(document), Name(std::move(name)) {}

TransformNode::TransformNode(std::string name, ColladaReader* document)
    : X3dNode(document), Name(std::move(name)) {}

TransformNode::~TransformNode() = default;

ShapeNode* TransformNode::FindInstance(const std::string& name) const {
    for (X3dNode* instance : Instances) {
        auto* shape = dynamic_cast<ShapeNode*>(instance);
        if (shape != nullptr && shape->Name == name) return shape;
    }
    return nullptr;
}

TransformNode* TransformNode::FindDescendant(const std::string& name) {
    for (const auto& child : Children) {
        if (child->Name == name) return child.get();
    }
    for (const auto& child : Children) {
        if (TransformNode* found = child->FindDescendant(name)) return found;
    }
    return nullptr;
}

}  // namespace morvane
