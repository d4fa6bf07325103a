// Finds a point again among the points of a list, by value: an
// open-addressing table of indices into the list, kept beside it.
#pragma once

#include <cstdint>
#include <vector>

#include "geometry/point3.h"

namespace morvane {

class PointIndex {
public:
    // The index of the first point of `points` whose value equals that of
    // `point` read under `scale`. When there is none, the point is appended
    // to `points` and its new index returned. Points appended to the list by
    // other means since the last call are taken in first, so that the lowest
    // index always wins.
    std::uint32_t Weld(PointList& points, const Float3& point, double scale);

    // Asks the processor to fetch the slot where `point` read under `scale`
    // would be looked for first, so that the lookups of several lists can
    // wait for memory at the same time. It changes nothing.
    void Prefetch(const PointList& points, const Float3& point, double scale) const;

    // Makes room for `distinct` more points of `points` without growing.
    void Reserve(const PointList& points, std::size_t distinct);
    // Frees the table; a later Weld rebuilds it from the list.
    void Release();

private:
    static constexpr std::uint32_t kEmpty = 0xFFFFFFFFu;

    // The slot that holds a point equal to `value`, or the empty slot where
    // it would go.
    std::uint32_t* Probe(const PointList& points, const Point3& value);
    void Insert(const PointList& points, std::uint32_t index);
    void Resize(const PointList& points, std::size_t slots);

    // A power of two in size, at most half full.
    std::vector<std::uint32_t> slots_;
    std::size_t filled_ = 0;
    // How many points at the front of the list the table has seen.
    std::size_t covered_ = 0;
};

}  // namespace morvane
