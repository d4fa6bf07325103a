// Handlers of materials and effects. They all fill the one working record
// CurrentAppearance: a material ends by storing a copy of it, an effect by
// pouring it into the stored record that asked for that effect.
#pragma once

#include <string>

#include "events/tag_handler.h"

namespace morvane {

// <library_materials>
class LibraryMaterialsHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <material>
class MaterialHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;
};

// <instance_effect>
class InstanceEffectHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
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
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;
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

// <color>, of an effect's colour or of a light.
class ColorHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
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
    bool End(const std::string& name) override;
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

}  // namespace morvane
