// Handlers of the asset, the node tree, instances, cameras and lights.
#pragma once

#include <string>

#include "events/tag_handler.h"

namespace morvane {

// Elements known by name only: context for other elements, or text
// that others read.
class ColladaHandler : public TagHandler { public: using TagHandler::TagHandler; };
class AssetHandler : public TagHandler { public: using TagHandler::TagHandler; };
class ContributorHandler : public TagHandler { public: using TagHandler::TagHandler; };
class AuthorHandler : public TagHandler { public: using TagHandler::TagHandler; };
class CreatedHandler : public TagHandler { public: using TagHandler::TagHandler; };
class ModifiedHandler : public TagHandler { public: using TagHandler::TagHandler; };
class CommentsHandler : public TagHandler { public: using TagHandler::TagHandler; };
class CopyrightHandler : public TagHandler { public: using TagHandler::TagHandler; };
class BindMaterialHandler : public TagHandler { public: using TagHandler::TagHandler; };
class BindVertexInputHandler : public TagHandler { public: using TagHandler::TagHandler; };
class VisualSceneHandler : public TagHandler { public: using TagHandler::TagHandler; };
class SceneHandler : public TagHandler { public: using TagHandler::TagHandler; };
class InstanceVisualSceneHandler : public TagHandler { public: using TagHandler::TagHandler; };
class LibraryCamerasHandler : public TagHandler { public: using TagHandler::TagHandler; };
class OpticsHandler : public TagHandler { public: using TagHandler::TagHandler; };
class PerspectiveHandler : public TagHandler { public: using TagHandler::TagHandler; };

// <authoring_tool>
class AuthoringToolHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <unit>
class UnitHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <up_axis>
class UpAxisHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <library_nodes>
class LibraryNodesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <node>
class NodeHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;
};

// <instance_geometry>
class InstanceGeometryHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    // The reference of the latest instance_geometry; instance_material reads it.
    std::string Url;
};

// <instance_material>
class InstanceMaterialHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    std::string Symbol;
    std::string Target;
};

// <matrix>
class MatrixHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <rotate>
class RotateHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;

    std::string Sid;
};

// <translate>
class TranslateHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;

    std::string Sid;
};

// <scale>
class ScaleHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;

    std::string Sid;
};

// <instance_node>
class InstanceNodeHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <library_visual_scenes>
class LibraryVisualScenesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <camera>
class CameraHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <xfov>
class XfovHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <yfov>
class YfovHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <znear>
class ZnearHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <zfar>
class ZfarHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <instance_camera>
class InstanceCameraHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <library_lights>
class LibraryLightsHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <light>
class LightHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    std::string Id;
    std::string Name;
};

// <directional>
class DirectionalHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <point>
class PointHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <constant_attenuation>
class ConstantAttenuationHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <linear_attenuation>
class LinearAttenuationHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <quadratic_attenuation>
class QuadraticAttenuationHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <instance_light>
class InstanceLightHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

}  // namespace morvane
