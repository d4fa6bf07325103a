#include "scene/scene_handlers.h"

#include <span>

#include "events/central_object.h"
#include "scene/light_nodes.h"
#include "scene/viewpoint_node.h"
#include "support/conversion_error.h"
#include "support/number_text.h"

namespace morvane {

// ---- Asset ----

bool AuthoringToolHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    // Substring tests, so that any tool name holding these letters counts.
    if (Text.find("Maya") != std::string::npos) Owner().State().ToolIsMaxOrMaya = true;
    if (Text.find("Max") != std::string::npos) Owner().State().ToolIsMaxOrMaya = true;
    if (Text.find("SketchUp") != std::string::npos) Owner().State().ToolIsSketchUp = true;
    return true;
}

bool UnitHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    if (Owner().IsTagOpen("asset")) ScanDoubles(GetAttribute(attributes, "meter"), std::span(&Owner().State().UnitScale, 1));
    return true;
}

bool UpAxisHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    if (Text == "Z_UP") Owner().State().UpAxisIsZ = true;
    return true;
}

// ---- Node tree ----

// Each library element starts the stack anew on its root.
bool LibraryVisualScenesHandler::Start(const std::string& name, const AttributeList&) {
    if (!MatchStart(name)) return false;
    Owner().State().NodeStack.assign(1, Owner().State().SceneRoot.get());
    return true;
}

bool LibraryNodesHandler::Start(const std::string& name, const AttributeList&) {
    if (!MatchStart(name)) return false;
    Owner().State().NodeStack.assign(1, Owner().State().LibraryRoot.get());
    return true;
}

bool NodeHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    ColladaReader& reader = Owner();
    TransformNode* parent = reader.CurrentNode();
    if (parent == nullptr) return true;
    // The stack holds the library root below the nodes.
    if (reader.State().NodeStack.size() > static_cast<std::size_t>(kMaxSceneDepth)) {
        throw ConversionError(ErrorKind::kTooDeep, kNestedTooDeep);
    }
    parent->Children.push_back(std::make_unique<TransformNode>(GetAttribute(attributes, "id"), &reader));
    reader.State().NodeStack.push_back(parent->Children.back().get());
    return true;
}

bool NodeHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    // Even the root goes: nodes are then ignored until a library opens again.
    if (!Owner().State().NodeStack.empty()) Owner().State().NodeStack.pop_back();
    return true;
}

bool MatrixHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    TransformNode* node = Owner().CurrentNode();
    if (node == nullptr) return true;
    auto& elements = node->Matrix.Elements;
    ScanDoubles(Text, elements);
    // The translation column is a length, in document units.
    for (int i : {3, 7, 11}) elements[i] *= Owner().State().UnitScale;
    return true;
}

namespace {

bool StartTransformElement(TagHandler& handler, std::string& sid, const std::string& name,
                           const AttributeList& attributes) {
    if (!handler.MatchStart(name)) return false;
    sid = GetAttribute(attributes, "sid");
    return true;
}

// The node a transform element stores into: only inside an open node.
TransformNode* TransformTarget(const ColladaReader& reader) {
    return reader.IsTagOpen("node") ? reader.CurrentNode() : nullptr;
}

}  // namespace

bool RotateHandler::Start(const std::string& name, const AttributeList& attributes) {
    return StartTransformElement(*this, Sid, name, attributes);
}

bool RotateHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    TransformNode* node = TransformTarget(Owner());
    if (node == nullptr) return true;
    double values[4] = {0.0, 1.0, 0.0, 0.0};
    ScanDoubles(Text, values);
    const AxisAngle rotation{values[0], values[1], values[2], values[3]};
    // The sid alone picks the field; the axis in the text is kept as written.
    if (Sid == "rotateX") node->RotateX = rotation;
    if (Sid == "rotateY") node->RotateY = rotation;
    if (Sid == "rotateZ") node->RotateZ = rotation;
    return true;
}

bool TranslateHandler::Start(const std::string& name, const AttributeList& attributes) {
    return StartTransformElement(*this, Sid, name, attributes);
}

namespace {

// Scans up to three numbers straight into the field, then applies the
// factor to all three: translations are lengths, scales are not.
bool StoreVector(TagHandler& handler, const std::string& name, Vector3 TransformNode::*field, double factor) {
    if (!handler.MatchEnd(name)) return false;
    TransformNode* node = TransformTarget(handler.Owner());
    if (node == nullptr) return true;
    Vector3& v = node->*field;
    double values[3] = {v.X, v.Y, v.Z};
    ScanDoubles(handler.Text, values);
    v = {values[0] * factor, values[1] * factor, values[2] * factor};
    return true;
}

}  // namespace

bool TranslateHandler::End(const std::string& name) {
    return StoreVector(*this, name, &TransformNode::Translation, Owner().State().UnitScale);
}

bool ScaleHandler::Start(const std::string& name, const AttributeList& attributes) {
    return StartTransformElement(*this, Sid, name, attributes);
}

bool ScaleHandler::End(const std::string& name) { return StoreVector(*this, name, &TransformNode::Scale, 1.0); }

// ---- Instances ----

