// Documents nobody should write: the program neither crashes nor hangs on
// them, never damages a file that was there before, and says in one line
// why it wrote nothing. Each runs the real program, so a sanitizer report
// shows on its standard error.
#include <gtest/gtest.h>

#include <random>

#include "nodes/x3d_node.h"
#include "test_support.h"

namespace morvane {
namespace {

// One polylist geometry with the given index elements and positions, a
// visual scene holding `scene`, and `library` just before the scene.
std::string Triangle(const std::string& indices, const std::string& scene,
                     const std::string& positions = "0 0 0 1 0 0 0 1 0", const std::string& library = "") {
    return test::MeshDocument(
        scene, "<polylist count='2'><input semantic='VERTEX' source='#v' offset='0'/>" + indices + "</polylist>",
        positions, library);
}

std::string Nested(int depth, const std::string& inside) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<node id='n" + std::to_string(i) + "'>";
    text += inside;
    for (int i = 0; i < depth; ++i) text += "</node>";
    return text;
}

struct Outcome {
    test::Ending run;
    bool written = false;
    std::string output;
};

// Converts `document` as in.dae over an earlier in.x3d; an output that was
// not written must have kept the earlier text whole, and left no temporary
// file behind.
Outcome Convert(const std::string& document, std::vector<std::string> args = {"-fs"}) {
    test::ScratchDirectory scratch;
    test::WriteFile(scratch / "in.dae", document);
    test::WriteFile(scratch / "in.x3d", "earlier");
    args.push_back("in.dae");
    Outcome outcome;
    outcome.run = test::RunMorvane(scratch.Path(), args);
    outcome.output = test::ReadFile(scratch / "in.x3d");
    outcome.written = outcome.output != "earlier";
    EXPECT_EQ(outcome.run.exitCode, 0);
    EXPECT_EQ(test::DiagnosticProblem(outcome.run.err, "in.dae", outcome.written), "");
    EXPECT_TRUE(test::HiddenEntries(scratch.Path()).empty());
    return outcome;
}

// A conversion refused for `reason`.
void ExpectRefused(const Outcome& outcome, const std::string& reason) {
    EXPECT_FALSE(outcome.written);
    EXPECT_EQ(outcome.run.err, "morvane: in.dae: " + reason + "\n");
}

TEST(HostileDocuments, BrokenInputLeavesTheEarlierOutputAlone) {
    const std::string cube = test::CubeDocument();
    for (std::size_t cut : {cube.size() / 3, cube.size() - 10}) {
        EXPECT_FALSE(Convert(cube.substr(0, cut)).written) << cut;
    }
    std::mt19937 random(7);
    std::string garbage(1 << 16, '\0');
    for (char& byte : garbage) byte = static_cast<char>(random());
    EXPECT_FALSE(Convert(garbage).written);
    EXPECT_FALSE(Convert("<COLLADA>" + garbage).written);
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
        for (const auto& args : {std::vector<std::string>{"-fs", "-ss"}, {"-fs"}}) {
            const auto outcome = Convert(Triangle(indices, "<node><instance_geometry url='#g'/></node>"), args);
            EXPECT_TRUE(outcome.written) << indices;
            EXPECT_EQ(test::XmlErrors(outcome.output), "") << indices;
        }
    }
}

