// Materials merged with their effects, and the images and texture
// references that they name.
#pragma once

#include <array>
#include <deque>
#include <string>

#include "nodes/x3d_node.h"

namespace morvane {

using Color4 = std::array<float, 4>;

class TextureSlot : public X3dNode {
public:
    // The sid of a sampler newparam, or the id of an image.
    std::string Texture;
    std::string TexCoord;
};

class ImageTextureNode : public X3dNode {
public:
    ImageTextureNode(ColladaReader* document, std::string id, std::string url);

    std::string Id;
    std::string Url;
};

struct NewParam {
    std::string Sid;
    std::string Source;
    std::string InitFrom;
};

class AppearanceNode : public X3dNode {
public:
    using X3dNode::X3dNode;

    std::string Name;
    std::string Id;
    Color4 DiffuseColor{0.8f, 0.8f, 0.8f, 1.0f};
    Color4 EmissionColor{0.8f, 0.8f, 0.8f, 1.0f};
    Color4 SpecularColor{0.8f, 0.8f, 0.8f, 1.0f};
    float Shininess = 0.2f;
    float Transparency = 0.0f;
    TextureSlot DiffuseTexture;
    TextureSlot AmbientTexture;
    std::string EffectName;
    std::string EffectRef;
};

// Every appearance of a document, in the order the materials ended. A deque
// keeps the records in place while the list grows.
using AppearanceList = std::deque<AppearanceNode>;

}  // namespace morvane
