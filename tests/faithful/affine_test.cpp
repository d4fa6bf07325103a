#include "faithful/affine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace morvane::faithful {
namespace {

using Vector = std::array<double, 3>;

std::string Text(const AxisAngle& rotation) {
    std::string out;
    AppendRotation(out, rotation);
    return out;
}

std::string Text(const Vector& values) {
    std::string out;
    AppendNumbers(out, values);
    return out;
}

std::string Text(double value) {
    std::string out;
    AppendNumber(out, value);
    return out;
}

Vector Apply(const Matrix4& m, const Vector& p) {
    Vector out{};
    for (int row = 0; row < 3; ++row) out[row] = m(row, 0) * p[0] + m(row, 1) * p[1] + m(row, 2) * p[2] + m(row, 3);
    return out;
}

Matrix4 FromRows(std::array<double, 16> rows) {
    Matrix4 m;
    m.M = rows;
    return m;
}

// Every entry within `tolerance` times the largest entry of `expected`.
void ExpectNear(const Matrix4& actual, const Matrix4& expected, double tolerance = 1e-12) {
    double largest = 1.0;
    for (double v : expected.M) largest = std::max(largest, std::fabs(v));
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(actual.M[i], expected.M[i], tolerance * largest) << "entry " << i;
}

void ExpectRecomposes(const Matrix4& m, double tolerance = 1e-12) {
    SCOPED_TRACE("recomposing");
    ExpectNear(Compose(Decompose(m)), m, tolerance);
}

TEST(Affine, ElementsComposeInDocumentOrderOnColumnVectors) {
    // translate then rotate: the turn happens inside the moved frame.
    const Matrix4 moveThenTurn = TranslateMatrix(1, 0, 0) * RotateMatrix(0, 0, 1, 90);
    const Vector a = Apply(moveThenTurn, {1, 0, 0});
    EXPECT_NEAR(a[0], 1, 1e-15);
    EXPECT_NEAR(a[1], 1, 1e-15);
    // rotate then translate: the move is turned as well.
    const Vector b = Apply(RotateMatrix(0, 0, 1, 90) * TranslateMatrix(1, 0, 0), {0, 0, 0});
    EXPECT_NEAR(b[0], 0, 1e-15);
    EXPECT_NEAR(b[1], 1, 1e-15);

    // A <matrix> lists rows: its fourth column is the translation.
    const double rows[16] = {1, 0, 0, 7, 0, 1, 0, 8, 0, 0, 1, 9, 0, 0, 0, 1};
    EXPECT_EQ(Text(Decompose(TransformElement(TransformKind::Matrix, rows)).Translation), "7 8 9");
    // Missing numbers: a scale keeps 1 where it has none, a translate 0.
    const double two[2] = {2, 3};
    EXPECT_EQ(Text(Decompose(TransformElement(TransformKind::Scale, two)).Scale), "2 3 1");
    EXPECT_EQ(Text(Decompose(TransformElement(TransformKind::Translate, two)).Translation), "2 3 0");
}

TEST(Affine, RotationTripleAsBlenderWritesIt) {
    // rotateZ, rotateY, rotateX in that order: M = Rz * Ry * Rx.
    const auto triple = [](double z, double y, double x) {
        return RotateMatrix(0, 0, 1, z) * RotateMatrix(0, 1, 0, y) * RotateMatrix(1, 0, 0, x);
    };
    // Rx(90) then Rz(90) sends x to y, y to z and z to x: a third of a
    // turn about the diagonal.
    TransformFields f = Decompose(triple(90, 0, 90));
    EXPECT_EQ(Text(f.Rotation), "0.5773503 0.5773503 0.5773503 2.094395");
    EXPECT_EQ(Text(f.Scale), "1 1 1");
    EXPECT_EQ(Text(f.ScaleOrientation), "0 0 1 0");
    // All three quarter turns (x to -z, y to y, z to x: a quarter turn about
    // Y), with a translation and a scale around them as a node writes them.
    const Matrix4 node = TranslateMatrix(1, 2, 3) * triple(90, 90, 90) * ScaleMatrix(2, 3, 4);
    f = Decompose(node);
    EXPECT_EQ(Text(f.Translation), "1 2 3");
    EXPECT_EQ(Text(f.Rotation), "0 1 0 1.570796");
    EXPECT_EQ(Text(f.Scale), "2 3 4");
    EXPECT_EQ(Text(f.ScaleOrientation), "0 0 1 0");
    // A negative angle comes out as the positive one about the opposite axis.
    EXPECT_EQ(Text(Decompose(RotateMatrix(0, 0, 2, -30)).Rotation), "0 0 -1 0.5235988");
}

TEST(Affine, ShearFitsThroughTheScaleOrientation) {
    // x' = x + y: singular values are the golden ratio and its inverse, and
    // the closest rotation turns atan2(-1, 2) about Z.
    const Matrix4 shear = FromRows({1, 1, 0, 2, 0, 1, 0, 3, 0, 0, 1, 4, 0, 0, 0, 1});
    const TransformFields f = Decompose(shear);
    EXPECT_EQ(Text(f.Translation), "2 3 4");
    EXPECT_EQ(Text(f.Rotation), "0 0 -1 0.4636476");
    std::vector<double> scale(f.Scale.begin(), f.Scale.end());
    std::sort(scale.begin(), scale.end());
    EXPECT_NEAR(scale[0], (std::sqrt(5.0) - 1) / 2, 1e-14);
    EXPECT_NEAR(scale[1], 1.0, 1e-14);
    EXPECT_NEAR(scale[2], (std::sqrt(5.0) + 1) / 2, 1e-14);
    // The scale axes lie in the XY plane: SR turns about Z.
    EXPECT_NEAR(std::fabs(f.ScaleOrientation.Z), 1.0, 1e-14);
}

TEST(Affine, SkewTurnsTheAxisTowardsTheDirectionOfTravel) {
    // Perpendicular axes: y leans 45 degrees towards x, so x' = x + y.
    ExpectNear(SkewMatrix(45, {0, 1, 0}, {1, 0, 0}), FromRows({1, 1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
    // The axis (1, 1, 0) leans 45 degrees from y; 15 more make 60, so it
    // moves from 1 to tan(60) along x per unit of y: x' = x + (sqrt 3 - 1) y.
    const double values[7] = {15, 1, 1, 0, 1, 0, 0};
    const Matrix4 skew = TransformElement(TransformKind::Skew, values);
    ExpectNear(skew, FromRows({1, std::sqrt(3.0) - 1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
    // Undefined skews are no skew: parallel or zero vectors, a lean that
    // reaches the perpendicular.
    ExpectNear(SkewMatrix(30, {2, 0, 0}, {1, 0, 0}), Matrix4{});
    ExpectNear(SkewMatrix(30, {0, 0, 0}, {1, 0, 0}), Matrix4{});
    ExpectNear(SkewMatrix(30, {0, 1, 0}, {0, 0, 0}), Matrix4{});
    ExpectNear(SkewMatrix(50, {1, 1, 0}, {1, 0, 0}), Matrix4{});
}

TEST(Affine, MirrorBecomesOneNegativeScale) {
    const TransformFields flat = Decompose(TranslateMatrix(1, 0, 0) * ScaleMatrix(-1, 1, 1));
    EXPECT_EQ(Text(flat.Scale), "-1 1 1");
    EXPECT_EQ(Text(flat.Rotation), "0 0 1 0");
    EXPECT_EQ(Text(flat.Translation), "1 0 0");
    // Swapping x and y: mirroring x leaves the smallest turn, a quarter
    // turn about -Z (x to -x to y).
    const Matrix4 swap = FromRows({0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    const TransformFields f = Decompose(swap);
    EXPECT_EQ(Text(f.Scale), "-1 1 1");
    EXPECT_EQ(Text(f.Rotation), "0 0 -1 1.570796");
    // A sheared mirror: still exactly one negative scale.
    const Matrix4 sheared = FromRows({1, 1, 0, 0, 0, 1, 0, 0, 0, 0, -2, 0, 0, 0, 0, 1});
    const Vector s = Decompose(sheared).Scale;
    EXPECT_EQ((s[0] < 0) + (s[1] < 0) + (s[2] < 0), 1);
}

TEST(Affine, LookAtPlacesAnObjectLookingAtTheInterest) {
    // From +X towards the origin: -Z must turn to -X, a quarter turn about Y.
    const double values[9] = {5, 0, 0, 0, 0, 0, 0, 1, 0};
    const TransformFields f = Decompose(TransformElement(TransformKind::LookAt, values));
    EXPECT_EQ(Text(f.Translation), "5 0 0");
    EXPECT_EQ(Text(f.Rotation), "0 1 0 1.570796");
    EXPECT_EQ(Text(f.Scale), "1 1 1");
    // The up vector is only a hint: a slanted one gives the same frame.
    ExpectNear(LookAtMatrix({0, 0, 5}, {0, 0, 0}, {0, 3, 3}), TranslateMatrix(0, 0, 5));
    // Degenerate: eye on the interest, up along the view, no up at all.
    for (const Matrix4& m : {LookAtMatrix({1, 2, 3}, {1, 2, 3}, {0, 1, 0}), LookAtMatrix({0, 0, 0}, {0, 5, 0}, {0, 1, 0}),
                             LookAtMatrix({0, 0, 0}, {1, 0, 0}, {0, 0, 0})}) {
        EXPECT_TRUE(std::all_of(m.M.begin(), m.M.end(), [](double v) { return std::isfinite(v); }));
        EXPECT_NEAR(std::fabs(m(0, 0) * (m(1, 1) * m(2, 2) - m(1, 2) * m(2, 1)) -
                              m(0, 1) * (m(1, 0) * m(2, 2) - m(1, 2) * m(2, 0)) +
                              m(0, 2) * (m(1, 0) * m(2, 1) - m(1, 1) * m(2, 0))),
                    1.0, 1e-12);
    }
    // Looking straight up: the view direction is kept.
    const Vector forward = Apply(LookAtMatrix({0, 0, 0}, {0, 5, 0}, {0, 1, 0}), {0, 0, -1});
    EXPECT_NEAR(forward[1], 1.0, 1e-15);
}

TEST(Affine, DecompositionRoundTrips) {
    std::mt19937 random(20240601);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    const auto any = [&] { return unit(random); };
    for (int i = 0; i < 2000; ++i) {
        Matrix4 m = TranslateMatrix(10 * any(), 10 * any(), 10 * any());
        for (int element = 0; element < 4; ++element) {
            switch (random() % 4) {
            case 0:
                m = m * RotateMatrix(any(), any(), any(), 360 * any());
                break;
            case 1:
                m = m * ScaleMatrix(3 * any(), 3 * any(), 3 * any());
                break;
            case 2:
                m = m * SkewMatrix(40 * any(), {any(), any(), any()}, {any(), any(), any()});
                break;
            default:
                for (int k = 0; k < 12; ++k) m.M[k] += any();
                break;
            }
        }
        SCOPED_TRACE(i);
        const TransformFields f = Decompose(m);
        ExpectNear(Compose(f), m, 1e-11);
        const double det = m(0, 0) * (m(1, 1) * m(2, 2) - m(1, 2) * m(2, 1)) -
                           m(0, 1) * (m(1, 0) * m(2, 2) - m(1, 2) * m(2, 0)) +
                           m(0, 2) * (m(1, 0) * m(2, 1) - m(1, 1) * m(2, 0));
        EXPECT_EQ(det < 0, f.Scale[0] * f.Scale[1] * f.Scale[2] < 0);
        EXPECT_GE(f.Rotation.Angle, 0.0);
        EXPECT_LE(f.Rotation.Angle, std::numbers::pi + 1e-15);
    }
}

TEST(Affine, CollapsedAndBrokenMatricesGiveFiniteFields) {
    // One axis, two axes, all three collapsed: recomposed all the same.
    ExpectRecomposes(RotateMatrix(1, 2, 3, 40) * ScaleMatrix(2, 0, 3));
    ExpectRecomposes(RotateMatrix(1, 2, 3, 40) * ScaleMatrix(0, 0, 3) * RotateMatrix(3, 1, 0, 70));
    const TransformFields zero = Decompose(FromRows({0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 1}));
    EXPECT_EQ(Text(zero.Scale), "0 0 0");
    EXPECT_EQ(Text(zero.Rotation), "0 0 1 0");
    EXPECT_EQ(Text(zero.Translation), "1 2 3");
    // Enormous entries neither overflow nor vanish.
    const Matrix4 huge = ScaleMatrix(1e300, 1e300, 1e300) * RotateMatrix(0, 1, 0, 90);
    EXPECT_EQ(Text(Decompose(huge).Rotation), "0 1 0 1.570796");
    const Matrix4 tiny = ScaleMatrix(1e-300, 2e-300, 1e-300) * RotateMatrix(0, 1, 0, 90);
    EXPECT_EQ(Text(Decompose(tiny).Scale), "1e-300 2e-300 1e-300");
    // NaN or infinity anywhere: the identity Transform.
    for (double bad : {std::nan(""), std::numeric_limits<double>::infinity()}) {
        for (int entry : {0, 3, 6}) {
            Matrix4 m = RotateMatrix(0, 0, 1, 30) * TranslateMatrix(1, 2, 3);
            m.M[entry] = bad;
            const TransformFields f = Decompose(m);
            EXPECT_EQ(Text(f.Translation) + " / " + Text(f.Rotation) + " / " + Text(f.Scale) + " / " +
                          Text(f.ScaleOrientation),
                      "0 0 0 / 0 0 1 0 / 1 1 1 / 0 0 1 0");
        }
    }
    // Entries whose squares overflow even after scaling: finite or identity.
    const Matrix4 wide = FromRows({1.7e308, -1.7e308, 0, 0, 1.7e308, 1.7e308, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    const TransformFields f = Decompose(wide);
    EXPECT_TRUE(std::isfinite(f.Scale[0] + f.Scale[1] + f.Scale[2]));
}

TEST(Affine, UpAxisTurnsToYUp) {
    // Z_UP: up is +Z; X_UP: up is +X. The rotations fix the rest.
    const Matrix4 z = UpAxisMatrix(" Z_UP\n");
    EXPECT_EQ(Text(Apply(z, {0, 0, 1})), "0 1 0");
    EXPECT_EQ(Text(UpAxisRotation("Z_UP")), "-1 0 0 1.570796");
    const Matrix4 x = UpAxisMatrix("X_UP");
    EXPECT_EQ(Text(Apply(x, {1, 0, 0})), "0 1 0");
    EXPECT_EQ(Text(UpAxisRotation("X_UP")), "0 0 1 1.570796");
    EXPECT_EQ(Text(UpAxisRotation("Y_UP")), "0 0 1 0");
    EXPECT_EQ(Text(UpAxisRotation("z_up")), "0 0 1 0");
    // Exporters' quarter turns are exact: nothing like 6e-17 is left over.
    EXPECT_EQ(Text(Decompose(RotateMatrix(0, 0, 1, -270) * TranslateMatrix(2, 0, 0)).Translation), "0 2 0");
    EXPECT_EQ(Text(Decompose(RotateMatrix(0, 1, 0, 720 + 180) * TranslateMatrix(2, 0, 0)).Translation), "-2 0 0");
}

TEST(Affine, NumbersInAttributeValues) {
    EXPECT_EQ(Text(0.1), "0.1");
    EXPECT_EQ(Text(-2.0 / 3.0), "-0.6666667");
    EXPECT_EQ(Text(1234567), "1234567");
    EXPECT_EQ(Text(12345678), "1.234568e7");
    EXPECT_EQ(Text(0.0001), "0.0001");
    EXPECT_EQ(Text(0.00001), "1e-5");
    EXPECT_EQ(Text(1e-300), "1e-300");
    EXPECT_EQ(Text(-0.0), "0");
    // Never a word a reader of floats cannot take.
    EXPECT_EQ(Text(std::nan("")), "0");
    EXPECT_EQ(Text(std::numeric_limits<double>::infinity()), "3.402823e38");
    EXPECT_EQ(Text(-std::numeric_limits<double>::infinity()), "-3.402823e38");
    // Seven digits keep far better than a thousandth.
    std::mt19937 random(7);
    std::uniform_real_distribution<double> exponent(-30, 30);
    for (int i = 0; i < 1000; ++i) {
        const double value = std::pow(10.0, exponent(random));
        EXPECT_NEAR(std::stod(Text(value)) / value, 1.0, 5e-7) << value;
    }
}

}  // namespace
}  // namespace morvane::faithful
