// Handlers of images, texture references, materials and effects.
#pragma once

#include "events/tag_handler.h"

namespace morvane {

// <library_images>
class LibraryImagesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <image>
class ImageHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <init_from>
class InitFromHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <library_materials>
class LibraryMaterialsHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <material>
class MaterialHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <instance_effect>
class InstanceEffectHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <library_effects>
class LibraryEffectsHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <effect>
class EffectHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <profile_COMMON>
class ProfileCommonHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <technique>
class TechniqueHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <phong>
class PhongHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <emission>
class EmissionHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <color>
class ColorHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <ambient>
class AmbientHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <diffuse>
class DiffuseHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <specular>
class SpecularHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <shininess>
class ShininessHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <float>
class FloatHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <reflectivity>
class ReflectivityHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <transparent>
class TransparentHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <transparency>
class TransparencyHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <newparam>
class NewparamHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <surface>
class SurfaceHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <sampler2D>
class Sampler2DHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <source>
class SourceHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <texture>
class TextureHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

}  // namespace morvane
