#include "appearance/appearance_node.h"

#include <utility>

namespace morvane {

ImageTextureNode::ImageTextureNode(ColladaReader* document, std::string id, std::string url)
    : X3dNode(document), Id(std::move(id)), Url(std::move(url)) {}

namespace {

template <class Field>
AppearanceNode* FindFirst(AppearanceList& list, Field field, const std::string& key) {
    for (AppearanceNode& appearance : list) {
        if (appearance.*field == key) return &appearance;
    }
    return nullptr;
}

}  // namespace

AppearanceNode* AppearanceList::FindByName(const std::string& name) {
    return FindFirst(*this, &AppearanceNode::Name, name);
}

AppearanceNode* AppearanceList::FindById(const std::string& id) { return FindFirst(*this, &AppearanceNode::Id, id); }

AppearanceNode* AppearanceList::FindByEffect(const std::string& effectRef) {
    return FindFirst(*this, &AppearanceNode::EffectRef, effectRef);
}

ImageTextureNode* FindImage(const ImageList& images, const std::string& id) {
    for (const auto& image : images) {
        if (image->Id == id) return image.get();
    }
    return nullptr;
}

NewParam* FindNewParam(NewParamList& params, const std::string& sid) {
    for (NewParam& param : params) {
        if (param.Sid == sid) return &param;
    }
    return nullptr;
}

ImageTextureNode* ResolveTexture(const ImageList& images, NewParamList& params, const std::string& name) {
    if (ImageTextureNode* image = FindImage(images, name)) return image;
    const NewParam* sampler = FindNewParam(params, name);
    if (sampler == nullptr) return nullptr;
    const NewParam* surface = FindNewParam(params, sampler->Source);
    if (surface == nullptr) return nullptr;
    return FindImage(images, surface->InitFrom);
}

}  // namespace morvane