bool InstanceGeometryHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    Url = GetReference(attributes, "url");
    ColladaReader& reader = Owner();
    if (TransformNode* node = reader.CurrentNode()) node->AddInstance(reader.State().MakeNode<ShapeNode>(&reader, Url));
    return true;
}

// A binding goes to the first shape of the current node that instances the
// geometry of the latest instance_geometry, wherever that element stood,
// and only when its material is already known: a material library that
// follows the scene binds nothing.
bool InstanceMaterialHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    Symbol = GetAttribute(attributes, "symbol");
    Target = GetReference(attributes, "target");
    ColladaReader& reader = Owner();
    auto* geometry = reader.FindHandlerAs<InstanceGeometryHandler>("instance_geometry");
    TransformNode* node = reader.CurrentNode();
    if (geometry == nullptr || node == nullptr) return true;
    ShapeNode* shape = node->FindInstance(geometry->Url);
    if (shape == nullptr || reader.State().Appearances.FindById(Target) == nullptr) return true;
    shape->AddBinding(Symbol, Target);
    return true;
}

bool InstanceNodeHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    if (TransformNode* node = Owner().CurrentNode()) node->NodeInstances.push_back(GetReference(attributes, "url"));
    return true;
}

// ---- Cameras ----

bool CameraHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    Owner().State().CurrentCamera.Name = GetAttribute(attributes, "name");
    Owner().State().CurrentCamera.Id = GetAttribute(attributes, "id");
    return true;
}

namespace {

bool ScanCameraValue(TagHandler& handler, const std::string& name, double ViewpointNode::*field) {
    if (!handler.MatchEnd(name)) return false;
    ScanDoubles(handler.Text, std::span(&(handler.Owner().State().CurrentCamera.*field), 1));
    return true;
}

}  // namespace

bool XfovHandler::End(const std::string& name) { return ScanCameraValue(*this, name, &ViewpointNode::XFov); }
bool YfovHandler::End(const std::string& name) { return ScanCameraValue(*this, name, &ViewpointNode::YFov); }
bool ZnearHandler::End(const std::string& name) { return ScanCameraValue(*this, name, &ViewpointNode::ZNear); }
bool ZfarHandler::End(const std::string& name) { return ScanCameraValue(*this, name, &ViewpointNode::ZFar); }

bool InstanceCameraHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    ColladaReader& reader = Owner();
    TransformNode* node = reader.CurrentNode();
    if (node == nullptr) return true;
    auto* viewpoint = reader.State().MakeNode<ViewpointNode>(&reader);
    viewpoint->Name = GetReference(attributes, "url");
    node->AddInstance(viewpoint);
    return true;
}

// ---- Lights ----

bool LibraryLightsHandler::Start(const std::string& name, const AttributeList&) {
    if (!MatchStart(name)) return false;
    Owner().State().Lights.clear();
    return true;
}

bool LightHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    Id = GetAttribute(attributes, "id");
    Name = GetAttribute(attributes, "name");
    // A light kind that makes no node must not pass its colour to an earlier light.
    Owner().State().CurrentLight = nullptr;
    return true;
}

namespace {

template <class Light>
bool StartLight(TagHandler& handler, const std::string& name) {
    if (!handler.MatchStart(name)) return false;
    ColladaReader& reader = handler.Owner();
    auto* light = reader.State().MakeNode<Light>(&reader);
    reader.State().CurrentLight = light;
    if (const auto* source = reader.FindHandlerAs<LightHandler>("light")) {
        light->Name = source->Name;
        light->Id = source->Id;
    }
    reader.State().Lights.Add(light);
    return true;
}

bool ScanAttenuation(TagHandler& handler, const std::string& name, double PointLightNode::*field) {
    if (!handler.MatchEnd(name)) return false;
    ColladaReader& reader = handler.Owner();
    auto* light = dynamic_cast<PointLightNode*>(reader.State().CurrentLight);
    if (light != nullptr && reader.IsTagOpen("light") && reader.IsTagOpen("point")) {
        ScanDoubles(handler.Text, std::span(&(light->*field), 1));
    }
    return true;
}

}  // namespace

bool DirectionalHandler::Start(const std::string& name, const AttributeList&) {
    return StartLight<DirectionalLightNode>(*this, name);
}

bool PointHandler::Start(const std::string& name, const AttributeList&) {
    return StartLight<PointLightNode>(*this, name);
}

bool ConstantAttenuationHandler::End(const std::string& name) {
    return ScanAttenuation(*this, name, &PointLightNode::ConstantAttenuation);
}
bool LinearAttenuationHandler::End(const std::string& name) {
    return ScanAttenuation(*this, name, &PointLightNode::LinearAttenuation);
}
bool QuadraticAttenuationHandler::End(const std::string& name) {
    return ScanAttenuation(*this, name, &PointLightNode::QuadraticAttenuation);
}

bool InstanceLightHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    ColladaReader& reader = Owner();
    const std::string id = GetReference(attributes, "url");
    LightNode* light = reader.State().Lights.Find(id);
    if (light == nullptr) return true;
    if (TransformNode* node = reader.CurrentNode()) node->AddInstance(light);
    return true;
}

}  // namespace morvane
