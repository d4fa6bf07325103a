#include <gtest/gtest.h>

#include <memory>

#include "nodes/x3d_node.h"

namespace morvane {
namespace {

std::unique_ptr<TransformNode> WithMatrix(std::array<double, 16> elements) {
    auto node = std::make_unique<TransformNode>("n", nullptr);
    node->Matrix.Elements = elements;
    return node;
}

TEST(TransformValues, DefaultsGiveNeutralTexts) {
    TransformNode node("n", nullptr);
    EXPECT_EQ(node.ScaleText(), "1 1 1");
    EXPECT_EQ(node.TranslationText(false), "0 0 0");
    // With Z up the negated zero shows its sign.
    EXPECT_EQ(node.TranslationText(true), "0 0 -0");
    EXPECT_EQ(node.RotationText(), "1 0 0 0");
}

TEST(TransformValues, FieldsAreUsedWhenTheMatrixSaysNothing) {
    TransformNode node("n", nullptr);
    node.Translation = {1, 2, 3};
    EXPECT_EQ(node.TranslationText(false), "1 2 3");
    EXPECT_EQ(node.TranslationText(true), "1 3 -2");
    node.RotateY = {0, 1, 0, 90};
    EXPECT_EQ(node.RotationText(), "0 1 0 1.5708");
    // Two rotations with angles: no product is formed, the fallback is written.
    node.RotateX = {1, 0, 0, 30};
    EXPECT_EQ(node.RotationText(), "1 0 0 0");
}

TEST(TransformValues, MatrixDiagonalAndTranslationColumn) {
    auto node = WithMatrix({2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1});
    node->Translation = {5, 6, 7};
    EXPECT_EQ(node->ScaleText(), "2 4 3");
    EXPECT_EQ(node->TranslationText(false), "5 6 7");
    node->Matrix.Elements[7] = 9;
    EXPECT_EQ(node->TranslationText(false), "0 9 0");
    EXPECT_EQ(node->TranslationText(true), "0 0 -9");
}

TEST(TransformValues, RotationsFromTheMatrix) {
    // A quarter turn about Z.
    auto quarter = WithMatrix({0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    EXPECT_EQ(quarter->RotationText(), "0 0 1 1.5708");
    EXPECT_FALSE(quarter->Matrix.IsScalable());
    // A half turn about (1, 1, 0) reaches the lower cases of the table.
    auto half = WithMatrix({0, 1, 0, 0, 1, 0, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1});
    EXPECT_EQ(half->RotationText(), "0.707107 0.707107 0 3.14159");
    // A quarter turn about X hides from the tested elements.
    auto hidden = WithMatrix({1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1});
    EXPECT_EQ(hidden->RotationText(), "1 0 0 0");
    // A scaled quarter turn keeps the length of its quaternion.
    auto scaled = WithMatrix({0, -2, 0, 0, 2, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1});
    EXPECT_EQ(scaled->RotationText(), "0 0 2.3094 1.0472");
}

}  // namespace
}  // namespace morvane
