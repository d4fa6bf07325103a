// Points of a mesh: a coordinate in metres and document axes, a normal as
// read, or a texture coordinate (s, t, 0).
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace morvane {

// A point's value, as it is compared and written.
struct Point3 {
    double X = 0.0;
    double Y = 0.0;
    double Z = 0.0;
};

// A point as read from its number array: three 32-bit values.
struct Float3 {
    float X = 0.0f;
    float Y = 0.0f;
    float Z = 0.0f;
};

// Exact equality of all three components: no tolerance, 0.0 equals -0.0,
// and a point with a NaN equals nothing, itself included.
inline bool PointsEqual(const Point3& a, const Point3& b) { return a.X == b.X && a.Y == b.Y && a.Z == b.Z; }

// Makes room for `size` elements. The room grows by half at least, so that
// a run of requests a few elements larger each costs linear time in all,
// as push_back would.
template <class T>
void GrowCapacity(std::vector<T>& list, std::size_t size) {
    if (size <= list.capacity()) return;
    list.reserve(std::max(size, list.capacity() + list.capacity() / 2));
}

// The points of one channel of a mesh, in one contiguous array. Every
// point's value comes from 32-bit numbers: a coordinate is its numbers times
// the unit scale in force when it was read, normals and texture coordinates
// are their numbers widened. So a point is kept as its 32-bit numbers, with
// the scales of coordinates kept once for each run of points read under one.
class PointList {
public:
    // A list of coordinates, whose points carry a scale, or of other points.
    explicit PointList(bool scaled = false) : scaled_(scaled) {}

    std::size_t size() const { return points_.size(); }
    bool empty() const { return points_.empty(); }
    // Room for `points` points in all. Many small requests, one per face
    // of a long primitive, still grow the list geometrically.
    void reserve(std::size_t points) { GrowCapacity(points_, points); }
    std::size_t capacity() const { return points_.capacity(); }

    // The value of the point at `index`.
    Point3 operator[](std::size_t index) const { return ValueOf(points_[index], ScaleOf(index)); }
    Point3 at(std::size_t index) const {
        if (index >= points_.size()) throw std::out_of_range("point index");
        return (*this)[index];
    }

    // The value that `point` read under `scale` has in this list.
    Point3 ValueOf(const Float3& point, double scale) const {
        if (!scaled_) return {point.X, point.Y, point.Z};
        return {static_cast<double>(point.X) * scale, static_cast<double>(point.Y) * scale,
                static_cast<double>(point.Z) * scale};
    }

    // Appends a point read under `scale`, which a list of other points ignores.
    void Append(const Float3& point, double scale) {
        if (scaled_ && (runs_.empty() || std::memcmp(&runs_.back().Scale, &scale, sizeof scale) != 0)) {
            runs_.push_back({points_.size(), scale});
        }
        points_.push_back(point);
    }

private:
    struct Run {
        std::size_t First;
        double Scale;
    };

    double ScaleOf(std::size_t index) const {
        if (runs_.size() <= 1) return runs_.empty() ? 1.0 : runs_.front().Scale;
        // The last run that begins at or before the point.
        std::size_t low = 0;
        std::size_t high = runs_.size();
        while (high - low > 1) {
            const std::size_t middle = (low + high) / 2;
            if (runs_[middle].First <= index) {
                low = middle;
            } else {
                high = middle;
            }
        }
        return runs_[low].Scale;
    }

    std::vector<Float3> points_;
    std::vector<Run> runs_;
    bool scaled_;
};

}  // namespace morvane
