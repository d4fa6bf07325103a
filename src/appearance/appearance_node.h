// Materials merged with their effects, and the images and texture
// references that they name.
#pragma once

#include <array>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nodes/x3d_node.h"
#include "support/name_index.h"
#include "support/record_list.h"

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

    // Fixed at creation: the images are found again by it.
    const std::string Id;
    std::string Url;
};

// Every image of a document, in the order their init_from elements ended,
// found again by id: the first image that bears an id is found.
using ImageList = RecordList<ImageTextureNode, &ImageTextureNode::Id>;

// One newparam of an effect: a sampler names its surface in Source, a
// surface names its image in InitFrom.
struct NewParam {
    explicit NewParam(std::string sid) : Sid(std::move(sid)) {}

    // Fixed at creation: the records are found again by it.
    const std::string Sid;
    std::string Source;
    std::string InitFrom;
};

// The newparam records of all effects of a document, in document order,
// found again by sid: the first record that bears a sid is found.
using NewParamList = RecordList<NewParam, &NewParam::Sid>;

class AppearanceNode : public X3dNode {
public:
    using X3dNode::X3dNode;

    // The Appearance element with its Material and textures the first time,
    // a USE line after it.
    void Write(TextOutput& out, int indent) override;

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
    void WriteMaterial(TextOutput& out, int indent);
    void WriteTexture(TextOutput& out, const TextureSlot& slot, int indent);
};

// Every appearance of a document, in the order the materials ended, found
// again by name, by id and by the effect it asks for. Each search gives the
// first record in list order that matches exactly, or null. A record's
// Name, Id and EffectRef are its keys and stay as they were added; an effect
// changes only its colours, numbers and textures.
class AppearanceList {
public:
    // Appends a copy of `record`.
    AppearanceNode& Add(const AppearanceNode& record);

    AppearanceNode* FindByName(std::string_view name) const { return byName_.Find(name, nullptr); }
    AppearanceNode* FindById(std::string_view id) const { return byId_.Find(id, nullptr); }
    AppearanceNode* FindByEffect(std::string_view effectRef) const { return byEffect_.Find(effectRef, nullptr); }

    bool empty() const { return records_.empty(); }
    std::size_t size() const { return records_.size(); }
    AppearanceNode& operator[](std::size_t i) { return records_[i]; }
    const AppearanceNode& operator[](std::size_t i) const { return records_[i]; }
    auto begin() { return records_.begin(); }
    auto end() { return records_.end(); }
    auto begin() const { return records_.begin(); }
    auto end() const { return records_.end(); }
    void clear();

private:
    // A deque keeps the records in place as the list grows, so the searches
    // can hand out pointers that stay valid.
    std::deque<AppearanceNode> records_;
    NameIndex<AppearanceNode*> byName_;
    NameIndex<AppearanceNode*> byId_;
    NameIndex<AppearanceNode*> byEffect_;
};

// The image that a texture name leads to: an image id directly, or a
// sampler sid whose source is a surface sid whose init_from is an image id.
ImageTextureNode* ResolveTexture(const ImageList& images, const NewParamList& params, const std::string& name);

}  // namespace morvane
