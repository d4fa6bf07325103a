#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <random>

#include "document/x3d_converter.h"
#include "geometry/mesh_node.h"
#include "lookup_model.h"
#include "nodes/x3d_node.h"
#include "scene/viewpoint_node.h"

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

// A random tree of awkward names, up to `depth` levels below `parent`.
void Grow(TransformNode& parent, std::mt19937& random, int depth) {
    const auto& names = test::AwkwardNames();
    for (unsigned i = random() % 4; i > 0; --i) {
        auto& child = parent.Children.emplace_back(
            std::make_unique<TransformNode>(names[random() % names.size()], nullptr));
        if (depth > 1) Grow(*child, random, depth - 1);
    }
}

TEST(TransformNode, TheDescendantIndexFindsWhatTheSearchFinds) {
    std::mt19937 random(20);
    for (int round = 0; round < 100; ++round) {
        TransformNode root("", nullptr);
        Grow(root, random, 4);
        const DescendantIndex index(root);
        for (const std::string& name : test::AwkwardNames()) {
            EXPECT_EQ(index.Find(name), root.FindDescendant(name)) << "round " << round << ", '" << name << "'";
        }
    }
}

TEST(TransformNode, FindInstanceGivesTheFirstShapeOfAName) {
    auto node = std::make_unique<TransformNode>("n", nullptr);
    std::deque<ShapeNode> shapes;
    std::deque<ViewpointNode> viewpoints;
    test::ExpectFirstMatches(
        [&](const std::string& name) {
            // A viewpoint of the same name stands before it and must not be found.
            ViewpointNode& viewpoint = viewpoints.emplace_back(nullptr);
            viewpoint.Name = name;
            node->AddInstance(&viewpoint);
            ShapeNode* shape = &shapes.emplace_back(nullptr, name);
            node->AddInstance(shape);
            return shape;
        },
        [&](const std::string& name) { return node->FindInstance(name); },
        [&] { node = std::make_unique<TransformNode>("n", nullptr); }, 21);
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
