#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "geometry/source_arrays.h"
#include "lookup_model.h"

namespace morvane {
namespace {

TEST(SourceList, FindsTheFirstArrayOfAnIdAndForgetsAllWhenEmptied) {
    SourceList sources;
    test::ExpectFirstMatches([&](const std::string& id) { return &sources.Add(std::make_unique<FloatArray>(id)); },
                             [&](const std::string& id) { return sources.Find(id); }, [&] { sources.clear(); }, 3);
}

// An array's extent is that of its whole points under the scale: NaN never
// counts, of two equal values (0 and -0) the first stays, and more values or
// another scale give it anew.
TEST(SourceList, AnArraysExtentIsThatOfItsWholePoints) {
    FloatArray array("a");
    EXPECT_EQ(array.ExtentAt(1.0).Min[0], std::numeric_limits<double>::infinity());
    array.Values = {-0.0f, std::numeric_limits<float>::quiet_NaN(), 1.5f, 0.0f, 2.0f, -2.25f, 9.0f};
    const PointExtent& extent = array.ExtentAt(2.0);
    // The 9 is no point until two more values come.
    EXPECT_TRUE(std::signbit(extent.Min[0]) && std::signbit(extent.Max[0]));
    EXPECT_EQ(std::vector<double>({extent.Min[1], extent.Max[1], extent.Min[2], extent.Max[2]}),
              std::vector<double>({4, 4, -4.5, 3}));
    array.Values.insert(array.Values.end(), {-1.0f, 5.0f});
    EXPECT_EQ(array.ExtentAt(2.0).Max[0], 18.0);
    EXPECT_EQ(array.ExtentAt(-1.0).Min[0], -9.0);
}

}  // namespace
}  // namespace morvane
