#include "faithful/affine.h"

#include <algorithm>
#include <cassert>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>

namespace morvane::faithful {

namespace {

using Vector = std::array<double, 3>;

// Below this, an axis component or an angle in radians is rounding noise.
constexpr double kNoise = 1e-12;

double Dot(const Vector& a, const Vector& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

Vector Cross(const Vector& a, const Vector& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double Length(const Vector& a) { return std::sqrt(Dot(a, a)); }

Vector Scaled(const Vector& a, double factor) { return {a[0] * factor, a[1] * factor, a[2] * factor}; }

Vector Minus(const Vector& a, const Vector& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }

bool Finite(const Vector& a) { return std::isfinite(a[0]) && std::isfinite(a[1]) && std::isfinite(a[2]); }

// The unit world axis least aligned with `direction` (the first on a tie).
Vector LeastAlignedAxis(const Vector& direction) {
    int best = 0;
    for (int i = 1; i < 3; ++i) {
        if (std::fabs(direction[i]) < std::fabs(direction[best])) best = i;
    }
    Vector axis{0, 0, 0};
    axis[best] = 1.0;
    return axis;
}

// The upper-left 3x3 of a matrix with the given columns.
Matrix4 FromColumns(const Vector& x, const Vector& y, const Vector& z) {
    Matrix4 m;
    for (int row = 0; row < 3; ++row) {
        m(row, 0) = x[row];
        m(row, 1) = y[row];
        m(row, 2) = z[row];
    }
    return m;
}

double Determinant3(const Vector& x, const Vector& y, const Vector& z) { return Dot(x, Cross(y, z)); }

bool AllFinite(const Matrix4& m) {
    return std::all_of(m.M.begin(), m.M.end(), [](double v) { return std::isfinite(v); });
}

bool FieldsFinite(const TransformFields& f) {
    const auto finiteRotation = [](const AxisAngle& r) {
        return std::isfinite(r.X) && std::isfinite(r.Y) && std::isfinite(r.Z) && std::isfinite(r.Angle);
    };
    return Finite(f.Translation) && Finite(f.Scale) && finiteRotation(f.Rotation) &&
           finiteRotation(f.ScaleOrientation);
}

// The turn about `axis` whose angle has this sine and cosine; a zero axis
// turns nothing.
Matrix4 TurnMatrix(Vector axis, double s, double c) {
    const double length = Length(axis);
    if (!(length > 0.0)) return Matrix4{};
    axis = Scaled(axis, 1.0 / length);
    const double t = 1.0 - c;
    const double x = axis[0], y = axis[1], z = axis[2];
    Matrix4 m;
    m(0, 0) = t * x * x + c;
    m(0, 1) = t * x * y - s * z;
    m(0, 2) = t * x * z + s * y;
    m(1, 0) = t * x * y + s * z;
    m(1, 1) = t * y * y + c;
    m(1, 2) = t * y * z - s * x;
    m(2, 0) = t * x * z - s * y;
    m(2, 1) = t * y * z + s * x;
    m(2, 2) = t * z * z + c;
    return m;
}

// Quarter turns are exact, so that the 90-degree rotations exporters write
// leave no 6e-17 behind; the reduction to one turn is exact as well.
void SinCosDegrees(double degrees, double& s, double& c) {
    const double turn = std::fmod(degrees, 360.0);
    const double quarter = turn / 90.0;
    if (quarter == std::floor(quarter)) {
        constexpr double kSin[4] = {0, 1, 0, -1};
        const int index = (static_cast<int>(quarter) % 4 + 4) % 4;
        s = kSin[index];
        c = kSin[(index + 1) % 4];
        return;
    }
    s = std::sin(turn * kRadiansPerDegree);
    c = std::cos(turn * kRadiansPerDegree);
}

double Snapped(double value) { return std::fabs(value) < kNoise ? 0.0 : value; }

// The singular value decomposition of a 3x3 matrix given by its columns, by
// one-sided Jacobi rotations: the columns are turned pairwise until they are
// orthogonal. Then A V = W, the singular values are the lengths of W's
// columns and U's columns their directions. A matrix whose columns are
// orthogonal already (a rotation times a scale) keeps V = I. V is a product
// of rotations, so det V = 1; U is completed to det U = +-1 where a singular
// value is 0, +1 then.
struct Svd {
    std::array<Vector, 3> U;  // columns
    Vector Sigma;
    std::array<Vector, 3> V;  // columns
};

Svd Decompose3(std::array<Vector, 3> w) {
    Svd out;
    out.V = {Vector{1, 0, 0}, Vector{0, 1, 0}, Vector{0, 0, 1}};
    constexpr int kPairs[3][2] = {{0, 1}, {0, 2}, {1, 2}};
    constexpr double kOrthogonal = 1e-15;
    // Converges quadratically; a 3x3 takes a handful of sweeps.
    for (int sweep = 0; sweep < 64; ++sweep) {
        bool turned = false;
        for (const auto& pair : kPairs) {
            Vector& wi = w[pair[0]];
            Vector& wj = w[pair[1]];
            const double alpha = Dot(wi, wi);
            const double beta = Dot(wj, wj);
            const double gamma = Dot(wi, wj);
            if (gamma == 0.0 || std::fabs(gamma) <= kOrthogonal * std::sqrt(alpha * beta)) continue;
            const double zeta = (beta - alpha) / (2.0 * gamma);
            const double t = (zeta >= 0.0 ? 1.0 : -1.0) / (std::fabs(zeta) + std::sqrt(1.0 + zeta * zeta));
            const double c = 1.0 / std::sqrt(1.0 + t * t);
            const double s = c * t;
            for (auto* columns : {&w, &out.V}) {
                Vector& a = (*columns)[pair[0]];
                Vector& b = (*columns)[pair[1]];
                for (int k = 0; k < 3; ++k) {
                    const double ak = a[k];
                    a[k] = c * ak - s * b[k];
                    b[k] = s * ak + c * b[k];
                }
            }
            turned = true;
        }
        if (!turned) break;
    }

    double largest = 0.0;
    for (int i = 0; i < 3; ++i) {
        out.Sigma[i] = Length(w[i]);
        largest = std::max(largest, out.Sigma[i]);
    }
    // A column this short is what is left of a collapsed axis.
    const double collapsed = largest * 1e-15;
    int kept[3];
    int keptCount = 0;
    for (int i = 0; i < 3; ++i) {
        if (out.Sigma[i] > collapsed && out.Sigma[i] > 0.0) {
            out.U[i] = Scaled(w[i], 1.0 / out.Sigma[i]);
            kept[keptCount++] = i;
        } else {
            out.Sigma[i] = 0.0;
        }
    }
    // Completes U to a right-handed frame: U[(i + 1) % 3] x U[(i + 2) % 3] = U[i].
    const auto next = [](int i, int step) { return (i + step) % 3; };
    switch (keptCount) {
    case 3:
        break;
    case 2: {
        const int missing = 3 - kept[0] - kept[1];
        out.U[missing] = Cross(out.U[next(missing, 1)], out.U[next(missing, 2)]);
        break;
    }
    case 1: {
        const int i = kept[0];
        const Vector& u = out.U[i];
        const Vector axis = LeastAlignedAxis(u);
        const Vector side = Minus(axis, Scaled(u, Dot(axis, u)));
        out.U[next(i, 1)] = Scaled(side, 1.0 / Length(side));
        out.U[next(i, 2)] = Cross(u, out.U[next(i, 1)]);
        break;
    }
    default:
        out.U = {Vector{1, 0, 0}, Vector{0, 1, 0}, Vector{0, 0, 1}};
        break;
    }
    return out;
}

}  // namespace

Matrix4 operator*(const Matrix4& a, const Matrix4& b) {
    Matrix4 out;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k) sum += a(row, k) * b(k, column);
            out(row, column) = sum;
        }
    }
    return out;
}

