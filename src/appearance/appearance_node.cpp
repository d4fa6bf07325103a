#include "appearance/appearance_node.h"

#include <utility>

namespace morvane {

ImageTextureNode::ImageTextureNode(ColladaReader* document, std::string id, std::string url)
    : X3dNode(document), Id(std::move(id)), Url(std::move(url)) {}

AppearanceNode& AppearanceList::Add(const AppearanceNode& record) {
    AppearanceNode& added = records_.emplace_back(record);
    byName_.Note(added.Name, &added);
    byId_.Note(added.Id, &added);
    byEffect_.Note(added.EffectRef, &added);
    return added;
}

void AppearanceList::clear() {
    byName_.Clear();
    byId_.Clear();
    byEffect_.Clear();
    records_.clear();
}

ImageTextureNode* ResolveTexture(const ImageList& images, const NewParamList& params, const std::string& name) {
    if (ImageTextureNode* image = images.Find(name)) return image;
    const NewParam* sampler = params.Find(name);
    if (sampler == nullptr) return nullptr;
    const NewParam* surface = params.Find(sampler->Source);
    if (surface == nullptr) return nullptr;
    return images.Find(surface->InitFrom);
}

}  // namespace morvane
