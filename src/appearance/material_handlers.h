// Handlers of materials and effects. They all fill the one working record
// CurrentAppearance: a material ends by storing a copy of it, an effect by
// pouring it into the stored record that asked for that effect.
#pragma once

#include <string>

#include "events/tag_handler.h"

namespace morvane {

// Elements known by name only: context for other elements, or text
// that others read.
class LibraryMaterialsHandler : public TagHandler { public: using TagHandler::TagHandler; };
class LibraryEffectsHandler : public TagHandler { public: using TagHandler::TagHandler; };
class ProfileCommonHandler : public TagHandler { public: using TagHandler::TagHandler; };
class TechniqueHandler : public TagHandler { public: using TagHandler::TagHandler; };
class PhongHandler : public TagHandler { public: using TagHandler::TagHandler; };
class EmissionHandler : public TagHandler { public: using TagHandler::TagHandler; };
class AmbientHandler : public TagHandler { public: using TagHandler::TagHandler; };
class DiffuseHandler : public TagHandler { public: using TagHandler::TagHandler; };
class SpecularHandler : public TagHandler { public: using TagHandler::TagHandler; };
class ShininessHandler : public TagHandler { public: using TagHandler::TagHandler; };
class ReflectivityHandler : public TagHandler { public: using TagHandler::TagHandler; };
class TransparentHandler : public TagHandler { public: using TagHandler::TagHandler; };
class TransparencyHandler : public TagHandler { public: using TagHandler::TagHandler; };

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

// <effect>
class EffectHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;
};

// <color>, of an effect's colour or of a light.
class ColorHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <float>
class FloatHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

}  // namespace morvane