Matrix4 Transposed(const Matrix4& m) {
    Matrix4 t;
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) t(r, c) = m(c, r);
    }
    return t;
}

int TransformValueCount(TransformKind kind) {
    switch (kind) {
    case TransformKind::Matrix:
        return 16;
    case TransformKind::Translate:
    case TransformKind::Scale:
        return 3;
    case TransformKind::Rotate:
        return 4;
    case TransformKind::LookAt:
        return 9;
    case TransformKind::Skew:
        return 7;
    }
    return 0;
}

Matrix4 TransformElement(TransformKind kind, std::span<const double> values) {
    std::array<double, 16> v{};
    if (kind == TransformKind::Matrix) v = Matrix4{}.M;
    if (kind == TransformKind::Scale) v[0] = v[1] = v[2] = 1.0;
    const std::size_t count = std::min<std::size_t>(values.size(), TransformValueCount(kind));
    std::copy_n(values.begin(), count, v.begin());
    switch (kind) {
    case TransformKind::Matrix: {
        Matrix4 m;
        m.M = v;
        return m;
    }
    case TransformKind::Translate:
        return TranslateMatrix(v[0], v[1], v[2]);
    case TransformKind::Rotate:
        return RotateMatrix(v[0], v[1], v[2], v[3]);
    case TransformKind::Scale:
        return ScaleMatrix(v[0], v[1], v[2]);
    case TransformKind::LookAt:
        return LookAtMatrix({v[0], v[1], v[2]}, {v[3], v[4], v[5]}, {v[6], v[7], v[8]});
    case TransformKind::Skew:
        return SkewMatrix(v[0], {v[1], v[2], v[3]}, {v[4], v[5], v[6]});
    }
    return Matrix4{};
}

