// A point of a mesh: a coordinate in metres and document axes, a normal as
// read, or a texture coordinate (s, t, 0).
#pragma once

#include <vector>

namespace morvane {

struct Point3 {
    double X = 0.0;
    double Y = 0.0;
    double Z = 0.0;
};

// Points by value in one contiguous array.
using PointList = std::vector<Point3>;

// Exact equality of all three components: no tolerance, 0.0 equals -0.0,
// and a point with a NaN equals nothing, itself included.
inline bool PointsEqual(const Point3& a, const Point3& b) { return a.X == b.X && a.Y == b.Y && a.Z == b.Z; }

}  // namespace morvane
