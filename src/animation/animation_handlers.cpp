#include "animation/animation_handlers.h"

#include "animation/animation_node.h"
#include "events/central_object.h"

namespace morvane {

// A second animation library replaces what the first one recorded; the
// records themselves stay with the document.
bool LibraryAnimationsHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!TagHandler::Start(name, attributes)) return false;
    Owner().AnimationStack.clear();
    Owner().Animations.clear();
    return true;
}

bool AnimationHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "id", Id);
    ColladaReader& reader = Owner();
    auto* animation = reader.MakeNode<AnimationNode>();
    if (reader.AnimationStack.empty()) {
        reader.Animations.push_back(animation);
    } else {
        reader.AnimationStack.back()->ChildAnimations.push_back(animation);
    }
    reader.AnimationStack.push_back(animation);
    return true;
}

// The channel is taken here, once, from the latest channel element of the
// document: an animation without one inherits the one before it.
bool AnimationHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& reader = Owner();
    if (reader.AnimationStack.empty()) return true;
    AnimationNode* animation = reader.AnimationStack.back();
    if (auto* channel = reader.FindHandlerAs<ChannelHandler>("channel")) {
        animation->Channel.Source = DropFirst(channel->Source);
        animation->Channel.Target = channel->Target;
    }
    reader.AnimationStack.pop_back();
    return true;
}

bool NameArrayHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "id", Id);
    GetAttributeString(attributes, "count", Count);
    return true;
}

bool SamplerHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "id", Id);
    return true;
}

bool ChannelHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "source", Source);
    GetAttributeString(attributes, "target", Target);
    return true;
}

}  // namespace morvane
