#include "appearance/image_handlers.h"

#include <memory>

#include "animation/animation_node.h"
#include "events/central_object.h"
#include "geometry/source_arrays.h"
#include "support/path_text.h"

namespace morvane {

namespace {

void ReplaceFirst(std::string& text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    if (at != std::string::npos) text.replace(at, from.size(), to);
}

}  // namespace

bool ImageHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "id", Id);
    return true;
}

bool InitFromHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& reader = Owner();
    if (reader.IsTagOpen("image")) {
        // Only the bare file name is kept, and formats a viewer is unlikely
        // to read are renamed to the .jpg the model is expected to ship.
        Text.erase(0, FileNameStart(Text));
        ReplaceFirst(Text, ".tga", ".jpg");
        ReplaceFirst(Text, ".tiff", ".jpg");
        ReplaceFirst(Text, ".tif", ".jpg");
        const auto* image = reader.FindHandlerAs<ImageHandler>("image");
        reader.State().Images.Add(
            std::make_unique<ImageTextureNode>(&reader, image != nullptr ? image->Id : std::string(), Text));
        Text.clear();
    }
    if (reader.IsTagOpen("newparam") && !reader.State().NewParams.empty()) reader.State().NewParams.back().InitFrom = Text;
    Text.clear();
    return true;
}

bool NewparamHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    Owner().State().NewParams.Add(std::make_unique<NewParam>(GetAttribute(attributes, "sid")));
    return true;
}

bool SourceHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "id", Id);
    ColladaReader& reader = Owner();
    if (AnimationNode* animation = reader.CurrentAnimation()) {
        AnimationSource source;
        source.Id = Id;
        animation->SourceRecords.push_back(std::move(source));
    }
    return true;
}

bool SourceHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& reader = Owner();
    if (reader.IsTagOpen("newparam") && !reader.State().NewParams.empty()) reader.State().NewParams.back().Source = Text;
    AnimationNode* animation = reader.CurrentAnimation();
    if (animation != nullptr && !animation->SourceRecords.empty()) {
        // Looked up only now, so the array may stand before or after the accessor.
        AnimationSource& source = animation->SourceRecords.back();
        source.Array = FindFloatArray(reader.State().Sources, source.Accessor.SourceId);
    }
    Text.clear();
    return true;
}

bool TextureHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    AppearanceNode& current = Owner().State().CurrentAppearance;
    TextureSlot* slot = nullptr;
    if (Owner().IsTagOpen("diffuse")) {
        slot = &current.DiffuseTexture;
    } else if (Owner().IsTagOpen("ambient")) {
        slot = &current.AmbientTexture;
    } else {
        return true;
    }
    GetAttributeString(attributes, "texture", slot->Texture);
    GetAttributeString(attributes, "texcoord", slot->TexCoord);
    return true;
}

}  // namespace morvane
