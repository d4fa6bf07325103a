// X3D for one recorded animation. Only rotations about one axis are
// animated: every curve whose parameter is ANGLE becomes an orientation
// interpolator driven by a single time sensor, and every output of the
// samplers is routed to the channel's node.
#include <cmath>

#include "animation/animation_node.h"
#include "geometry/source_arrays.h"
#include "support/text_output.h"
#include "nodes/transform_values.h"
#include "support/name_index.h"

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

void WriteInterpolator(TextOutput& out, const AnimationSource& source, const char* axis, int indent) {
    const std::vector<float>& values = source.Array->Values;
    const std::size_t count = values.size();
    std::size_t keys = count;
    if (count == 2) {
        const int inserted = InsertedValues(values[1] - values[0]);
        if (inserted > 0) keys = 2 + static_cast<std::size_t>(inserted);
    }
    // One line of the key values: the axis and the angle in radians.
    const auto putValue = [&](double degrees) {
        out.PutTabs(indent);
        out.Put(' ');
        out.Put(axis);
        out.Put(' ');
        out.PutNumber(degrees * kDegreesToRadians);
        out.Put('\n');
    };

    out.PutTabs(indent);
    out.Put("<OrientationInterpolator DEF='");
    out.PutString(source.Id);
    out.Put("'\n");
    out.PutTabs(indent);
    out.Put(" key='");
    if (keys == 1) {
        out.Put("0 ");
    } else {
        for (std::size_t j = 0; j < keys; ++j) {
            out.PutNumber(static_cast<double>(j) / static_cast<double>(keys - 1));
            out.Put(' ');
        }
    }
    out.Put("'\n");
    out.PutTabs(indent);
    out.Put(" keyValue='\n");
    for (std::size_t k = 0; k + 1 < count; ++k) {
        const float step = values[k + 1] - values[k];
        const int inserted = InsertedValues(step);
        putValue(values[k]);
        for (int s = 1; s <= inserted; ++s) {
            putValue(values[k] + static_cast<float>(s) * step / static_cast<float>(inserted + 1));
        }
    }
    putValue(values[count - 1]);
    out.PutTabs(indent);
    out.Put(" '/>\n");
}

// Sources of `input`, in order, whose accessor names `param` and which have
// values; `byId` groups the sources by id.
template <class Visit>
void ForEachMatchingSource(const std::vector<AnimationSource>& sources, const NameChains& byId,
                           const SamplerInput& input, const char* param, Visit visit) {
    for (std::size_t i = byId.First(input.SourceId); i != NameChains::kEnd; i = byId.Next(i)) {
        const AnimationSource& source = sources[i];
        if (source.Accessor.Param.Name != param) continue;
        if (source.Array == nullptr || source.Array->Values.empty()) continue;
        visit(source);
    }
}

}  // namespace

void AnimationNode::Write(TextOutput& out, int indent) {
    out.PutTabs(indent);
    NameChains byId;
    byId.Build(SourceRecords, [](const AnimationSource& source) -> const std::string& { return source.Id; });

    for (const SamplerInput& input : Sampler.Inputs) {
        if (input.Semantic != "INPUT") continue;
        ForEachMatchingSource(SourceRecords, byId, input, "TIME", [&](const AnimationSource& source) {
            out.Put("<TimeSensor DEF='WorldTime' cycleInterval='");
            out.PutNumber(static_cast<double>(source.Array->Values.back()));
            out.Put("' />\n");
        });
    }

    const char* axis = AxisOfTarget(Channel.Target);
    for (const SamplerInput& input : Sampler.Inputs) {
        if (input.Semantic != "OUTPUT" || axis == nullptr) continue;
        ForEachMatchingSource(SourceRecords, byId, input, "ANGLE",
                              [&](const AnimationSource& source) { WriteInterpolator(out, source, axis, indent); });
    }

    const std::string node = Channel.Target.substr(0, Channel.Target.find('/'));
    for (const SamplerInput& input : Sampler.Inputs) {
        if (input.Semantic != "OUTPUT") continue;
        out.Put("<ROUTE fromNode='WorldTime' fromField='fraction_changed' toNode = '");
        out.PutString(input.SourceId);
        out.Put("' toField = 'set_fraction' />\n");
        out.Put("<ROUTE fromNode='");
        out.PutString(input.SourceId);
        out.Put("' fromField='value_changed' toNode = '");
        out.PutString(node);
        out.Put("' toField = 'set_rotation' />\n");
    }
}

}  // namespace morvane
