// Handlers of images and of the texture references of effects: the image
// library, the newparam records of samplers and surfaces, and texture.
#pragma once

#include <string>

#include "events/tag_handler.h"

namespace morvane {

// Elements known by name only: context for other elements, or text
// that others read.
class LibraryImagesHandler : public TagHandler { public: using TagHandler::TagHandler; };
class SurfaceHandler : public TagHandler { public: using TagHandler::TagHandler; };
class Sampler2DHandler : public TagHandler { public: using TagHandler::TagHandler; };

// <image>
class ImageHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    // The id of the image being read, for its init_from.
    std::string Id;
};

// <init_from>
class InitFromHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool End(const std::string& name) override;
};

// <newparam>
class NewparamHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// <source>, both the sampler's link to its surface and an animation source.
class SourceHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;

    std::string Id;
};

// <texture>
class TextureHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

}  // namespace morvane
