#include <memory>

#include "animation/animation_handlers.h"
#include "appearance/appearance_handlers.h"
#include "events/central_object.h"
#include "geometry/geometry_handlers.h"
#include "scene/scene_handlers.h"

namespace morvane {

namespace {

enum class TextUse { kDropped, kRead };

// A handler keeps its element's Text only when something reads it.
template <class T>
void Register(ColladaReader& reader, const char* name, TextUse text = TextUse::kDropped) {
    auto handler = std::make_unique<T>(reader, name);
    handler->KeepsText = text == TextUse::kRead;
    reader.AddHandler(std::move(handler));
}

}  // namespace

// Every element name the converter knows, grouped by the header that
// declares its handler. Names are unique and a handler is found by its
// name, so the order here decides nothing. Three handlers serve two parts
// of the converter, and one is read only for animations; their lines say
// which. Those whose Text is read say so.
void ColladaReader::RegisterHandlers() {
    // scene/scene_handlers.h: the asset
    Register<ColladaHandler>(*this, "COLLADA");
    Register<AssetHandler>(*this, "asset");
    Register<ContributorHandler>(*this, "contributor");
    Register<AuthorHandler>(*this, "author", TextUse::kRead);
    Register<AuthoringToolHandler>(*this, "authoring_tool", TextUse::kRead);
    Register<CreatedHandler>(*this, "created", TextUse::kRead);
    Register<ModifiedHandler>(*this, "modified");
    Register<CommentsHandler>(*this, "comments", TextUse::kRead);
    Register<CopyrightHandler>(*this, "copyright", TextUse::kRead);
    Register<UnitHandler>(*this, "unit");
    Register<UpAxisHandler>(*this, "up_axis", TextUse::kRead);
    // scene/scene_handlers.h: the node tree and its instances
    Register<LibraryVisualScenesHandler>(*this, "library_visual_scenes");
    Register<VisualSceneHandler>(*this, "visual_scene");
    Register<SceneHandler>(*this, "scene");
    Register<InstanceVisualSceneHandler>(*this, "instance_visual_scene");
    Register<LibraryNodesHandler>(*this, "library_nodes");
    Register<NodeHandler>(*this, "node");
    Register<MatrixHandler>(*this, "matrix", TextUse::kRead);
    Register<RotateHandler>(*this, "rotate", TextUse::kRead);
    Register<TranslateHandler>(*this, "translate", TextUse::kRead);
    Register<ScaleHandler>(*this, "scale", TextUse::kRead);
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
    Register<XfovHandler>(*this, "xfov", TextUse::kRead);
    Register<YfovHandler>(*this, "yfov", TextUse::kRead);
    Register<ZnearHandler>(*this, "znear", TextUse::kRead);
    Register<ZfarHandler>(*this, "zfar", TextUse::kRead);
    Register<InstanceCameraHandler>(*this, "instance_camera");
    // scene/scene_handlers.h: lights
    Register<LibraryLightsHandler>(*this, "library_lights");
    Register<LightHandler>(*this, "light");
    Register<DirectionalHandler>(*this, "directional");
    Register<PointHandler>(*this, "point");
    Register<ConstantAttenuationHandler>(*this, "constant_attenuation", TextUse::kRead);
    Register<LinearAttenuationHandler>(*this, "linear_attenuation", TextUse::kRead);
    Register<QuadraticAttenuationHandler>(*this, "quadratic_attenuation", TextUse::kRead);
    Register<InstanceLightHandler>(*this, "instance_light");
    // appearance/image_handlers.h: images and texture references
    Register<LibraryImagesHandler>(*this, "library_images");
    Register<ImageHandler>(*this, "image");
    Register<InitFromHandler>(*this, "init_from", TextUse::kRead);
    Register<NewparamHandler>(*this, "newparam");
    Register<SurfaceHandler>(*this, "surface");
    Register<Sampler2DHandler>(*this, "sampler2D");
    Register<TextureHandler>(*this, "texture");
    Register<SourceHandler>(*this, "source", TextUse::kRead);  // also a source of an animation
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
    Register<FloatHandler>(*this, "float", TextUse::kRead);
    Register<ReflectivityHandler>(*this, "reflectivity");
    Register<TransparentHandler>(*this, "transparent");
    Register<TransparencyHandler>(*this, "transparency");
    Register<ColorHandler>(*this, "color", TextUse::kRead);  // also the colour of a light
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
