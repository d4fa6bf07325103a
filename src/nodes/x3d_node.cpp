#include "nodes/x3d_node.h"

#include <algorithm>
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

MeshLibrary::MeshLibrary(ColladaReader* document) : X3dNode(document) {}

MeshLibrary::~MeshLibrary() = default;

MeshNode* MeshLibrary::FindNext(std::string_view name, const MeshNode* after) const {
    auto found = byGeometry_.find(name);
    if (found == byGeometry_.end()) return nullptr;
    const std::vector<MeshNode*>& meshes = found->second;
    if (after == nullptr) return meshes.front();
    // Meshes after `after` in library order, whatever its own geometry.
    auto next = std::upper_bound(meshes.begin(), meshes.end(), after->LibraryPosition,
                                 [](std::size_t position, const MeshNode* mesh) {
                                     return position < mesh->LibraryPosition;
                                 });
    return next == meshes.end() ? nullptr : *next;
}

ShapeNode::ShapeNode(ColladaReader* document, std::string name) : X3dNode(document), Name(std::move(name)) {}

void ShapeNode::AddBinding(std::string symbol, std::string target) {
    bindings_.push_back({std::move(symbol), std::move(target)});
    chained_ = false;
}

AppearanceNode* ShapeNode::ChooseAppearance(const MeshNode& mesh) {
    const AppearanceList& appearances = Document->Appearances;
    if (AppearanceNode* named = appearances.FindByName(mesh.MaterialName)) return named;
    if (!chained_) {
        bySymbol_.Build(bindings_, [](const MaterialBinding& binding) -> const std::string& { return binding.Symbol; });
        chained_ = true;
    }
    for (std::size_t i = bySymbol_.First(mesh.MaterialName); i != NameChains::kEnd; i = bySymbol_.Next(i)) {
        if (AppearanceNode* bound = appearances.FindById(bindings_[i].Target)) return bound;
    }
    return nullptr;
}

void ShapeNode::Write(std::FILE* stream, int indent) {
    const MeshLibrary* library = Document != nullptr ? Document->MeshLibrary.get() : nullptr;
    if (Written) {
        WriteTabs(stream, indent);
        if (library == nullptr) return;
        for (CurrentMesh = library->FindNext(Name, nullptr); CurrentMesh != nullptr;
             CurrentMesh = library->FindNext(Name, CurrentMesh)) {
            ThrowIfWriteFailed(stream);
            std::fprintf(stream, "<Shape USE='%s_%s'/>\n", CurrentMesh->GeometryName.c_str(),
                         CurrentMesh->MaterialName.c_str());
        }
        return;
    }
    Written = true;
    if (library == nullptr) return;
    for (CurrentMesh = library->FindNext(Name, nullptr); CurrentMesh != nullptr;
         CurrentMesh = library->FindNext(Name, CurrentMesh)) {
        ThrowIfWriteFailed(stream);
        MeshNode& mesh = *CurrentMesh;
        WriteTabs(stream, indent);
        std::fprintf(stream, "<Shape DEF='%s_%s'>\n", mesh.GeometryName.c_str(), mesh.MaterialName.c_str());
        mesh.Appearance = ChooseAppearance(mesh);
        if (mesh.Appearance != nullptr) mesh.Appearance->Write(stream, indent + 1);
        mesh.Write(stream, indent + 1);
        WriteTabs(stream, indent);
        std::fputs("</Shape>\n", stream);
    }
}

TransformNode::TransformNode(std::string name, ColladaReader* document)
    : X3dNode(document), Name(std::move(name)) {}

TransformNode::~TransformNode() = default;

void TransformNode::Write(std::FILE* stream, int indent) {
    ThrowIfWriteFailed(stream);
    WriteTabs(stream, indent);
    if (Written) {
        std::fprintf(stream, "\t\t\t<Transform containerField='children' USE='%s'/>\n", Name.c_str());
        return;
    }
    Written = true;
    // Library nodes may instance one another in chains of any length; the
    // file's nesting is bounded here, before it can exhaust the stack.
    struct OpenTransform {
        explicit OpenTransform(ColladaReader* document) : document_(document) {
            if (document_ == nullptr) return;
            if (document_->OpenTransforms > kMaxSceneDepth) throw UnreadableDocument(kNestedTooDeep);
            ++document_->OpenTransforms;
        }
        ~OpenTransform() {
            if (document_ != nullptr) --document_->OpenTransforms;
        }
        ColladaReader* document_;
    } open(Document);
    std::fputs("<Transform", stream);
    if (!Name.empty()) std::fprintf(stream, " DEF='%s'", Name.c_str());
    if (Matrix.IsScalable()) std::fprintf(stream, " scale='%s'", ScaleText().c_str());
    const bool upAxisIsZ = Document != nullptr && Document->UpAxisIsZ;
    std::fprintf(stream, " translation='%s'", TranslationText(upAxisIsZ).c_str());
    std::fprintf(stream, " rotation='%s'", RotationText().c_str());
    std::fputs(" containerField='children'>\n", stream);

    for (X3dNode* instance : instances_) instance->Write(stream, indent + 1);
    if (Document != nullptr) {
        for (const std::string& id : NodeInstances) {
            if (TransformNode* shared = Document->FindLibraryNode(id)) shared->Write(stream, indent + 1);
        }
    }
    for (const auto& child : Children) {
        child->Write(stream, indent + 1);
        std::fputs("+", stdout);
    }
    WriteTabs(stream, indent);
    std::fputs("</Transform>\n", stream);
}

void TransformNode::AddInstance(X3dNode* instance) {
    instances_.push_back(instance);
    if (auto* shape = dynamic_cast<ShapeNode*>(instance)) shapesByName_.Note(shape->Name, shape);
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

DescendantIndex::DescendantIndex(TransformNode& root) { NoteBelow(root); }

void DescendantIndex::NoteBelow(TransformNode& node) {
    for (const auto& child : node.Children) byName_.Note(child->Name, child.get());
    for (const auto& child : node.Children) NoteBelow(*child);
}

}  // namespace morvane
