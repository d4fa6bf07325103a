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

ImageTextureNode& ImageList::Add(std::unique_ptr<ImageTextureNode> image) {
    images_.push_back(std::move(image));
    ImageTextureNode& added = *images_.back();
    byId_.Note(added.Id, &added);
    return added;
}

void ImageList::clear() {
    byId_.Clear();
    images_.clear();
}

NewParam& NewParamList::Add(std::string sid) {
    NewParam& added = params_.emplace_back(std::move(sid));
    bySid_.Note(added.Sid, &added);
    return added;
}

void NewParamList::clear() {
    bySid_.Clear();
    params_.clear();
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
