#include <gtest/gtest.h>

#include <memory>

#include "nodes/x3d_node.h"

namespace morvane {
namespace {

std::string RotationOf(std::array<double, 16> elements) {
    TransformNode node("n", nullptr);
    node.Matrix.Elements = elements;
    return node.RotationText();
}

TEST(TransformValues, RotationsFromTheMatrixOrASingleRotateElement) {
    // A half turn about (1, 1, 0) reaches the lower cases of the table.
    EXPECT_EQ(RotationOf({0, 1, 0, 0, 1, 0, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1}), "0.707107 0.707107 0 3.14159");
    // A quarter turn about X hides from the tested elements.
    EXPECT_EQ(RotationOf({1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1}), "1 0 0 0");
    // A scaled quarter turn keeps the length of its quaternion.
    EXPECT_EQ(RotationOf({0, -2, 0, 0, 2, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1}), "0 0 2.3094 1.0472");

    // Without a rotation in the matrix, only a single rotation with an angle is written.
    TransformNode node("n", nullptr);
    node.RotateZ = {0, 0, 1, 90};
    EXPECT_EQ(node.RotationText(), "0 0 1 1.5708");
    // Two rotations with angles: no product is formed, the fallback is written.
    node.RotateX = {1, 0, 0, 30};
    EXPECT_EQ(node.RotationText(), "1 0 0 0");
}

TEST(TransformNode, FindDescendantLooksAtAllChildrenBeforeGoingDeeper) {
    TransformNode root("Library", nullptr);
    auto add = [](TransformNode* parent, const std::string& name) {
        return parent->Children.emplace_back(std::make_unique<TransformNode>(name, nullptr)).get();
    };
    TransformNode* a = add(&root, "a");
    TransformNode* deep = add(a, "target");
    TransformNode* inner = add(add(&root, "b"), "inner");
    TransformNode* shallow = add(&root, "target");
    EXPECT_EQ(root.FindDescendant("target"), shallow);
    EXPECT_EQ(a->FindDescendant("target"), deep);
    EXPECT_EQ(root.FindDescendant("inner"), inner);
    // The node's own name is not compared, and case counts.
    EXPECT_EQ(root.FindDescendant("Library"), nullptr);
    EXPECT_EQ(root.FindDescendant("Target"), nullptr);
}

}  // namespace
}  // namespace morvane
