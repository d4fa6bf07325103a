// What an animation element holds: its sources, the inputs of its samplers
// and one channel. Links between them are made by name when written.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nodes/x3d_node.h"

namespace morvane {

struct FloatArray;

class AccessorParam : public X3dNode {
public:
    std::string Name;
    std::string Type;
};

class SourceAccessor : public X3dNode {
public:
    std::int32_t Count = 0;
    std::int32_t Offset = 0;
    std::string SourceId;
    std::int32_t Stride = 0;
    AccessorParam Param;
};

class AnimationSource : public X3dNode {
public:
    std::string Id;
    // Not owned; null until the source element ends, and when no array has
    // the accessor's source id.
    FloatArray* Array = nullptr;
    SourceAccessor Accessor;
};

class SamplerInput : public X3dNode {
public:
    std::string Semantic;
    std::string SourceId;
};

class AnimationSampler : public X3dNode {
public:
    std::vector<SamplerInput> Inputs;
};

class AnimationChannel : public X3dNode {
public:
    std::string Source;
    std::string Target;
};

class AnimationNode : public X3dNode {
public:
    // The time sensor, one orientation interpolator per angle curve and the
    // routes between them; nested animations are not written. The indent
    // is written once, before the first line.
    void Write(TextOutput& out, int indent) override;

    // Nested animations, owned by the document like every animation.
    std::vector<AnimationNode*> ChildAnimations;
    std::vector<AnimationSource> SourceRecords;
    AnimationSampler Sampler;
    AnimationChannel Channel;
};

}  // namespace morvane
