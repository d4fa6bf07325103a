#include "nodes/x3d_node.h"

#include <gtest/gtest.h>

#include "geometry/mesh_node.h"
#include "scene/viewpoint_node.h"
#include "test_support.h"

namespace morvane {
namespace {

TransformNode* AddChild(TransformNode& parent, const std::string& name) {
    parent.Children.push_back(std::make_unique<TransformNode>(name, nullptr));
    return parent.Children.back().get();
}

TEST(TransformNode, FindDescendantLooksAtAllChildrenBeforeGoingDeeper) {
    TransformNode root("Library", nullptr);
    TransformNode* a = AddChild(root, "a");
    TransformNode* deep = AddChild(*a, "target");
    TransformNode* b = AddChild(root, "b");
    TransformNode* shallow = AddChild(root, "target");
    AddChild(*b, "inner");
    EXPECT_EQ(root.FindDescendant("target"), shallow);
    EXPECT_EQ(a->FindDescendant("target"), deep);
    EXPECT_EQ(root.FindDescendant("inner"), b->Children[0].get());
    // The node's own name is not compared.
    EXPECT_EQ(root.FindDescendant("Library"), nullptr);
    EXPECT_EQ(root.FindDescendant("Target"), nullptr);
}

TEST(TransformNode, StartsWithTheIdentityAndNeutralFields) {
    TransformNode node("n", nullptr);
    EXPECT_TRUE(node.Matrix.IsScalable());
    EXPECT_EQ(node.Scale.X, 1.0);
    EXPECT_EQ(node.Translation.Z, 0.0);
    EXPECT_EQ(node.Rotation.X, 1.0);
    EXPECT_EQ(node.RotateY.Y, 1.0);
    EXPECT_EQ(node.RotateZ.Z, 1.0);
    EXPECT_EQ(node.RotateZ.W, 0.0);
    node.Matrix.Elements[10] = 0.0;
    EXPECT_FALSE(node.Matrix.IsScalable());
    node.Matrix.Elements[10] = -0.5;
    EXPECT_TRUE(node.Matrix.IsScalable());
}

TEST(TransformNode, FindInstanceTakesTheFirstShapeOfThatName) {
    TransformNode node("n", nullptr);
    ViewpointNode camera;
    camera.Name = "geo";
    ShapeNode first(nullptr, "geo");
    ShapeNode second(nullptr, "geo");
    node.Instances = {&camera, &first, &second};
    EXPECT_EQ(node.FindInstance("geo"), &first);
    EXPECT_EQ(node.FindInstance("other"), nullptr);
}

TEST(MeshLibrary, FindNextWalksTheMeshesOfOneGeometry) {
    MeshLibrary library(nullptr);
    MeshNode& a1 = library.AddMesh("a", "m1", 0, 60.0f);
    library.AddMesh("b", "m1", 0, 60.0f);
    MeshNode& a2 = library.AddMesh("a", "m2", 1, 60.0f);
    EXPECT_EQ(library.FindNext("a", nullptr), &a1);
    EXPECT_EQ(library.FindNext("a", &a1), &a2);
    EXPECT_EQ(library.FindNext("a", &a2), nullptr);
    EXPECT_EQ(library.FindNext("c", nullptr), nullptr);
    EXPECT_EQ(a2.Kind, 1);
    EXPECT_EQ(a2.MaterialName, "m2");
    // The crease angle's own factor, stored as a 32-bit float.
    EXPECT_EQ(a1.CreaseAngleRadians, static_cast<float>(60.0f * 0.017453292222222222));
}

TEST(X3dNode, BaseWriteGivesTabsAndTheFormatText) {
    struct Fixed final : X3dNode {
        void Format(std::string& out) override { out = "<Fixed/>\n"; }
    } node;
    EXPECT_EQ(test::CaptureOutput([&](std::FILE* out) { node.Write(out, 3); }), "\t\t\t<Fixed/>\n");
    EXPECT_EQ(test::CaptureOutput([&](std::FILE* out) { node.Write(out, -1); }), "<Fixed/>\n");
    NamedNode named;
    EXPECT_EQ(test::CaptureOutput([&](std::FILE* out) { named.Write(out, 2); }), "");
}

}  // namespace
}  // namespace morvane
