// What a material looks like: the common profile's colours, texture,
// shininess and opacity of the effect that a material instances, read from
// the document tree into plain values for the X3D Material and texture.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "faithful/document_tree.h"

namespace morvane::faithful {

using Rgba = std::array<double, 4>;

// How <transparent> and <transparency> combine into the fraction of the
// material's own colour that shows:
//   A_ONE    opacity = A * transparency
//   A_ZERO   opacity = 1 - A * transparency
//   RGB_ONE  opacity = luminance(RGB) * transparency
//   RGB_ZERO opacity = 1 - luminance(RGB) * transparency
// with transparency 1 when it is not given, and the mode A_ONE when the
// attribute is missing or unknown. A material without <transparent> is
// opaque. The result is clamped to [0, 1]; a material that would come out
// wholly invisible (opacity 0) is taken as opaque, since exporters write
// that combination for plain solid materials.
double Opacity(const std::optional<Rgba>& transparent, std::string_view opaqueMode,
               std::optional<double> transparency);

struct EffectLook {
    // Null for a material whose effect cannot be found: X3D's defaults.
    bool Found = false;
    // "constant": only the emission shows, lighting plays no part.
    bool Unlit = false;
    Rgba Diffuse{0.8, 0.8, 0.8, 1.0};
    Rgba Emission{0, 0, 0, 1};
    Rgba Specular{0, 0, 0, 1};
    // X3D's 0..1 scale: the common profile's exponent over 128.
    double Shininess = 0.2;
    double Opacity = 1.0;
    // The image of the diffuse texture, and the texcoord name that
    // bind_vertex_input maps to a set.
    const Element* Image = nullptr;
    std::string TexCoord;
    // The effect asks for both faces to be drawn (or says nothing of it).
    bool DoubleSided = true;
};

// The look of a <material>.
EffectLook ReadMaterial(const DocumentTree& tree, const Element& material);

// The image a texture attribute names: through a sampler2D newparam and
// its surface newparam in `effect`, or directly by an image's id.
const Element* TextureImage(const DocumentTree& tree, const Element& effect, std::string_view texture);

}  // namespace morvane::faithful
