#include "geometry/point_index.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>

#include "support/conversion_error.h"
#include "support/name_index.h"

namespace morvane {

namespace {

// Equal points must hash alike, so both zeros give the bits of +0.0.
std::uint64_t ComponentBits(double value) {
    if (value == 0.0) value = 0.0;
    return std::bit_cast<std::uint64_t>(value);
}

std::uint64_t Mix(std::uint64_t h) {
    h ^= h >> 33;
    h *= 0xff51afd7ed558ccdull;
    h ^= h >> 33;
    h *= 0xc4ceb9fe1a85ec53ull;
    h ^= h >> 33;
    return h;
}

// Keyed by this run's secret, so that no document can be written whose
// points all land in one place of the table.
std::uint64_t HashPoint(const Point3& point) {
    static const std::uint64_t seed = HashKey();
    std::uint64_t h = ComponentBits(point.X) ^ seed;
    h = (h ^ (h >> 29)) * 0x9e3779b97f4a7c15ull ^ ComponentBits(point.Y);
    h = (h ^ (h >> 29)) * 0xbf58476d1ce4e5b9ull ^ ComponentBits(point.Z);
    return Mix(h);
}

// Such a point equals no other, so the table never needs to hold it.
bool HasNaN(const Point3& point) { return std::isnan(point.X) || std::isnan(point.Y) || std::isnan(point.Z); }

// Small enough that the many small primitives of a document stay cheap.
constexpr std::size_t kSmallestTable = 16;

}  // namespace

std::uint32_t PointIndex::Weld(PointList& points, const Float3& point, double scale) {
    while (covered_ < points.size()) Insert(points, static_cast<std::uint32_t>(covered_++));

    // Indices are 32-bit in the table and in the face lists.
    if (points.size() >= 0x7FFFFFFFu) throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
    const Point3 value = points.ValueOf(point, scale);
    if (HasNaN(value)) {
        points.Append(point, scale);
        covered_ = points.size();
        return static_cast<std::uint32_t>(points.size() - 1);
    }
    if ((filled_ + 1) * 2 > slots_.size()) Resize(points, std::max(kSmallestTable, slots_.size() * 2));
    std::uint32_t* slot = Probe(points, value);
    if (*slot != kEmpty) return *slot;

    const auto index = static_cast<std::uint32_t>(points.size());
    points.Append(point, scale);
    *slot = index;
    ++filled_;
    covered_ = points.size();
    return index;
}

void PointIndex::Prefetch(const PointList& points, const Float3& point, double scale) const {
    if (slots_.empty()) return;
    const std::size_t at = static_cast<std::size_t>(HashPoint(points.ValueOf(point, scale))) & (slots_.size() - 1);
    __builtin_prefetch(&slots_[at]);
}

void PointIndex::Reserve(const PointList& points, std::size_t distinct) {
    std::size_t slots = kSmallestTable;
    while (slots < 2 * (filled_ + distinct)) slots *= 2;
    if (slots > slots_.size()) Resize(points, slots);
}

void PointIndex::Release() {
    std::vector<std::uint32_t>().swap(slots_);
    filled_ = 0;
    covered_ = 0;
}

std::uint32_t* PointIndex::Probe(const PointList& points, const Point3& value) {
    assert(std::has_single_bit(slots_.size()));
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = static_cast<std::size_t>(HashPoint(value)) & mask;
    // Triangular steps visit every slot of a power-of-two table.
    for (std::size_t step = 1;; ++step) {
        std::uint32_t& slot = slots_[at];
        if (slot == kEmpty || PointsEqual(points[slot], value)) return &slot;
        at = (at + step) & mask;
    }
}

void PointIndex::Insert(const PointList& points, std::uint32_t index) {
    const Point3 value = points[index];
    if (HasNaN(value)) return;
    if ((filled_ + 1) * 2 > slots_.size()) Resize(points, std::max(kSmallestTable, slots_.size() * 2));
    std::uint32_t* slot = Probe(points, value);
    // An equal point already there has the lower index and keeps the slot.
    if (*slot != kEmpty) return;
    *slot = index;
    ++filled_;
}

void PointIndex::Resize(const PointList& points, std::size_t slots) {
    std::vector<std::uint32_t> old;
    old.swap(slots_);
    slots_.assign(slots, kEmpty);
    const std::size_t mask = slots_.size() - 1;
    for (std::uint32_t index : old) {
        if (index == kEmpty) continue;
        std::size_t at = static_cast<std::size_t>(HashPoint(points[index])) & mask;
        for (std::size_t step = 1; slots_[at] != kEmpty; ++step) at = (at + step) & mask;
        slots_[at] = index;
    }
}

}  // namespace morvane
