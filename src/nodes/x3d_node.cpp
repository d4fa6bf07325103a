#include "nodes/x3d_node.h"

#include <utility>

#include "events/central_object.h"
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

void TransformNode::Write(std::FILE* stream, int indent) {
    std::fflush(stream);
    WriteTabs(stream, indent);
    if (Written) {
        std::fprintf(stream, "\t\t\t<Transform containerField='children' USE='%s'/>\n", Name.c_str());
        return;
    }
    Written = true;
    std::fputs("<Transform", stream);
    if (!Name.empty()) std::fprintf(stream, " DEF='%s'", Name.c_str());
    if (Matrix.IsScalable()) std::fprintf(stream, " scale='%s'", ScaleText().c_str());
    const bool upAxisIsZ = Document != nullptr && Document->UpAxisIsZ;
    std::fprintf(stream, " translation='%s'", TranslationText(upAxisIsZ).c_str());
    std::fprintf(stream, " rotation='%s'", RotationText().c_str());
    std::fputs(" containerField='children'>\n", stream);

    for (X3dNode* instance : Instances) instance->Write(stream, indent + 1);
    if (Document != nullptr && Document->LibraryRoot) {
        for (const std::string& id : NodeInstances) {
            if (TransformNode* shared = Document->LibraryRoot->FindDescendant(id)) shared->Write(stream, indent + 1);
        }
    }
    for (const auto& child : Children) {
        child->Write(stream, indent + 1);
        std::fputs("+", stdout);
    }
    WriteTabs(stream, indent);
    std::fputs("</Transform>\n", stream);
}

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
