// Nodes nested deeper than the tree keeps are left out with everything
// inside them, and the nodes around them stay as they were.
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace morvane
