// Transform attribute texts. There is no composition of transforms: each
// attribute comes from the matrix or from one field, whichever its own test
// picks, and the order of the elements in the document plays no part.
#include "nodes/transform_values.h"

#include <cmath>
#include <cstdio>

#include "nodes/x3d_node.h"
#include "support/number_text.h"

namespace morvane {

namespace {

constexpr double kTraceLimit = 1e-10;
constexpr double kAxisLimit = 0.001;

}  // namespace

void AxisAngle::Normalise() {
    const double length = std::sqrt(W * W + Z * Z + Y * Y + X * X);
    if (length > 0.0) {
        X /= length;
        Y /= length;
        Z /= length;
        W /= length;
    }
}

void AxisAngle::QuaternionToAxisAngle() {
    AxisAngle q = *this;
    if (q.W > 1.0) q.Normalise();
    W = 2.0 * std::acos(q.W);
    const double d = std::sqrt(1.0 - q.W * q.W);
    if (d < kAxisLimit) {
        X = q.X;
        Y = q.Y;
        Z = q.Z;
    } else {
        X = q.X / d;
        Y = q.Y / d;
        Z = q.Z / d;
    }
}

void MatrixNode::ToQuaternion(AxisAngle& out) const {
    const auto& e = Elements;
    const double t = e[0] + e[5] + e[10] + 1.0;
    if (t > kTraceLimit) {
        const double s = 0.5 / std::sqrt(t);
        out.X = (e[9] - e[6]) * s;
        out.Y = (e[2] - e[8]) * s;
        out.Z = (e[4] - e[1]) * s;
        out.W = 0.25 / s;
    } else if (e[0] > e[5] && e[0] > e[10]) {
        const double s = 2.0 * std::sqrt(e[0] + 1.0 - e[5] - e[10]);
        out.X = 0.25 * s;
        out.Y = (e[4] + e[1]) / s;
        out.Z = (e[8] + e[2]) / s;
        out.W = (e[6] - e[9]) / s;
    } else if (e[5] > e[10]) {
        const double s = 2.0 * std::sqrt(e[5] + 1.0 - e[0] - e[10]);
        out.X = (e[4] + e[1]) / s;
        out.Y = 0.25 * s;
        out.Z = (e[9] + e[6]) / s;
        out.W = (e[2] - e[8]) / s;
    } else {
        const double s = 2.0 * std::sqrt(e[10] + 1.0 - e[0] - e[5]);
        out.X = (e[8] + e[2]) / s;
        out.Y = (e[9] + e[6]) / s;
        out.Z = 0.25 * s;
        out.W = (e[1] - e[4]) / s;
    }
}

bool MatrixNode::IsScalable() const { return Elements[0] != 0.0 && Elements[5] != 0.0 && Elements[10] != 0.0; }

std::string MatrixNode::ScaleText() const {
    // The second and third diagonal values change places in every document.
    return FormatNumbers({Elements[0], Elements[10], Elements[5]});
}

std::string MatrixNode::TranslationText(bool upAxisIsZ) const {
    if (upAxisIsZ) return FormatNumbers({Elements[3], Elements[11], -Elements[7]});
    return FormatNumbers({Elements[3], Elements[7], Elements[11]});
}

std::string MatrixNode::RotationText() const {
    AxisAngle rotation;
    ToQuaternion(rotation);
    rotation.QuaternionToAxisAngle();
    if ((rotation.X == 0.0 && rotation.Y == 0.0 && rotation.Z == 0.0) || rotation.W == 0.0) {
        rotation.Z = 1.0;
        rotation.W = 0.0;
    }
    return FormatNumbers({rotation.X, rotation.Y, rotation.Z, rotation.W});
}

std::string TransformNode::ScaleText() const {
    const auto& e = Matrix.Elements;
    if (e[0] == 1.0 && e[5] == 1.0 && e[10] == 1.0) return FormatNumbers({Scale.X, Scale.Y, Scale.Z});
    return Matrix.ScaleText();
}

std::string TransformNode::TranslationText(bool upAxisIsZ) const {
    const auto& e = Matrix.Elements;
    if (e[3] == 0.0 && e[7] == 0.0 && e[11] == 0.0) {
        if (upAxisIsZ) return FormatNumbers({Translation.X, Translation.Z, -Translation.Y});
        return FormatNumbers({Translation.X, Translation.Y, Translation.Z});
    }
    return Matrix.TranslationText(upAxisIsZ);
}

std::string TransformNode::RotationText() const {
    const auto& e = Matrix.Elements;
    if (e[1] != 0.0 || e[2] != 0.0 || e[4] != 0.0) return Matrix.RotationText();
    // Exactly one rotate element with an angle counts; any other mix falls back.
    const AxisAngle* chosen = &Rotation;
    const int turned = (RotateX.W != 0.0) + (RotateY.W != 0.0) + (RotateZ.W != 0.0);
    if (turned == 1) chosen = RotateX.W != 0.0 ? &RotateX : RotateY.W != 0.0 ? &RotateY : &RotateZ;
    return FormatNumbers({chosen->X, chosen->Y, chosen->Z, chosen->W * kDegreesToRadians});
}

}  // namespace morvane
