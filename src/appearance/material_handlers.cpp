#include "appearance/material_handlers.h"

#include <span>

#include "events/central_object.h"
#include "support/number_text.h"

namespace morvane {

namespace {

// The r, g and b of a colour; alpha is never read.
std::span<float, 3> Rgb(std::array<float, 4>& color) { return std::span<float, 3>(color.data(), 3); }

}  // namespace

bool MaterialHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    AppearanceNode& current = Owner().State().CurrentAppearance;
    GetAttributeString(attributes, "id", current.Id);
    GetAttributeString(attributes, "name", current.Name);
    return true;
}

bool MaterialHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& reader = Owner();
    AppearanceNode& current = reader.State().CurrentAppearance;
    // The whole working record goes, colours and all: an effect that never
    // comes leaves the material with what the record held at this point.
    reader.State().Appearances.Add(current).Document = &reader;
    current.Name.clear();
    current.Id.clear();
    current.EffectRef.clear();
    return true;
}

bool InstanceEffectHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    Owner().State().CurrentAppearance.EffectRef = GetReference(attributes, "url");
    return true;
}

bool EffectHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    AppearanceNode& current = Owner().State().CurrentAppearance;
    GetAttributeString(attributes, "name", current.EffectName);
    // The id is taken whole, so that it compares with a material's reference.
    GetAttributeString(attributes, "id", current.EffectRef);
    return true;
}

bool EffectHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& reader = Owner();
    AppearanceNode& current = reader.State().CurrentAppearance;
    AppearanceNode* target = reader.State().Appearances.FindByEffect(current.EffectName);
    if (target == nullptr) target = reader.State().Appearances.FindByEffect(current.EffectRef);
    // An effect that no material asked for keeps everything in the working
    // record, where the next effect or material picks it up.
    if (target == nullptr) return true;

    target->DiffuseColor = current.DiffuseColor;
    target->EmissionColor = current.EmissionColor;
    target->Transparency = current.Transparency;
    target->Shininess = current.Shininess;
    target->DiffuseTexture.Texture = current.DiffuseTexture.Texture;
    target->DiffuseTexture.TexCoord = current.DiffuseTexture.TexCoord;
    target->AmbientTexture.Texture = current.AmbientTexture.Texture;
    target->AmbientTexture.TexCoord = current.AmbientTexture.TexCoord;

    // Colours and floats carry over to the next effect; texture names do not.
    current.EffectRef.clear();
    current.DiffuseTexture.Texture.clear();
    current.AmbientTexture.Texture.clear();
    return true;
}

bool ColorHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& reader = Owner();
    AppearanceNode& current = reader.State().CurrentAppearance;
    if (reader.IsTagOpen("emission")) ScanFloats(Text, Rgb(current.EmissionColor));
    if (reader.IsTagOpen("diffuse")) ScanFloats(Text, Rgb(current.DiffuseColor));
    if (reader.IsTagOpen("specular")) ScanFloats(Text, Rgb(current.SpecularColor));
    // No current light: the colour of a light kind without a node is dropped.
    if (reader.IsTagOpen("light") && reader.State().CurrentLight != nullptr) {
        ScanFloats(Text, Rgb(reader.State().CurrentLight->Color));
    }
    return true;
}

bool FloatHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& reader = Owner();
    AppearanceNode& current = reader.State().CurrentAppearance;
    if (reader.IsTagOpen("shininess")) ScanFloats(Text, std::span<float, 1>(&current.Shininess, 1));
    if (reader.IsTagOpen("transparency")) {
        ScanFloats(Text, std::span<float, 1>(&current.Transparency, 1));
        // These tools write 1.0 for a fully opaque surface, the reverse of
        // the X3D meaning.
        if (reader.State().ToolIsMaxOrMaya && current.Transparency == 1.0f) current.Transparency = 0.0f;
    }
    return true;
}

}  // namespace morvane
