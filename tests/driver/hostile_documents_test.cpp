// Documents nobody should write: the program neither crashes nor hangs on
// them, and never damages a file that was there before. Each runs the real
// program, so a sanitizer report shows on its standard error.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "nodes/x3d_node.h"
#include "test_support.h"

namespace morvane {
namespace {

using test::ReadFile;
using test::RunMorvane;
using test::ScratchDirectory;
using test::WriteFile;

std::string Cube() { return ReadFile(std::filesystem::path(MORVANE_SOURCE_DIR) / "examples" / "cube.dae"); }

// One polylist geometry `g` with the given index elements and positions, a
// visual scene holding `scene`, and `library` just before the scene.
std::string Triangle(const std::string& indices, const std::string& scene,
                     const std::string& positions = "0 0 0 1 0 0 0 1 0", const std::string& library = "") {
    return "<COLLADA><library_geometries><geometry id='g'><mesh>"
           "<source id='p'><float_array id='p-array'>" + positions + "</float_array>"
           "<technique_common><accessor source='#p-array' count='3' stride='3'/></technique_common></source>"
           "<vertices id='v'><input semantic='POSITION' source='#p'/></vertices>"
           "<polylist count='2'><input semantic='VERTEX' source='#v' offset='0'/>" + indices +
           "</polylist></mesh></geometry></library_geometries>" + library +
           "<library_visual_scenes><visual_scene id='s'>" + scene +
           "</visual_scene></library_visual_scenes></COLLADA>";
}

std::string Nested(int depth, const std::string& inside) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<node id='n" + std::to_string(i) + "'>";
    text += inside;
    for (int i = 0; i < depth; ++i) text += "</node>";
    return text;
}

struct Outcome {
    test::RunResult run;
    bool written = false;
    std::string output;
};

// Converts `document` as in.dae over an earlier in.x3d; an output that was
// not written must have kept the earlier text whole.
Outcome Convert(const std::string& document, std::vector<std::string> args = {"-fs"}) {
    ScratchDirectory scratch;
    WriteFile(scratch / "in.dae", document);
    WriteFile(scratch / "in.x3d", "earlier");
    args.push_back("in.dae");
    Outcome outcome;
    outcome.run = RunMorvane(scratch.Path(), args);
    outcome.output = ReadFile(scratch / "in.x3d");
    outcome.written = outcome.output != "earlier";
    EXPECT_EQ(outcome.run.exitCode, 0);
    EXPECT_EQ(outcome.run.err, "");
    return outcome;
}

TEST(HostileDocuments, BrokenInputLeavesTheEarlierOutputAlone) {
    const std::string cube = Cube();
    for (std::size_t cut : {cube.size() / 3, cube.size() - 10}) {
        EXPECT_FALSE(Convert(cube.substr(0, cut)).written) << cut;
    }
    std::mt19937 random(7);
    std::string garbage(1 << 16, '\0');
    for (char& byte : garbage) byte = static_cast<char>(random());
    EXPECT_FALSE(Convert(garbage).written);
    EXPECT_FALSE(Convert("<COLLADA>" + garbage).written);
}

TEST(HostileDocuments, ASparseGigabyteIsRefusedWithoutReadingItAll) {
    ScratchDirectory scratch;
    WriteFile(scratch / "big.dae", "");
    std::filesystem::resize_file(scratch / "big.dae", std::uintmax_t{1} << 30);
    const auto result = RunMorvane(scratch.Path(), {"-fs", "big.dae"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_FALSE(std::filesystem::exists(scratch / "big.x3d"));
}

TEST(HostileDocuments, StrangeNumbersAndIndicesStillConvert) {
    // Out-of-range numbers print as the C library prints them.
    const auto numbers = Convert(Triangle("<vcount>3</vcount><p>0 1 2</p>", "<node><instance_geometry url='#g'/></node>",
                                          "1e999 nan -1e999 0 0 0 0 1 0"));
    EXPECT_TRUE(numbers.written);
    EXPECT_NE(numbers.output.find("inf nan -inf"), std::string::npos) << numbers.output;
    // Indices far outside the arrays, negative ones, and a vcount that
    // promises more than the index list holds.
    for (const char* indices :
         {"<vcount>3 3</vcount><p>0 1 2147483647 -5 9999999999 2</p>", "<vcount>3 1000000</vcount><p>0 1 2 0 1</p>",
          "<vcount>-3 2147483647</vcount><p>0 1 2</p>", "<vcount>3</vcount><p>0 1</p>"}) {
        const auto outcome = Convert(Triangle(indices, "<node><instance_geometry url='#g'/></node>"), {"-fs", "-ss"});
        if (outcome.written) {
            EXPECT_EQ(test::XmlErrors(outcome.output), "") << indices;
        }
        Convert(Triangle(indices, "<node><instance_geometry url='#g'/></node>"));
    }
}

TEST(HostileDocuments, SceneDepthHasALimit) {
    const std::string shape = "<instance_geometry url='#g'/>";
    const std::string face = "<vcount>3</vcount><p>0 1 2</p>";
    const auto deepest = Convert(Triangle(face, Nested(kMaxSceneDepth, shape)));
    EXPECT_TRUE(deepest.written);
    EXPECT_EQ(test::XmlErrors(deepest.output), "");
    EXPECT_FALSE(Convert(Triangle(face, Nested(kMaxSceneDepth + 1, shape))).written);
    EXPECT_FALSE(Convert(Triangle(face, Nested(10000, shape))).written);

    // Library nodes instancing one another nest in the file, not in the
    // document: each of the 10000 is one level deeper than the one before.
    std::string chain = "<library_nodes>";
    for (int i = 0; i < 10000; ++i) {
        chain += "<node id='L" + std::to_string(i) + "'><instance_node url='#L" + std::to_string(i + 1) + "'/></node>";
    }
    chain += "<node id='L10000'>" + shape + "</node></library_nodes>";
    for (const auto& args : {std::vector<std::string>{"-fs"}, {"-fs", "-l"}}) {
        EXPECT_FALSE(Convert(Triangle(face, "<node><instance_node url='#L0'/></node>", "0 0 0 1 0 0 0 1 0", chain), args)
                         .written);
    }
}

}  // namespace
}  // namespace morvane
