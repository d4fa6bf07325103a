// Materials merged with their effects, and the images and texture
// references that they name.
#pragma once

#include <array>
#include <cstdio>
#include <deque>
#include <memory>
#include <string>
#include <vector>

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

    // The DEF line the first time, the USE line after it.
    void Format(std::string& out) override;

    std::string Id;
    std::string Url;
};

using ImageList = std::vector<std::unique_ptr<ImageTextureNode>>;

struct NewParam {
    std::string Sid;
    std::string Source;
    std::string InitFrom;
};

using NewParamList = std::vector<NewParam>;

class AppearanceNode : public X3dNode {
public:
    using X3dNode::X3dNode;

    // The Appearance element with its Material and textures the first time,
    // a USE line after it.
    void Write(std::FILE* stream, int indent) override;

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

private:
    void WriteMaterial(std::FILE* stream, int indent);
    void WriteTexture(std::FILE* stream, const TextureSlot& slot, int indent);
};

// Every appearance of a document, in the order the materials ended. A deque
// keeps the records in place while the list grows, so the searches can hand
// out pointers that stay valid.
class AppearanceList : public std::deque<AppearanceNode> {
public:
    // Linear and exact; the first match wins, null when there is none.
    AppearanceNode* FindByName(const std::string& name);
    AppearanceNode* FindById(const std::string& id);
    AppearanceNode* FindByEffect(const std::string& effectRef);
};

// The first image whose Id equals `id`, or null.
ImageTextureNode* FindImage(const ImageList& images, const std::string& id);
// The first record whose Sid equals `sid`, or null.
NewParam* FindNewParam(NewParamList& params, const std::string& sid);
// The image that a texture name leads to: an image id directly, or a
// sampler sid whose source is a surface sid whose init_from is an image id.
ImageTextureNode* ResolveTexture(const ImageList& images, NewParamList& params, const std::string& name);

}  // namespace morvane
