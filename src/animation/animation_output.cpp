// X3D for one recorded animation. Only rotations about one axis are
// animated: every curve whose parameter is ANGLE becomes an orientation
// interpolator driven by a single time sensor, and every output of the
// samplers is routed to the channel's node.
#include <cmath>
#include <cstdio>

#include "animation/animation_node.h"
#include "document/output_file.h"
#include "geometry/source_arrays.h"
#include "nodes/transform_values.h"

namespace morvane {

namespace {

constexpr int kHalfTurn = 180;
constexpr double kPerHalfTurn = 0.005555555555555556;

// The axis text of a target such as "node/rotateZ.ANGLE"; the later name
// wins when a target holds several. Null when it holds none.
const char* AxisOfTarget(const std::string& target) {
    const char* axis = nullptr;
    if (target.find("rotateX") != std::string::npos) axis = "1 0 0";
    if (target.find("rotateY") != std::string::npos) axis = "0 1 0";
    if (target.find("rotateZ") != std::string::npos) axis = "0 0 1";
    return axis;
}

// How many values are inserted into a step of `step` degrees: one per
// half turn it spans, none below a half turn. Steps too large to count
// (or not numbers at all) get none.
int InsertedValues(float step) {
    if (!std::isfinite(step)) return 0;
    const float magnitude = std::fabs(step);
    if (magnitude >= 2147483648.0f) return 0;
    const int whole = static_cast<int>(magnitude);
    if (whole < kHalfTurn) return 0;
    return static_cast<int>(whole * kPerHalfTurn);
}

void WriteInterpolator(std::FILE* stream, const AnimationSource& source, const char* axis, int indent) {
    const std::vector<float>& values = source.Array->Values;
    const std::size_t count = values.size();
    std::size_t keys = count;
    if (count == 2) {
        const int inserted = InsertedValues(values[1] - values[0]);
        if (inserted > 0) keys = 2 + static_cast<std::size_t>(inserted);
    }

    WriteTabs(stream, indent);
    std::fprintf(stream, "<OrientationInterpolator DEF='%s'\n", source.Id.c_str());
    WriteTabs(stream, indent);
    std::fputs(" key='", stream);
    if (keys == 1) {
        std::fputs("0 ", stream);
    } else {
        for (std::size_t j = 0; j < keys; ++j) {
            ThrowIfWriteFailed(stream);
            std::fprintf(stream, "%lg ", static_cast<double>(j) / static_cast<double>(keys - 1));
        }
    }
    std::fputs("'\n", stream);
    WriteTabs(stream, indent);
    std::fputs(" keyValue='\n", stream);
    for (std::size_t k = 0; k + 1 < count; ++k) {
        const float step = values[k + 1] - values[k];
        const int inserted = InsertedValues(step);
        WriteTabs(stream, indent);
        std::fprintf(stream, " %s %lg\n", axis, values[k] * kDegreesToRadians);
        for (int s = 1; s <= inserted; ++s) {
            ThrowIfWriteFailed(stream);
            const float angle = values[k] + static_cast<float>(s) * step / static_cast<float>(inserted + 1);
            WriteTabs(stream, indent);
            std::fprintf(stream, " %s %lg\n", axis, angle * kDegreesToRadians);
        }
    }
    WriteTabs(stream, indent);
    std::fprintf(stream, " %s %lg\n", axis, values[count - 1] * kDegreesToRadians);
    WriteTabs(stream, indent);
    std::fputs(" '/>\n", stream);
}

// Sources of `input` whose accessor names `param` and which have values.
template <class Visit>
void ForEachMatchingSource(const std::vector<AnimationSource>& sources, const SamplerInput& input,
                           const char* param, Visit visit) {
    for (const AnimationSource& source : sources) {
        if (source.Id != input.SourceId || source.Accessor.Param.Name != param) continue;
        if (source.Array == nullptr || source.Array->Values.empty()) continue;
        visit(source);
    }
}

}  // namespace

void AnimationNode::Write(std::FILE* stream, int indent) {
    std::fflush(stream);
    WriteTabs(stream, indent);

    for (const SamplerInput& input : Sampler.Inputs) {
        if (input.Semantic != "INPUT") continue;
        ForEachMatchingSource(SourceRecords, input, "TIME", [&](const AnimationSource& source) {
            std::fprintf(stream, "<TimeSensor DEF='WorldTime' cycleInterval='%lg' />\n",
                         static_cast<double>(source.Array->Values.back()));
        });
    }

    const char* axis = AxisOfTarget(Channel.Target);
    for (const SamplerInput& input : Sampler.Inputs) {
        if (input.Semantic != "OUTPUT" || axis == nullptr) continue;
        ForEachMatchingSource(SourceRecords, input, "ANGLE",
                              [&](const AnimationSource& source) { WriteInterpolator(stream, source, axis, indent); });
    }

    const std::string node = Channel.Target.substr(0, Channel.Target.find('/'));
    for (const SamplerInput& input : Sampler.Inputs) {
        if (input.Semantic != "OUTPUT") continue;
        std::fprintf(stream,
                     "<ROUTE fromNode='WorldTime' fromField='fraction_changed' toNode = '%s' toField = 'set_fraction' />\n",
                     input.SourceId.c_str());
        std::fprintf(stream,
                     "<ROUTE fromNode='%s' fromField='value_changed' toNode = '%s' toField = 'set_rotation' />\n",
                     input.SourceId.c_str(), node.c_str());
    }
}

}  // namespace morvane