TEST(HostileDocuments, SceneDepthHasALimit) {
    const std::string shape = "<instance_geometry url='#g'/>";
    const std::string face = "<vcount>3</vcount><p>0 1 2</p>";
    const auto deepest = Convert(Triangle(face, Nested(kMaxSceneDepth, shape)));
    EXPECT_TRUE(deepest.written);
    EXPECT_EQ(test::XmlErrors(deepest.output), "");
    ExpectRefused(Convert(Triangle(face, Nested(kMaxSceneDepth + 1, shape))), "nested deeper than 1000 levels");

    // Library nodes instancing one another nest in the file, not in the
    // document: each of the 10000 is one level deeper than the one before.
    std::string chain = "<library_nodes>";
    for (int i = 0; i < 10000; ++i) {
        chain += "<node id='L" + std::to_string(i) + "'><instance_node url='#L" + std::to_string(i + 1) + "'/></node>";
    }
    chain += "<node id='L10000'>" + shape + "</node></library_nodes>";
    for (const auto& args : {std::vector<std::string>{"-fs"}, {"-fs", "-l"}}) {
        ExpectRefused(
            Convert(Triangle(face, "<node><instance_node url='#L0'/></node>", "0 0 0 1 0 0 0 1 0", chain), args),
            "nested deeper than 1000 levels");
    }
}

// A mesh of triangles elements, each of which holds one whole triangle and
// a count that promises more.
std::string PromisedTriangles(std::initializer_list<int> counts) {
    std::string primitives;
    for (int count : counts) {
        primitives += "<triangles count='" + std::to_string(count) +
                      "'><input semantic='VERTEX' source='#v' offset='0'/><p>0 1 2</p></triangles>";
    }
    return test::MeshDocument("<node><instance_geometry url='#g'/></node>", primitives);
}

TEST(HostileDocuments, CountsBeyondTheirListsShareOneMarginPerDocument) {
    // 500000 missing twice reach the margin exactly; one more passes it,
    // although no element alone comes near.
    EXPECT_TRUE(Convert(PromisedTriangles({500001, 500001}), {"-ss"}).written);
    ExpectRefused(Convert(PromisedTriangles({500001, 500001, 2}), {"-ss"}),
                  "counts far beyond their lists (more than 1000000 triangles missing)");
    // The same through an entity, which costs a few bytes a repetition.
    std::string repeated = PromisedTriangles({999999});
    const std::size_t start = repeated.find("<triangles");
    const std::string primitive = repeated.substr(start, repeated.find("</mesh>") - start);
    repeated.replace(repeated.find(primitive), primitive.size(), "&t;&t;&t;&t;&t;&t;&t;&t;");
    ExpectRefused(Convert("<!DOCTYPE COLLADA [<!ENTITY t \"" + primitive + "\">]>" + repeated),
                  "counts far beyond their lists (more than 1000000 triangles missing)");
}

// One triangle, turned by one step of `degrees` about Z.
std::string Turn(const std::string& degrees, const std::string& padding = "") {
    return test::MeshDocument(
        "<node id='n'><instance_geometry url='#g'/></node>", test::kOneTriangle, "0 0 0 1 0 0 0 1 0",
        padding + "<library_animations><animation><source id='time'><float_array id='time-array'>0 1</float_array>"
                  "<technique_common><accessor source='#time-array'><param name='TIME'/></accessor></technique_common>"
                  "</source><source id='angle'><float_array id='angle-array'>0 " + degrees + "</float_array>"
                  "<technique_common><accessor source='#angle-array'><param name='ANGLE'/></accessor>"
                  "</technique_common></source><sampler><input semantic='INPUT' source='#time'/>"
                  "<input semantic='OUTPUT' source='#angle'/></sampler><channel source='#s' target='n/rotateZ.ANGLE'/>"
                  "</animation></library_animations>");
}

TEST(HostileDocuments, TheOutputIsAtMostAHundredTimesTheDocumentOr64MiB) {
    // A step of 500 million degrees inserts 2777777 values: about 80 MB of
    // keys and values, more than 64 MiB, less than 100 times a 1 MB document.
    ExpectRefused(Convert(Turn("5e8")), "output larger than the limit of 67108864 bytes");
    const auto padded = Convert(Turn("5e8", "<!--" + std::string(1000000, ' ') + "-->"));
    EXPECT_TRUE(padded.written);
    EXPECT_GT(padded.output.size(), std::size_t{64} << 20);
}

}  // namespace
}  // namespace morvane
