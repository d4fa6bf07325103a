#include <memory>

#include "animation/animation_handlers.h"
#include "appearance/appearance_handlers.h"
#include "events/central_object.h"
#include "geometry/geometry_handlers.h"
#include "scene/scene_handlers.h"

namespace morvane {

namespace {

template <class T>
void Register(ColladaReader& reader, const char* name) {
    reader.AddHandler(std::make_unique<T>(reader, name));
}

}  // namespace

// Every element name the converter knows, grouped by the header that
// declares its handler. Names are unique and a handler is found by its
// name, so the order here decides nothing. Three handlers serve two parts
// of the converter, and one is read only for animations; their lines say
// which.
void ColladaReader::RegisterHandlers() {
    // scene/scene_handlers.h: the asset
    Register<ColladaHandler>(*this, "COLLADA");
    Register<AssetHandler>(*this, "asset");
    Register<ContributorHandler>(*this, "contributor");
    Register<AuthorHandler>(*this, "author");
    Register<AuthoringToolHandler>(*this, "authoring_tool");
    Register<CreatedHandler>(*this, "created");
    Register<ModifiedHandler>(*this, "modified");
    Register<CommentsHandler>(*this, "comments");
    Register<CopyrightHandler>(*this, "copyright");
    Register<UnitHandler>(*this, "unit");
    Register<UpAxisHandler>(*this, "up_axis");
    // scene/scene_handlers.h: the node tree and its instances
    Register<LibraryVisualScenesHandler>(*this, "library_visual_scenes");
    Register<VisualSceneHandler>(*this, "visual_scene");
    Register<SceneHandler>(*this, "scene");
    Register<InstanceVisualSceneHandler>(*this, "instance_visual_scene");
    Register<LibraryNodesHandler>(*this, "library_nodes");
    Register<NodeHandler>(*this, "node");
    Register<MatrixHandler>(*this, "matrix");
    Register<RotateHandler>(*this, "rotate");
    Register<TranslateHandler>(*this, "translate");
    Register<ScaleHandler>(*this, "scale");
    Register<InstanceGeometryHandler>(*this, "instance_geometry");
    Register<BindMaterialHandler>(*this, "bind_material");
    Register<InstanceMaterialHandler>(*this, "instance_material");
    Register<BindVertexInputHandler>(*this, "bind_vertex_input");
    Register<InstanceNodeHandler>(*this, "instance_node");
    // scene/scene_handlers.h: cameras
    Register<LibraryCamerasHandler>(*this, "library_cameras");
    Register<CameraHandler>(*this, "camera");
    Register<OpticsHandler>(*this, "optics");
    Register<PerspectiveHandler>(*this, "perspective");
    Register<XfovHandler>(*this, "xfov");
    Register<YfovHandler>(*this, "yfov");
    Register<ZnearHandler>(*this, "znear");
    Register<ZfarHandler>(*this, "zfar");
    Register<InstanceCameraHandler>(*this, "instance_camera");
    // scene/scene_handlers.h: lights
    Register<LibraryLightsHandler>(*this, "library_lights");
    Register<LightHandler>(*this, "light");
    Register<DirectionalHandler>(*this, "directional");
    Register<PointHandler>(*this, "point");
    Register<ConstantAttenuationHandler>(*this, "constant_attenuation");
    Register<LinearAttenuationHandler>(*this, "linear_attenuation");
    Register<QuadraticAttenuationHandler>(*this, "quadratic_attenuation");
    Register<InstanceLightHandler>(*this, "instance_light");
    // appearance/image_handlers.h: images and texture references
    Register<LibraryImagesHandler>(*this, "library_images");
    Register<ImageHandler>(*this, "image");
    Register<InitFromHandler>(*this, "init_from");
    Register<NewparamHandler>(*this, "newparam");
    Register<SurfaceHandler>(*this, "surface");
    Register<Sampler2DHandler>(*this, "sampler2D");
    Register<TextureHandler>(*this, "texture");
    Register<SourceHandler>(*this, "source");  // also a source of an animation
    // appearance/material_handlers.h: materials and effects
    Register<LibraryMaterialsHandler>(*this, "library_materials");
    Register<MaterialHandler>(*this, "material");
    Register<InstanceEffectHandler>(*this, "instance_effect");
    Register<LibraryEffectsHandler>(*this, "library_effects");
    Register<EffectHandler>(*this, "effect");
    Register<ProfileCommonHandler>(*this, "profile_COMMON");
    Register<TechniqueHandler>(*this, "technique");
    Register<PhongHandler>(*this, "phong");
    Register<EmissionHandler>(*this, "emission");
    Register<AmbientHandler>(*this, "ambient");
    Register<DiffuseHandler>(*this, "diffuse");
    Register<SpecularHandler>(*this, "specular");
    Register<ShininessHandler>(*this, "shininess");
    Register<FloatHandler>(*this, "float");
    Register<ReflectivityHandler>(*this, "reflectivity");
    Register<TransparentHandler>(*this, "transparent");
    Register<TransparencyHandler>(*this, "transparency");
    Register<ColorHandler>(*this, "color");  // also the colour of a light
    // geometry/source_handlers.h: number arrays and inputs
    Register<LibraryGeometriesHandler>(*this, "library_geometries");
    Register<GeometryHandler>(*this, "geometry");
    Register<MeshHandler>(*this, "mesh");
    Register<FloatArrayHandler>(*this, "float_array");
    Register<TechniqueCommonHandler>(*this, "technique_common");
    Register<ParamHandler>(*this, "param");
    Register<VerticesHandler>(*this, "vertices");
    Register<AccessorHandler>(*this, "accessor");  // only an animation's accessor has an effect
    Register<InputHandler>(*this, "input");  // also an input of an animation's sampler
    // geometry/primitive_handlers.h: primitives
    Register<TrianglesHandler>(*this, "triangles");
    Register<PolygonsHandler>(*this, "polygons");
    Register<PolylistHandler>(*this, "polylist");
    Register<VcountHandler>(*this, "vcount");
    Register<PHandler>(*this, "p");
    Register<LinesHandler>(*this, "lines");
    // animation/animation_handlers.h: animations
    Register<LibraryAnimationsHandler>(*this, "library_animations");
    Register<AnimationHandler>(*this, "animation");
    Register<PreInfinityHandler>(*this, "pre_infinity");
    Register<PostInfinityHandler>(*this, "post_infinity");
    Register<NameArrayHandler>(*this, "Name_array");
    Register<SamplerHandler>(*this, "sampler");
    Register<ChannelHandler>(*this, "channel");
}

}  // namespace morvane
