#include "support/number_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace morvane {
namespace {

// Numbers are written without printf; over values of every kind the text
// must still be printf's, byte for byte.
TEST(NumberText, WritesWhatPrintfWritesForLg) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    std::vector<double> values = {0.0, -0.0, 1.0, -1.0, 0.5, 100000.0, 999999.5, 1e6, 1e-4, 1e-5, 0.0001234565,
                                  123456.5, 2.5, 1.5708, 3.14159265, 1e300, 5e-324, INFINITY, -INFINITY, nan, -nan};
    std::mt19937_64 random(9);
    for (int i = 0; i < 100000; ++i) {
        values.push_back(std::bit_cast<double>(random()));
        values.push_back(static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(random()))));
        // Short decimals and exact halves in the sixth digit.
        values.push_back(static_cast<double>(static_cast<std::int64_t>(random() % 20000001) - 10000000) / 1000.0);
        values.push_back(static_cast<double>(random() % 2000001) / 4.0 * std::pow(10.0, static_cast<int>(random() % 21) - 10));
    }
    for (const double value : values) {
        char expected[64];
        std::snprintf(expected, sizeof expected, "%lg", value);
        char actual[kLongestNumber];
        const std::size_t length = FormatNumber(value, actual);
        ASSERT_EQ(std::string(actual, length), expected) << std::bit_cast<std::uint64_t>(value);
    }
}

TEST(NumberText, ScansWhatScanfScans) {
    std::mt19937 random(10);
    const std::vector<std::string> pieces = {"0", "1", "-", "+", ".", "25", "0.0254", "-7.5", "1e3", "1e", "x", " ",
                                             "\t", "\n", "\v", "123456789012345678901234", "0x1p3", "inf", "nan", "00"};
    for (int round = 0; round < 50000; ++round) {
        std::string text;
        for (int i = static_cast<int>(random() % 9); i > 0; --i) text += pieces[random() % pieces.size()];

        // What one scanf call with a conversion per value reads (EOF counts as none).
        std::vector<double> doubles(4, 42.0), expectedDoubles(4, 42.0);
        const int scannedDoubles = std::sscanf(text.c_str(), "%lg%lg%lg%lg", &expectedDoubles[0], &expectedDoubles[1],
                                               &expectedDoubles[2], &expectedDoubles[3]);
        ASSERT_EQ(ScanDoubles(text, doubles), std::max(scannedDoubles, 0)) << '"' << text << '"';
        std::vector<float> floats(3, 42.0f), expectedFloats(3, 42.0f);
        const int scannedFloats =
            std::sscanf(text.c_str(), "%g%g%g", &expectedFloats[0], &expectedFloats[1], &expectedFloats[2]);
        ASSERT_EQ(ScanFloats(text, floats), std::max(scannedFloats, 0)) << '"' << text << '"';
        for (std::size_t k = 0; k < 4; ++k) {
            ASSERT_EQ(std::bit_cast<std::uint64_t>(doubles[k]), std::bit_cast<std::uint64_t>(expectedDoubles[k]))
                << '"' << text << '"';
        }
        for (std::size_t k = 0; k < 3; ++k) {
            ASSERT_EQ(std::bit_cast<std::uint32_t>(floats[k]), std::bit_cast<std::uint32_t>(expectedFloats[k]))
                << '"' << text << '"';
        }

        std::int32_t integer = 42;
        int expected = 42;
        const bool scanned = std::sscanf(text.c_str(), "%d", &expected) == 1;
        ASSERT_EQ(ScanInt(text, integer), scanned) << '"' << text << '"';
        ASSERT_EQ(integer, scanned ? expected : 42) << '"' << text << '"';
    }
}

}  // namespace
}  // namespace morvane
