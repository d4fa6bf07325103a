#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>

#include "geometry/source_arrays.h"
#include "lookup_model.h"

namespace morvane {
namespace {

TEST(SourceList, FindsTheFirstArrayOfAnIdAndForgetsAllWhenEmptied) {
    SourceList sources;
    test::ExpectFirstMatches([&](const std::string& id) { return &sources.Add(std::make_unique<FloatArray>(id)); },
                             [&](const std::string& id) { return sources.Find(id); }, [&] { sources.clear(); }, 3);
}

bool SameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// The extent of an array must be what extending the bounds by each point in
// turn gives: NaN never counts, and of two equal values (0 and -0) the first
// one stays.
TEST(SourceList, AnArraysExtentIsThatOfItsPointsOneAfterTheOther) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    const float pool[] = {0.0f, -0.0f, 1.5f, -2.25f, nan, inf, -inf, 3e38f, -1e-30f};
    std::mt19937 random(4);
    std::unique_ptr<FloatArray> fresh;
    for (int round = 0; round < 200; ++round) {
        if (round % 10 == 0) fresh = std::make_unique<FloatArray>("a");
        FloatArray& array = *fresh;
        // Values are appended, and a remainder short of a point is left out.
        for (int i = random() % 5; i > 0; --i) array.Values.push_back(pool[random() % std::size(pool)]);
        const double scales[] = {1.0, 0.0254, -1.0, 0.0, 1e300};
        const double scale = scales[random() % std::size(scales)];

        const double inf64 = std::numeric_limits<double>::infinity();
        double min[3] = {inf64, inf64, inf64};
        double max[3] = {-inf64, -inf64, -inf64};
        for (std::size_t p = 0; p + 3 <= array.Values.size(); p += 3) {
            for (int k = 0; k < 3; ++k) {
                const double value = static_cast<double>(array.Values[p + k]) * scale;
                if (value < min[k]) min[k] = value;
                if (value > max[k]) max[k] = value;
            }
        }
        const PointExtent& extent = array.ExtentAt(scale);
        for (int k = 0; k < 3; ++k) {
            EXPECT_TRUE(SameBits(extent.Min[k], min[k])) << "round " << round << " component " << k;
            EXPECT_TRUE(SameBits(extent.Max[k], max[k])) << "round " << round << " component " << k;
        }
    }
}

}  // namespace
}  // namespace morvane
