// Transform and Shape nodes: the scale and rotation they write, the
// search among their children, and the appearance a mesh takes.
#include <gtest/gtest.h>

#include <memory>

#include "document/x3d_converter.h"
#include "geometry/mesh_node.h"
#include "nodes/x3d_node.h"

namespace morvane {
namespace {

// The scale attribute of a Transform: from the node's scale field when the
// matrix diagonal is all ones, from the diagonal (second and third values
// exchanged) as soon as any one of the three is not.
std::string ScaleOf(double x, double y, double z, Vector3 field = {1.0, 1.0, 1.0}) {
    TransformNode node("n", nullptr);
    node.Matrix.Elements = {x, 0, 0, 0, 0, y, 0, 0, 0, 0, z, 0, 0, 0, 0, 1};
    node.Scale = field;
    return node.ScaleText();
}

TEST(ScaleText, AMatrixThatScalesAlongOneAxisAloneIsTakenFromTheDiagonal) {
    EXPECT_EQ(ScaleOf(2, 1, 1), "2 1 1");
    EXPECT_EQ(ScaleOf(1, 3, 1), "1 1 3");
    EXPECT_EQ(ScaleOf(1, 1, 4), "1 4 1");
    EXPECT_EQ(ScaleOf(1, 1, 4, {7, 8, 9}), "1 4 1");
    EXPECT_EQ(ScaleOf(2, 3, 4, {7, 8, 9}), "2 4 3");
    // Only a diagonal of ones leaves the scale to the field.
    EXPECT_EQ(ScaleOf(1, 1, 1, {7, 8, 9}), "7 8 9");
}

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

TEST(ShapeNode, AMeshTakesItsAppearanceByNameElseByTheFirstBindingThatResolves) {
    X3dConverter converter;
    for (const auto& [name, id] : {std::pair{"red", "r"}, {"blue", "b"}, {"green", "g"}}) {
        AppearanceNode record;
        record.Name = name;
        record.Id = id;
        converter.State().Appearances.Add(record);
    }
    ShapeNode shape(&converter, "g");
    shape.AddBinding("sym", "missing");
    shape.AddBinding("red", "b");
    const auto choose = [&](const std::string& material) {
        const MeshNames names{"g", material};
        const AppearanceNode* found = shape.ChooseAppearance(MeshNode(&converter, &names, MeshKind::kFaceSet, 60.0f));
        return found != nullptr ? found->Name : "(none)";
    };
    EXPECT_EQ(choose("red"), "red");
    EXPECT_EQ(choose("sym"), "(none)");
    // Bindings made after a first choice count too; targets are ids.
    shape.AddBinding("sym", "g");
    shape.AddBinding("sym", "b");
    shape.AddBinding("other", "blue");
    EXPECT_EQ(choose("sym"), "green");
    EXPECT_EQ(choose("other"), "(none)");
}

}  // namespace
}  // namespace morvane
