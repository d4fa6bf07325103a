// The scale attribute of a Transform: from the node's scale field when the
// matrix diagonal is all ones, from the diagonal (second and third values
// exchanged) as soon as any one of the three is not.
#include <gtest/gtest.h>

#include "nodes/x3d_node.h"

namespace morvane {
namespace {

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

}  // namespace
}  // namespace morvane
