// Nodes nested deeper than the tree keeps are left out with everything
// inside them, and the nodes around them stay as they were.
#include <gtest/gtest.h>

#include "driver/conversion.h"
#include "events/central_object.h"
#include "test_support.h"

namespace morvane {
namespace {

std::string Repeat(const std::string& text, std::size_t times) {
    std::string out;
    for (std::size_t i = 0; i < times; ++i) out += text;
    return out;
}

TEST(NodeNesting, NodesBelowTheDeepestKeptOneAreIgnoredWithTheirContents) {
    const std::size_t kept = kMaxTransformDepth;
    const std::string document =
        "<COLLADA><asset><unit meter='1'/></asset><library_visual_scenes><visual_scene>" +
        Repeat("<node id='kept'>", kept) +
        "<node id='dropped'><translate>1 2 3</translate><instance_geometry url='#g'/>"
        "<node id='inner'><instance_node url='#x'/></node></node>"
        "<instance_geometry url='#h'/>" +
        Repeat("</node>", kept) + "<node id='after'/></visual_scene></library_visual_scenes></COLLADA>";
    ColladaReader reader;
    ASSERT_EQ(test::ParseDocument(reader, document), kResultOk);

    ASSERT_EQ(reader.SceneRoot->Children.size(), 2u);
    EXPECT_EQ(reader.SceneRoot->Children[1]->Name, "after");
    const TransformNode* deepest = reader.SceneRoot.get();
    for (std::size_t depth = 0; depth < kept; ++depth) {
        ASSERT_EQ(deepest->Children.size(), depth == 0 ? 2u : 1u) << depth;
        deepest = deepest->Children[0].get();
        ASSERT_EQ(deepest->Name, "kept");
    }
    EXPECT_TRUE(deepest->Children.empty());
    EXPECT_TRUE(deepest->NodeInstances.empty());
    EXPECT_EQ(deepest->Translation.X, 0.0);
    // The instance after the dropped node reaches the node that encloses it.
    ASSERT_EQ(deepest->Instances.size(), 1u);
    EXPECT_EQ(dynamic_cast<const ShapeNode&>(*deepest->Instances[0]).Name, "h");
}

std::size_t Count(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
    return count;
}

TEST(NodeNesting, ChainsOfInstancedNodesAreCutAtTheSameDepth) {
    std::string chain;
    for (int i = 0; i < 1100; ++i) {
        chain += "<node id='n" + std::to_string(i) + "'><instance_node url='#n" + std::to_string(i + 1) + "'/></node>";
    }
    const std::string document =
        "<COLLADA><library_geometries><geometry id='g'><mesh><float_array id='p-array'>0 0 0 1 0 0 0 1 0</float_array>"
        "<vertices><input semantic='POSITION' source='#p'/></vertices><triangles count='1'>"
        "<input semantic='VERTEX' offset='0'/><p>0 1 2</p></triangles></mesh></geometry></library_geometries>"
        "<library_nodes>" + chain + "</library_nodes><library_visual_scenes><visual_scene>"
        "<node id='top'><instance_geometry url='#g'/><instance_node url='#n0'/></node>"
        "</visual_scene></library_visual_scenes></COLLADA>";
    const std::string x3d = ConvertInMemory(document, {});
    // The scene's root, the node 'top' at depth 1, and n0 to n998 below it.
    EXPECT_EQ(Count(x3d, "<Transform DEF="), 1001u);
    EXPECT_EQ(Count(x3d, "</Transform>"), 1001u);
    EXPECT_EQ(Count(x3d, "DEF='n998'"), 1u);
    EXPECT_EQ(Count(x3d, "DEF='n999'"), 0u);
}

}  // namespace
}  // namespace morvane
