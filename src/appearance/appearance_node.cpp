#include "appearance/appearance_node.h"

#include <utility>

namespace morvane {

ImageTextureNode::ImageTextureNode(ColladaReader* document, std::string id, std::string url)
    : X3dNode(document), Id(std::move(id)), Url(std::move(url)) {}

}  // namespace morvane
