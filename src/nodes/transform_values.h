// The value types that a transform is stored in: three-component vectors
// and axis-angle (or quaternion) quadruples.
#pragma once

namespace morvane {

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
};

}  // namespace morvane
