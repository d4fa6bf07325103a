// The value types that a transform is stored in: three-component vectors
// and axis-angle (or quaternion) quadruples.
#pragma once

#include <string>

namespace morvane {

// 3.1415927 / 180, the factor that turns stored degrees into written radians.
inline constexpr double kDegreesToRadians = 0.01745329277777778;

struct Vector3 {
    double X = 0.0;
    double Y = 0.0;
    double Z = 0.0;
};

// An axis with an angle in W, or a quaternion whose real part is W.
struct AxisAngle {
    double X = 0.0;
    double Y = 1.0;
    double Z = 0.0;
    double W = 0.0;

    // Divides all four by the length, unless the length is 0.
    void Normalise();
    // Turns a quaternion into an axis and an angle in radians, in place. Only
    // a real part above 1 is normalised first.
    void QuaternionToAxisAngle();
};

}  // namespace morvane
