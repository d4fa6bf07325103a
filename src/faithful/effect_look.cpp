#include "faithful/effect_look.h"

#include <algorithm>
#include <vector>

namespace morvane::faithful {

namespace {

double Luminance(const Rgba& colour) { return 0.212671 * colour[0] + 0.715160 * colour[1] + 0.072169 * colour[2]; }

std::optional<Rgba> ColourOf(const DocumentTree& tree, const Element* holder) {
    if (holder == nullptr) return std::nullopt;
    const Element* colour = tree.Child(*holder, "color");
    if (colour == nullptr) return std::nullopt;
    const std::vector<double> values = ParseNumbers(colour->Text());
    Rgba rgba{0, 0, 0, 1};
    for (std::size_t i = 0; i < 4 && i < values.size(); ++i) rgba[i] = values[i];
    return rgba;
}

std::optional<double> FloatOf(const DocumentTree& tree, const Element* holder) {
    if (holder == nullptr) return std::nullopt;
    const Element* value = tree.Child(*holder, "float");
    if (value == nullptr) return std::nullopt;
    const std::vector<double> values = ParseNumbers(value->Text());
    if (values.empty()) return std::nullopt;
    return values[0];
}

// The newparam of this sid in the profile, else in the effect itself.
const Element* NewParam(const DocumentTree& tree, const Element& effect, std::string_view sid) {
    const Element* profile = tree.Child(effect, "profile_COMMON");
    for (const Element* scope : {profile, &effect}) {
        if (scope == nullptr) continue;
        for (const Element* param : tree.Children(*scope, "newparam")) {
            if (param->Attribute("sid") == sid) return param;
        }
    }
    return nullptr;
}

bool SaysSingleSided(const DocumentTree& tree, const Element& scope) {
    for (const Element* extra : tree.Children(scope, "extra")) {
        for (const Element* technique : tree.Children(*extra, "technique")) {
            const Element* flag = tree.Child(*technique, "double_sided");
            if (flag != nullptr && Trim(flag->Text()) == "0") return true;
        }
    }
    return false;
}

}  // namespace

double Opacity(const std::optional<Rgba>& transparent, std::string_view opaqueMode,
               std::optional<double> transparency) {
    if (!transparent) return 1.0;
    const Rgba& colour = *transparent;
    const double factor = transparency.value_or(1.0);
    double opacity = 0.0;
    if (opaqueMode == "A_ZERO") {
        opacity = 1.0 - colour[3] * factor;
    } else if (opaqueMode == "RGB_ONE") {
        opacity = Luminance(colour) * factor;
    } else if (opaqueMode == "RGB_ZERO") {
        opacity = 1.0 - Luminance(colour) * factor;
    } else {
        opacity = colour[3] * factor;
    }
    if (!(opacity > 0.0)) return 1.0;
    return std::min(opacity, 1.0);
}

const Element* TextureImage(const DocumentTree& tree, const Element& effect, std::string_view texture) {
    if (const Element* param = NewParam(tree, effect, texture)) {
        if (const Element* sampler = tree.Child(*param, "sampler2D")) {
            const std::string_view surfaceSid = Trim(tree.TextAt(*sampler, {"source"}));
            if (const Element* surfaceParam = NewParam(tree, effect, surfaceSid)) {
                if (const Element* surface = tree.Child(*surfaceParam, "surface")) {
                    texture = Trim(tree.TextAt(*surface, {"init_from"}));
                }
            }
        } else if (const Element* surface = tree.Child(*param, "surface")) {
            texture = Trim(tree.TextAt(*surface, {"init_from"}));
        }
    }
    const Element* image = tree.FindId(texture);
    return image != nullptr && image->Name() == "image" ? image : nullptr;
}

EffectLook ReadMaterial(const DocumentTree& tree, const Element& material) {
    EffectLook look;
    const Element* instance = tree.Child(material, "instance_effect");
    const Element* effect = instance != nullptr ? tree.FindId(instance->Attribute("url")) : nullptr;
    if (effect == nullptr || effect->Name() != "effect") return look;
    const Element* profile = tree.Child(*effect, "profile_COMMON");
    const Element* technique = profile != nullptr ? tree.Child(*profile, "technique") : nullptr;
    if (technique == nullptr) return look;
    const Element* shading = nullptr;
    for (std::string_view name : {"phong", "blinn", "lambert", "constant"}) {
        if ((shading = tree.Child(*technique, name)) != nullptr) break;
    }
    if (shading == nullptr) return look;
    look.Found = true;
    look.Unlit = shading->Name() == "constant";

    if (auto colour = ColourOf(tree, tree.Child(*shading, "emission"))) look.Emission = *colour;
    if (look.Unlit) {
        look.Diffuse = {0, 0, 0, 1};
    } else if (const Element* diffuse = tree.Child(*shading, "diffuse")) {
        if (auto colour = ColourOf(tree, diffuse)) look.Diffuse = *colour;
        if (const Element* texture = tree.Child(*diffuse, "texture")) {
            look.Image = TextureImage(tree, *effect, texture->Attribute("texture"));
            look.TexCoord = texture->Attribute("texcoord");
        }
    }
    if (shading->Name() == "phong" || shading->Name() == "blinn") {
        if (auto colour = ColourOf(tree, tree.Child(*shading, "specular"))) look.Specular = *colour;
        if (auto exponent = FloatOf(tree, tree.Child(*shading, "shininess"))) {
            look.Shininess = std::clamp(*exponent / 128.0, 0.0, 1.0);
        }
    }
    const Element* transparent = tree.Child(*shading, "transparent");
    std::optional<Rgba> colour;
    if (transparent != nullptr) {
        // A texture's alpha carries the opacity; the factor applies as to white.
        colour = ColourOf(tree, transparent);
        if (!colour) colour = Rgba{1, 1, 1, 1};
    }
    const std::string_view mode = transparent != nullptr ? transparent->Attribute("opaque") : std::string_view();
    look.Opacity = Opacity(colour, mode, FloatOf(tree, tree.Child(*shading, "transparency")));
    look.DoubleSided = !SaysSingleSided(tree, *effect) && !SaysSingleSided(tree, *profile) &&
                       !SaysSingleSided(tree, *technique);
    return look;
}

}  // namespace morvane::faithful