Matrix4 TranslateMatrix(double x, double y, double z) {
    Matrix4 m;
    m(0, 3) = x;
    m(1, 3) = y;
    m(2, 3) = z;
    return m;
}

Matrix4 ScaleMatrix(double x, double y, double z) {
    Matrix4 m;
    m(0, 0) = x;
    m(1, 1) = y;
    m(2, 2) = z;
    return m;
}

Matrix4 RotateMatrix(double x, double y, double z, double degrees) {
    if (!std::isfinite(degrees)) return TurnMatrix({x, y, z}, degrees, degrees);
    double s, c;
    SinCosDegrees(degrees, s, c);
    return TurnMatrix({x, y, z}, s, c);
}

Matrix4 LookAtMatrix(const Vector& eye, const Vector& interest, const Vector& up) {
    Vector forward = Minus(interest, eye);
    double length = Length(forward);
    if (!(length > 0.0) || !std::isfinite(length)) {
        forward = {0, 0, -1};
    } else {
        forward = Scaled(forward, 1.0 / length);
    }
    Vector side = Cross(forward, up);
    length = Length(side);
    // An up vector along the direction (or none) leaves the roll open.
    if (!(length > kNoise * Length(up)) || !std::isfinite(length)) {
        side = Cross(forward, LeastAlignedAxis(forward));
        length = Length(side);
    }
    side = Scaled(side, 1.0 / length);
    const Vector top = Cross(side, forward);
    Matrix4 m = FromColumns(side, top, Scaled(forward, -1.0));
    m(0, 3) = eye[0];
    m(1, 3) = eye[1];
    m(2, 3) = eye[2];
    return m;
}

Matrix4 SkewMatrix(double degrees, const Vector& axis, const Vector& along) {
    const double alongLength = Length(along);
    const double axisLength = Length(axis);
    if (!(alongLength > 0.0) || !(axisLength > 0.0) || !std::isfinite(alongLength * axisLength)) return Matrix4{};
    const Vector a = Scaled(along, 1.0 / alongLength);
    // The axis splits into p along `a` and q along b, the unit vector
    // perpendicular to `a` in the plane of both.
    const double p = Dot(axis, a);
    const Vector perpendicular = Minus(axis, Scaled(a, p));
    const double q = Length(perpendicular);
    if (!(q > kNoise * axisLength)) return Matrix4{};
    const Vector b = Scaled(perpendicular, 1.0 / q);
    // The axis leans atan(p / q) from b towards a; it ends leaning that plus
    // the skew angle, which tan must still reach.
    const double lean = std::atan2(p, q) + degrees * kRadiansPerDegree;
    if (!(std::fabs(lean) < std::numbers::pi / 2)) return Matrix4{};
    // x' = x + k (x . b) a moves the axis from p to q tan(lean) along a.
    const double k = std::tan(lean) - p / q;
    Matrix4 m;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) m(row, column) += k * a[row] * b[column];
    }
    return m;
}

