#include "animation/animation_handlers.h"

#include "animation/animation_node.h"
#include "events/central_object.h"

namespace morvane {

// A second animation library replaces what the first one recorded; the
// records themselves stay with the document.
bool LibraryAnimationsHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!TagHandler::Start(name, attributes)) return false;
    Owner().State().AnimationStack.clear();
    Owner().State().Animations.clear();
    return true;
}

bool AnimationHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "id", Id);
    ColladaReader& reader = Owner();
    auto* animation = reader.State().MakeNode<AnimationNode>();
    if (reader.State().AnimationStack.empty()) {
        reader.State().Animations.push_back(animation);
    } else {
        reader.State().AnimationStack.back()->ChildAnimations.push_back(animation);
    }
    reader.State().AnimationStack.push_back(animation);
    return true;
}

// The channel is taken here, once, from the latest channel element of the
// document: an animation without one inherits the one before it.
bool AnimationHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& reader = Owner();
    if (reader.State().AnimationStack.empty()) return true;
    AnimationNode* animation = reader.State().AnimationStack.back();
    if (auto* channel = reader.FindHandlerAs<ChannelHandler>("channel")) {
        animation->Channel.Source = DropFirst(channel->Source);
        animation->Channel.Target = channel->Target;
    }
    reader.State().AnimationStack.pop_back();
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
