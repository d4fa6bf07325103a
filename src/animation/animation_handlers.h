// Handlers of the animation library.
#pragma once

#include "events/tag_handler.h"

namespace morvane {

// <library_animations>
class LibraryAnimationsHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <animation>
class AnimationHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <pre_infinity>
class PreInfinityHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <post_infinity>
class PostInfinityHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <Name_array>
class NameArrayHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <sampler>
class SamplerHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <channel>
class ChannelHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

}  // namespace morvane
