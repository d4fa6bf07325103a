// Affine placements: the 4x4 matrix that a node's transform elements make
// when composed in document order, and the one X3D Transform that places
// geometry the same way. Also the up-axis rotation and the text of numbers
// in X3D attribute values.
#pragma once

#include <array>
#include <numbers>
#include <span>
#include <string>
#include <string_view>

namespace morvane::faithful {

// A 4x4 matrix of doubles in row-major order, as a <matrix> element lists
// it: element (row r, column c) is M[4 * r + c], and the translation is the
// fourth column. Points are column vectors: P' = M * P.
struct Matrix4 {
    std::array<double, 16> M{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    double& operator()(int row, int column) { return M[4 * row + column]; }
    double operator()(int row, int column) const { return M[4 * row + column]; }
};

Matrix4 operator*(const Matrix4& a, const Matrix4& b);
Matrix4 Transposed(const Matrix4& m);

inline constexpr double kRadiansPerDegree = std::numbers::pi / 180.0;

// An axis and an angle in radians, the layout of an SFRotation.
struct AxisAngle {
    double X = 0.0;
    double Y = 0.0;
    double Z = 1.0;
    double Angle = 0.0;
};

// The transform elements a node may hold. Each one's matrix post-multiplies
// the node's matrix so far: M = M * E, in document order.
enum class TransformKind { Matrix, Translate, Rotate, Scale, LookAt, Skew };

// How many numbers each kind reads: 16, 3, 4, 3, 9, 7.
int TransformValueCount(TransformKind kind);

// The matrix of one element from its numbers. Fewer numbers than the kind
// reads are completed from the identity element's (a matrix's identity
// entries, scale's 1s, 0 elsewhere); more are ignored.
Matrix4 TransformElement(TransformKind kind, std::span<const double> values);

// The elements one by one. Angles are in degrees.
Matrix4 TranslateMatrix(double x, double y, double z);
Matrix4 ScaleMatrix(double x, double y, double z);
// A right-handed turn about the axis; a zero axis turns nothing. Whole
// quarter turns give entries of exactly 0, 1 and -1.
Matrix4 RotateMatrix(double x, double y, double z, double degrees);
// Places an object at `eye`, its -Z axis towards `interest` and its +Y axis
// as near `up` as the direction allows: the inverse of a camera's view
// matrix. When eye and interest coincide the object keeps the -Z direction;
// when `up` is zero or along the direction, the world axis least aligned
// with the direction stands in for it.
Matrix4 LookAtMatrix(const std::array<double, 3>& eye, const std::array<double, 3>& interest,
                     const std::array<double, 3>& up);
// Shifts points along `along` so that the direction `axis` turns by
// `degrees` towards `along`, in their common plane. The identity when either
// vector is zero, when they are parallel, or when the turn would reach or
// pass the perpendicular of `along` (an undefined skew).
Matrix4 SkewMatrix(double degrees, const std::array<double, 3>& axis, const std::array<double, 3>& along);

// The fields of one X3D Transform with its center at the origin, which maps
// P to T * R * SR * S * SR^-1 * P.
struct TransformFields {
    std::array<double, 3> Translation{0, 0, 0};
    AxisAngle Rotation;
    std::array<double, 3> Scale{1, 1, 1};
    AxisAngle ScaleOrientation;
};

// The Transform that reproduces `matrix` (its bottom row is taken to be
// 0 0 0 1). The linear part A is split as A = U S V^T with U and V proper
// rotations: R = U V^T, SR = V, S the singular values. A mirror (det A < 0)
// gives one negative scale, on the axis that leaves R the smallest turn.
// Without shear, SR is the identity. Rotations come out with an angle in
// [0, pi], and the default 0 0 1 0 when there is no turn. A collapsed axis
// gives a scale of 0 there. A matrix with a NaN or an infinity, or one
// whose fields would not be finite, gives the identity Transform.
TransformFields Decompose(const Matrix4& matrix);

// T * R * SR * S * SR^-1, the matrix the fields stand for.
Matrix4 Compose(const TransformFields& fields);

// The rotation matrix of an axis-angle (a zero axis gives the identity),
// and the axis-angle of the rotation part of a proper rotation matrix.
Matrix4 RotationMatrix(const AxisAngle& rotation);
AxisAngle RotationOf(const Matrix4& rotation);

// The rotation that turns a document's up axis into +Y: Z_UP turns -90
// degrees about X, X_UP +90 degrees about Z, Y_UP (and any other text)
// nothing. The names are compared as written, blanks around them aside. The
// matrix's entries are exactly 0, 1 and -1.
AxisAngle UpAxisRotation(std::string_view upAxis);
Matrix4 UpAxisMatrix(std::string_view upAxis);

// Numbers in X3D attribute values: seven significant digits, the shortest
// of fixed or exponent form as %.7g picks it, no trailing zeros, an
// exponent without '+' or leading zeros ("1e20", "2.5e-7"), "0" for -0.
// X3D fields are single precision: a NaN is written "0", and infinities and
// magnitudes beyond the largest float as +-3.402823e38.
void AppendNumber(std::string& out, double value);
// The values with one blank between them.
void AppendNumbers(std::string& out, std::span<const double> values);
// The four numbers of an SFRotation.
void AppendRotation(std::string& out, const AxisAngle& rotation);

}  // namespace morvane::faithful
