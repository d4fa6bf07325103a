// Handlers of the asset, the node tree, instances, cameras and lights.
#pragma once

#include "events/tag_handler.h"

namespace morvane {

// <COLLADA>
class ColladaHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <asset>
class AssetHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <contributor>
class ContributorHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <author>
class AuthorHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <authoring_tool>
class AuthoringToolHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <created>
class CreatedHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <modified>
class ModifiedHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <comments>
class CommentsHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <copyright>
class CopyrightHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <unit>
class UnitHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <up_axis>
class UpAxisHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <library_nodes>
class LibraryNodesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <node>
class NodeHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <instance_geometry>
class InstanceGeometryHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <bind_material>
class BindMaterialHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <instance_material>
class InstanceMaterialHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <bind_vertex_input>
class BindVertexInputHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <matrix>
class MatrixHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <rotate>
class RotateHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <translate>
class TranslateHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <scale>
class ScaleHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <instance_node>
class InstanceNodeHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <library_visual_scenes>
class LibraryVisualScenesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <visual_scene>
class VisualSceneHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <scene>
class SceneHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <instance_visual_scene>
class InstanceVisualSceneHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <library_cameras>
class LibraryCamerasHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <camera>
class CameraHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <optics>
class OpticsHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <perspective>
class PerspectiveHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <xfov>
class XfovHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <yfov>
class YfovHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <znear>
class ZnearHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <zfar>
class ZfarHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <instance_camera>
class InstanceCameraHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <library_lights>
class LibraryLightsHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <light>
class LightHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <directional>
class DirectionalHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <point>
class PointHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <constant_attenuation>
class ConstantAttenuationHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <linear_attenuation>
class LinearAttenuationHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <quadratic_attenuation>
class QuadraticAttenuationHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <instance_light>
class InstanceLightHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

}  // namespace morvane
