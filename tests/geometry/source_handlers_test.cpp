#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "animation/animation_node.h"
#include "geometry/geometry_fixtures.h"
#include "geometry/geometry_handlers.h"
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
    testing::internal::CaptureStdout();
    test::ParseDocument(keeper, GeometryDocument("<float_array id='a' count='7'>1 2\n\t 3</float_array>"
                                                 "<float_array>  </float_array>"
                                                 "<float_array id='a'>4</float_array>"));
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(keeper.Sources.size(), 3u);
    EXPECT_EQ(keeper.Sources[0]->Values, (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(keeper.Sources[1]->Id, "");
    EXPECT_EQ(keeper.Sources[1]->Values, (std::vector<float>{0}));
    EXPECT_EQ(FindFloatArray(keeper.Sources, "a"), keeper.Sources[0].get());
    EXPECT_EQ(FindFloatArray(keeper.Sources, "A"), nullptr);
}

// An animation whose source element is open, as the animation reading sets
// it up before the accessor inside it.
struct OpenAnimation {
    explicit OpenAnimation(ColladaReader& reader) {
        reader.AnimationStack.push_back(&animation);
        reader.FindHandler("animation")->IsOpen = true;
    }
    AnimationNode animation;
};

TEST(Accessors, FillTheLastSourceOfTheCurrentAnimation) {
    MeshKeeper reader;
    OpenAnimation open(reader);
    open.animation.SourceRecords.emplace_back();
    open.animation.SourceRecords.emplace_back();
    open.animation.SourceRecords.back().Accessor.Stride = 5;

    StartElement(reader, "accessor", {{"source", "#times-array"}, {"count", "4"}, {"stride", "x"}});
    StartElement(reader, "param", {{"name", "TIME"}, {"type", "float"}});
    EndElement(reader, "param");
    StartElement(reader, "param", {{"name", "ANGLE"}, {"type", "double"}});
    EndElement(reader, "param");
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

TEST(Accessors, OutsideAnAnimationOrWithoutASourceChangeNothing) {
    MeshKeeper reader;
    AnimationNode idle;
    idle.SourceRecords.emplace_back();
    reader.AnimationStack.push_back(&idle);
    // The animation element is not open.
    StartElement(reader, "accessor", {{"source", "#a"}, {"count", "3"}});
    EndElement(reader, "accessor");
    EXPECT_EQ(idle.SourceRecords.back().Accessor.Count, 0);

    // Open, but with no source record, or no animation at all.
    reader.AnimationStack.clear();
    OpenAnimation open(reader);
    StartElement(reader, "accessor", {{"source", "#a"}, {"count", "3"}});
    EndElement(reader, "accessor");
    EXPECT_TRUE(open.animation.SourceRecords.empty());
    reader.AnimationStack.clear();
    StartElement(reader, "accessor", {{"count", "3"}});
    EndElement(reader, "accessor");
}

TEST(SamplerInputs, EveryInputOfASamplerIsRecordedInOrder) {
    MeshKeeper reader;
    OpenAnimation open(reader);
    reader.FindHandler("sampler")->IsOpen = true;
    StartElement(reader, "input", {{"semantic", "INPUT"}, {"source", "#times"}});
    StartElement(reader, "input", {{"semantic", "INTERPOLATION"}, {"source", "#interp"}, {"offset", "2"}});
    StartElement(reader, "input", {{"semantic", "OUTPUT"}});
    const auto& inputs = open.animation.Sampler.Inputs;
    ASSERT_EQ(inputs.size(), 3u);
    EXPECT_EQ(inputs[0].Semantic, "INPUT");
    EXPECT_EQ(inputs[0].SourceId, "times");
    EXPECT_EQ(inputs[1].SourceId, "interp");
    EXPECT_EQ(inputs[2].SourceId, "");

    // A sampler input with no current animation is dropped.
    reader.AnimationStack.clear();
    StartElement(reader, "input", {{"semantic", "INPUT"}, {"source", "#times"}});
    EXPECT_EQ(inputs.size(), 3u);
}

TEST(PrimitiveInputs, LinesAndUnknownSemanticsSetNoOffset) {
    MeshKeeper reader;
    reader.startDocument();
    StartElement(reader, "lines", {});
    StartElement(reader, "input", {{"semantic", "VERTEX"}, {"offset", "0"}});
    EndElement(reader, "input");
    StartElement(reader, "polylist", {});
    StartElement(reader, "input", {{"semantic", "COLOR"}, {"offset", "1"}});
    StartElement(reader, "input", {{"semantic", "NORMAL"}, {"source", "#n"}, {"offset", "x"}});
    const auto* polylist = reader.FindHandlerAs<PolylistHandler>("polylist");
    const auto* triangles = reader.FindHandlerAs<TrianglesHandler>("triangles");
    // A normal whose offset does not convert stays without one.
    EXPECT_EQ(polylist->NormalOffset, -1);
    EXPECT_EQ(polylist->TupleWidth(), 0);
    EXPECT_EQ(triangles->VertexOffset, -1);
    EXPECT_EQ(reader.MeshLibrary->Children.back()->NormalSourceId, "n");
}

}  // namespace
}  // namespace morvane
