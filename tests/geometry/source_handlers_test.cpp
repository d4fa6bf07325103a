#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "animation/animation_node.h"
#include "geometry/geometry_fixtures.h"
#include "geometry/source_arrays.h"

namespace morvane {
namespace {

using test::FloatArrayElement;
using test::GeometryDocument;
using test::MeshKeeper;

class Attributes : public AttributeList {
public:
    Attributes(std::initializer_list<std::pair<std::string, std::string>> pairs) : pairs_(pairs) {}
    bool GetValueFromName(std::string_view name, std::string_view& value) const override {
        for (const auto& [key, text] : pairs_) {
            if (key == name) {
                value = text;
                return true;
            }
        }
        return false;
    }

private:
    std::vector<std::pair<std::string, std::string>> pairs_;
};

void StartElement(ColladaReader& reader, const std::string& name, const Attributes& attributes) {
    reader.startElement(name, attributes);
}

void EndElement(ColladaReader& reader, const std::string& name) { reader.endElement(name); }

TEST(FloatArrays, EveryArrayIsKeptInOrderWithAllItsTokens) {
    MeshKeeper keeper;
    test::ParseDocument(keeper, GeometryDocument("<float_array id='a' count='7'>1 2\n\t 3</float_array>"
                                                 "<float_array>  </float_array>"
                                                 "<float_array id='a'>4</float_array>"));
    ASSERT_EQ(keeper.Sources.size(), 3u);
    EXPECT_EQ(keeper.Sources[0]->Values, (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(keeper.Sources[1]->Id, "");
    EXPECT_EQ(keeper.Sources[1]->Values, (std::vector<float>{0}));
    EXPECT_EQ(FindFloatArray(keeper.Sources, "a"), keeper.Sources[0].get());
    EXPECT_EQ(FindFloatArray(keeper.Sources, "A"), nullptr);
}

// An open animation element with its node on the stack, as the animation
// reading leaves them for the elements inside it.
struct OpenAnimation {
    explicit OpenAnimation(ColladaReader& reader) {
        reader.AnimationStack.push_back(&animation);
        reader.FindHandler("animation")->IsOpen = true;
    }
    AnimationNode animation;
};

TEST(Accessors, FillTheLastSourceOfAnOpenAnimationOnly) {
    MeshKeeper reader;
    AnimationNode idle;
    idle.SourceRecords.emplace_back();
    reader.AnimationStack.push_back(&idle);
    // The animation element is not open: nothing changes.
    StartElement(reader, "accessor", {{"source", "#a"}, {"count", "3"}});
    EndElement(reader, "accessor");
    EXPECT_EQ(idle.SourceRecords.back().Accessor.Count, 0);

    reader.AnimationStack.clear();
    OpenAnimation open(reader);
    // Open, but no source record yet: nothing to fill.
    EndElement(reader, "accessor");
    open.animation.SourceRecords.emplace_back();
    open.animation.SourceRecords.emplace_back();
    open.animation.SourceRecords.back().Accessor.Stride = 5;
    StartElement(reader, "accessor", {{"source", "#times-array"}, {"count", "4"}, {"stride", "x"}});
    StartElement(reader, "param", {{"name", "TIME"}, {"type", "float"}});
    StartElement(reader, "param", {{"name", "ANGLE"}, {"type", "double"}});
    EndElement(reader, "accessor");

    const SourceAccessor& filled = open.animation.SourceRecords.back().Accessor;
    EXPECT_EQ(filled.SourceId, "times-array");
    EXPECT_EQ(filled.Count, 4);
    EXPECT_EQ(filled.Offset, 0);  // missing: keeps what it had
    EXPECT_EQ(filled.Stride, 5);  // not a number: likewise
    EXPECT_EQ(filled.Param.Name, "ANGLE");
    EXPECT_EQ(filled.Param.Type, "double");
    EXPECT_EQ(open.animation.SourceRecords.front().Accessor.SourceId, "");
}

TEST(SamplerInputs, EveryInputOfASamplerIsRecordedInOrder) {
    MeshKeeper reader;
    OpenAnimation open(reader);
    reader.FindHandler("sampler")->IsOpen = true;
    StartElement(reader, "input", {{"semantic", "INPUT"}, {"source", "#times"}});
    StartElement(reader, "input", {{"semantic", "INTERPOLATION"}, {"offset", "2"}});
    const auto& inputs = open.animation.Sampler.Inputs;
    ASSERT_EQ(inputs.size(), 2u);
    EXPECT_EQ(inputs[0].Semantic, "INPUT");
    EXPECT_EQ(inputs[0].SourceId, "times");
    EXPECT_EQ(inputs[1].SourceId, "");

    // A sampler input with no current animation is dropped.
    reader.AnimationStack.clear();
    StartElement(reader, "input", {{"semantic", "INPUT"}, {"source", "#times"}});
    EXPECT_EQ(inputs.size(), 2u);
}

}  // namespace
}  // namespace morvane
