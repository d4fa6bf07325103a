// Handlers of the animation library.
#pragma once

#include "events/tag_handler.h"

namespace morvane {

// Elements known by name only: context for other elements, or text
// that others read.
class PreInfinityHandler : public TagHandler { public: using TagHandler::TagHandler; };
class PostInfinityHandler : public TagHandler { public: using TagHandler::TagHandler; };

// <library_animations>
class LibraryAnimationsHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <animation>
class AnimationHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;

    std::string Id;
};

// <Name_array>
class NameArrayHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    std::string Id;
    std::string Count;
};

// <sampler>
class SamplerHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    std::string Id;
};

// <channel>
class ChannelHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    // Raw attribute values of the latest channel element; the enclosing
    // animation takes them when it ends.
    std::string Source;
    std::string Target;
};

}  // namespace morvane