Matrix4 RotationMatrix(const AxisAngle& rotation) {
    return TurnMatrix({rotation.X, rotation.Y, rotation.Z}, std::sin(rotation.Angle), std::cos(rotation.Angle));
}

AxisAngle RotationOf(const Matrix4& r) {
    // The quaternion from the largest of its four squared components, the
    // branch that divides by the most.
    double w, x, y, z;
    const double trace = r(0, 0) + r(1, 1) + r(2, 2);
    if (trace >= r(0, 0) && trace >= r(1, 1) && trace >= r(2, 2)) {
        const double s = 2.0 * std::sqrt(std::max(0.0, 1.0 + trace));
        w = 0.25 * s;
        x = (r(2, 1) - r(1, 2)) / s;
        y = (r(0, 2) - r(2, 0)) / s;
        z = (r(1, 0) - r(0, 1)) / s;
    } else if (r(0, 0) >= r(1, 1) && r(0, 0) >= r(2, 2)) {
        const double s = 2.0 * std::sqrt(std::max(0.0, 1.0 + r(0, 0) - r(1, 1) - r(2, 2)));
        w = (r(2, 1) - r(1, 2)) / s;
        x = 0.25 * s;
        y = (r(0, 1) + r(1, 0)) / s;
        z = (r(0, 2) + r(2, 0)) / s;
    } else if (r(1, 1) >= r(2, 2)) {
        const double s = 2.0 * std::sqrt(std::max(0.0, 1.0 + r(1, 1) - r(0, 0) - r(2, 2)));
        w = (r(0, 2) - r(2, 0)) / s;
        x = (r(0, 1) + r(1, 0)) / s;
        y = 0.25 * s;
        z = (r(1, 2) + r(2, 1)) / s;
    } else {
        const double s = 2.0 * std::sqrt(std::max(0.0, 1.0 + r(2, 2) - r(0, 0) - r(1, 1)));
        w = (r(1, 0) - r(0, 1)) / s;
        x = (r(0, 2) + r(2, 0)) / s;
        y = (r(1, 2) + r(2, 1)) / s;
        z = 0.25 * s;
    }
    // q and -q are one rotation: the one with w >= 0 turns at most a half turn.
    if (w < 0.0) {
        w = -w;
        x = -x;
        y = -y;
        z = -z;
    }
    const double length = std::sqrt(x * x + y * y + z * z);
    AxisAngle out;
    if (!(length > 0.0) || !std::isfinite(length)) return out;
    out.Angle = Snapped(2.0 * std::atan2(length, w));
    if (out.Angle == 0.0) return AxisAngle{};
    out.X = Snapped(x / length);
    out.Y = Snapped(y / length);
    out.Z = Snapped(z / length);
    // A half turn reads the same about either direction of its axis.
    if (w == 0.0) {
        const double first = out.X != 0.0 ? out.X : (out.Y != 0.0 ? out.Y : out.Z);
        if (first < 0.0) {
            out.X = -out.X + 0.0;
            out.Y = -out.Y + 0.0;
            out.Z = -out.Z + 0.0;
        }
    }
    return out;
}

