#include "nodes/x3d_node.h"

#include <algorithm>
#include <utility>

#include "events/central_object.h"
#include "geometry/mesh_node.h"
#include "support/conversion_error.h"
#include "support/progress.h"

namespace morvane {

void X3dNode::Format(std::string&) {}

void X3dNode::Write(TextOutput& out, int indent) {
    out.PutTabs(indent);
    std::string text;
    Format(text);
    out.PutString(text);
}

void NamedNode::Write(TextOutput&, int) {}

ShapeNode::ShapeNode(ColladaReader* document, std::string name) : X3dNode(document), Name(std::move(name)) {}

void ShapeNode::AddBinding(std::string symbol, std::string target) {
    bindings_.push_back({std::move(symbol), std::move(target)});
    chained_ = false;
}

AppearanceNode* ShapeNode::ChooseAppearance(const MeshNode& mesh) {
    const AppearanceList& appearances = Document->State().Appearances;
    if (AppearanceNode* named = appearances.FindByName(mesh.MaterialName())) return named;
    if (!chained_) {
        bySymbol_.Build(bindings_, [](const MaterialBinding& binding) -> const std::string& { return binding.Symbol; });
        chained_ = true;
    }
    for (std::size_t i = bySymbol_.First(mesh.MaterialName()); i != NameChains::kEnd; i = bySymbol_.Next(i)) {
        if (AppearanceNode* bound = appearances.FindById(bindings_[i].Target)) return bound;
    }
    return nullptr;
}

namespace {

// The name a Shape of this mesh goes by: geometry, '_', material.
void PutShapeName(TextOutput& out, const MeshNode& mesh) {
    out.PutString(mesh.GeometryName());
    out.Put('_');
    out.PutString(mesh.MaterialName());
}

}  // namespace

void ShapeNode::Write(TextOutput& out, int indent) {
    const MeshLibrary* library = Document != nullptr ? Document->State().MeshLibrary.get() : nullptr;
    if (Written) {
        out.PutTabs(indent);
        if (library == nullptr) return;
        for (CurrentMesh = library->FindNext(Name, nullptr); CurrentMesh != nullptr;
             CurrentMesh = library->FindNext(Name, CurrentMesh)) {
            out.Put("<Shape USE='");
            PutShapeName(out, *CurrentMesh);
            out.Put("'/>\n");
        }
        return;
    }
    Written = true;
    if (library == nullptr) return;
    for (CurrentMesh = library->FindNext(Name, nullptr); CurrentMesh != nullptr;
         CurrentMesh = library->FindNext(Name, CurrentMesh)) {
        MeshNode& mesh = *CurrentMesh;
        out.PutTabs(indent);
        out.Put("<Shape DEF='");
        PutShapeName(out, mesh);
        out.Put("'>\n");
        mesh.Appearance = ChooseAppearance(mesh);
        if (mesh.Appearance != nullptr) mesh.Appearance->Write(out, indent + 1);
        mesh.Write(out, indent + 1);
        out.PutTabs(indent);
        out.Put("</Shape>\n");
    }
}

TransformNode::TransformNode(std::string name, ColladaReader* document)
    : X3dNode(document), Name(std::move(name)) {}

TransformNode::~TransformNode() = default;

void TransformNode::Write(TextOutput& out, int indent) {
    out.PutTabs(indent);
    if (Written) {
        out.Put("\t\t\t<Transform containerField='children' USE='");
        out.PutString(Name);
        out.Put("'/>\n");
        return;
    }
    Written = true;
    // Library nodes may instance one another in chains of any length; the
    // file's nesting is bounded here, before it can exhaust the stack.
    struct OpenTransform {
        explicit OpenTransform(ColladaReader* document) : document_(document) {
            if (document_ == nullptr) return;
            if (document_->State().OpenTransforms > kMaxSceneDepth) throw ConversionError(ErrorKind::kTooDeep, kNestedTooDeep);
            ++document_->State().OpenTransforms;
        }
        ~OpenTransform() {
            if (document_ != nullptr) --document_->State().OpenTransforms;
        }
        ColladaReader* document_;
    } open(Document);
    out.Put("<Transform");
    if (!Name.empty()) {
        out.Put(" DEF='");
        out.PutString(Name);
        out.Put('\'');
    }
    if (Matrix.IsScalable()) {
        out.Put(" scale='");
        out.Put(ScaleText());
        out.Put('\'');
    }
    const bool upAxisIsZ = Document != nullptr && Document->State().UpAxisIsZ;
    out.Put(" translation='");
    out.Put(TranslationText(upAxisIsZ));
    out.Put("' rotation='");
    out.Put(RotationText());
    out.Put("' containerField='children'>\n");

    for (X3dNode* instance : instances_) instance->Write(out, indent + 1);
    if (Document != nullptr) {
        for (const std::string& id : NodeInstances) {
            if (TransformNode* shared = Document->FindLibraryNode(id)) shared->Write(out, indent + 1);
        }
    }
    for (const auto& child : Children) {
        child->Write(out, indent + 1);
        if (Document != nullptr) Document->MarkProgress(kNodeMark);
    }
    out.PutTabs(indent);
    out.Put("</Transform>\n");
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