TransformFields Decompose(const Matrix4& matrix) {
    TransformFields fields;
    if (!AllFinite(matrix)) return fields;

    // Scaled to entries of at most 1, so that no square in the rotations
    // overflows or underflows; the singular values are scaled back.
    double largest = 0.0;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) largest = std::max(largest, std::fabs(matrix(row, column)));
    }
    std::array<Vector, 3> columns{};
    if (largest > 0.0) {
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 3; ++column) columns[column][row] = matrix(row, column) / largest;
        }
    }
    Svd svd = Decompose3(columns);
    for (double& sigma : svd.Sigma) sigma *= largest;

    if (Determinant3(svd.U[0], svd.U[1], svd.U[2]) < 0.0) {
        // R = U V^T has trace sum(u_i . v_i): turning u_i (and sigma_i)
        // around takes 2 u_i . v_i off it, so the least u_i . v_i is turned.
        int mirrored = 0;
        for (int i = 1; i < 3; ++i) {
            if (Dot(svd.U[i], svd.V[i]) < Dot(svd.U[mirrored], svd.V[mirrored])) mirrored = i;
        }
        svd.U[mirrored] = Scaled(svd.U[mirrored], -1.0);
        svd.Sigma[mirrored] = -svd.Sigma[mirrored];
    }

    // R = U V^T.
    Matrix4 rotation;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            double sum = 0.0;
            for (int k = 0; k < 3; ++k) sum += svd.U[k][row] * svd.V[k][column];
            rotation(row, column) = sum;
        }
    }
    fields.Rotation = RotationOf(rotation);
    fields.ScaleOrientation = RotationOf(FromColumns(svd.V[0], svd.V[1], svd.V[2]));
    fields.Scale = svd.Sigma;
    const Vector translation{matrix(0, 3), matrix(1, 3), matrix(2, 3)};
    const double reach = std::max({std::fabs(translation[0]), std::fabs(translation[1]), std::fabs(translation[2])});
    for (int i = 0; i < 3; ++i) {
        fields.Translation[i] = std::fabs(translation[i]) < kNoise * reach ? 0.0 : translation[i];
    }
    if (!FieldsFinite(fields)) return TransformFields{};
    return fields;
}

Matrix4 Compose(const TransformFields& fields) {
    const Matrix4 orientation = RotationMatrix(fields.ScaleOrientation);
    Matrix4 inverseOrientation = orientation;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) inverseOrientation(row, column) = orientation(column, row);
    }
    return TranslateMatrix(fields.Translation[0], fields.Translation[1], fields.Translation[2]) *
           RotationMatrix(fields.Rotation) * orientation *
           ScaleMatrix(fields.Scale[0], fields.Scale[1], fields.Scale[2]) * inverseOrientation;
}

AxisAngle UpAxisRotation(std::string_view upAxis) { return RotationOf(UpAxisMatrix(upAxis)); }

Matrix4 UpAxisMatrix(std::string_view upAxis) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = upAxis.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return Matrix4{};
    upAxis = upAxis.substr(first, upAxis.find_last_not_of(kBlanks) - first + 1);
    if (upAxis == "Z_UP") return RotateMatrix(1, 0, 0, -90);
    if (upAxis == "X_UP") return RotateMatrix(0, 0, 1, 90);
    return Matrix4{};
}

void AppendNumber(std::string& out, double value) {
    constexpr double kLargestFloat = 3.402823e38;
    if (std::isnan(value) || value == 0.0) {
        out += '0';
        return;
    }
    if (std::fabs(value) > static_cast<double>(std::numeric_limits<float>::max())) {
        value = value < 0.0 ? -kLargestFloat : kLargestFloat;
    }
    char text[40];
    const auto result = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 7);
    assert(result.ec == std::errc{});
    std::string_view written(text, static_cast<std::size_t>(result.ptr - text));
    const std::size_t e = written.find('e');
    if (e == std::string_view::npos) {
        out += written;
        return;
    }
    out += written.substr(0, e + 1);
    std::size_t digits = e + 1;
    if (written[digits] == '-') out += '-';
    if (written[digits] == '+' || written[digits] == '-') ++digits;
    while (digits + 1 < written.size() && written[digits] == '0') ++digits;
    out += written.substr(digits);
}

void AppendNumbers(std::string& out, std::span<const double> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i > 0) out += ' ';
        AppendNumber(out, values[i]);
    }
}

void AppendRotation(std::string& out, const AxisAngle& rotation) {
    const double values[4] = {rotation.X, rotation.Y, rotation.Z, rotation.Angle};
    AppendNumbers(out, values);
}

}  // namespace morvane::faithful
