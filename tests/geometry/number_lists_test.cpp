#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "geometry/source_arrays.h"

namespace morvane {
namespace {

std::vector<float> Floats(const std::string& text) {
    std::vector<float> values;
    TokenizeFloats(text, values);
    return values;
}

std::vector<std::int32_t> Ints(const std::string& text) {
    std::vector<std::int32_t> values;
    TokenizeInts(text, values);
    return values;
}

using FloatList = std::vector<float>;
using IntList = std::vector<std::int32_t>;

TEST(TokenizeFloats, WhiteSpaceOfAnyKindAndLengthSeparates) {
    EXPECT_EQ(Floats("1 2\n\t 3"), (FloatList{1, 2, 3}));
    EXPECT_EQ(Floats("\r\n  4.5\t\t-6  \n"), (FloatList{4.5f, -6}));
}

TEST(TokenizeFloats, EmptyTextIsOneTokenThatReadsZero) {
    EXPECT_EQ(Floats(""), (FloatList{0}));
    EXPECT_EQ(Floats(" \t\r\n "), (FloatList{0}));
}

TEST(TokenizeFloats, UnconvertibleTokenRepeatsThePreviousValue) {
    EXPECT_EQ(Floats("1 x 3"), (FloatList{1, 1, 3}));
    EXPECT_EQ(Floats("x 2"), (FloatList{0, 2}));
    EXPECT_EQ(Floats("7 - . +"), (FloatList{7, 7, 7, 7}));
}

TEST(TokenizeFloats, AppendsToWhatTheTargetHolds) {
    std::vector<float> values{9};
    TokenizeFloats("x 1", values);
    // The repeated value starts from 0 in each call, not from the target.
    EXPECT_EQ(values, (FloatList{9, 0, 1}));
}

TEST(TokenizeFloats, ReadsEveryFormThatScanfReads) {
    EXPECT_EQ(Floats("45.5abc"), (FloatList{45.5f}));
    EXPECT_EQ(Floats("+2.5 +.5 -.25 1. 1e3 1E-1 1e 1e+"), (FloatList{2.5f, 0.5f, -0.25f, 1, 1000, 0.1f, 1, 1}));
    EXPECT_EQ(Floats("0x1p3 0X.8"), (FloatList{8, 0.5f}));
    // A vertical tab or form feed is no separator, but scanf skips it.
    EXPECT_EQ(Floats("\v7 \f8"), (FloatList{7, 8}));
    // Two signs are no number.
    EXPECT_EQ(Floats("3 +-1 -+1"), (FloatList{3, 3, 3}));

    const FloatList special = Floats("inf -Infinity nan 1e39 -1e39 1e-50");
    ASSERT_EQ(special.size(), 6u);
    EXPECT_EQ(special[0], INFINITY);
    EXPECT_EQ(special[1], -INFINITY);
    EXPECT_TRUE(std::isnan(special[2]));
    EXPECT_EQ(special[3], INFINITY);
    EXPECT_EQ(special[4], -INFINITY);
    EXPECT_EQ(special[5], 0.0f);
}

TEST(TokenizeFloats, RoundsTheDecimalStraightToFloat) {
    // Just above the midpoint between 1 and the next float: through a
    // double it would land on the midpoint and round down to 1.
    const FloatList values = Floats("1.00000005960464477539062501 16777217 -0");
    ASSERT_EQ(values.size(), 3u);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(values[0]), 0x3F800001u);
    EXPECT_EQ(values[1], 16777216.0f);
    EXPECT_TRUE(std::signbit(values[2]));
}

TEST(TokenizeInts, OnlyASingleBlankSeparates) {
    EXPECT_EQ(Ints("1 2 3"), (IntList{1, 2, 3}));
    // Two blanks hold an empty token, which repeats the 1.
    EXPECT_EQ(Ints("1  2"), (IntList{1, 1, 2}));
    // A line break or tab stays inside a token, and the number after it is lost.
    EXPECT_EQ(Ints("1 2\n3 4"), (IntList{1, 2, 4}));
    EXPECT_EQ(Ints("5\t6 7"), (IntList{5, 7}));
}

TEST(TokenizeInts, TrimsWhiteSpaceAtBothEnds) {
    EXPECT_EQ(Ints("\n\t 4 5 \r\n"), (IntList{4, 5}));
    EXPECT_EQ(Ints(""), (IntList{0}));
    EXPECT_EQ(Ints(" \n "), (IntList{0}));
}

TEST(TokenizeInts, ReadsAsPercentD) {
    EXPECT_EQ(Ints("x 5 y -3 +7 12abc 0x10 \n9"), (IntList{0, 5, 5, -3, 7, 12, 0, 9}));
    EXPECT_EQ(Ints("2147483647 -2147483648"), (IntList{2147483647, -2147483648}));
}

TEST(TokenizeInts, ReplacesTheTarget) {
    std::vector<std::int32_t> values{1, 2, 3};
    TokenizeInts("4", values);
    EXPECT_EQ(values, (IntList{4}));
}

// The conversions take shortcuts past the C library; over tokens of every
// shape they must still give exactly what scanf gives.
std::string RandomToken(std::mt19937& random) {
    static const std::string kAlphabet = "0123456789.-+eExXpPinfaINFAy\v\f";
    std::string token;
    const int length = 1 + static_cast<int>(random() % 8);
    for (int i = 0; i < length; ++i) token += kAlphabet[random() % kAlphabet.size()];
    return token;
}

TEST(NumberTokens, FloatsAgreeWithScanfOnAnyToken) {
    std::mt19937 random(1234);
    for (int i = 0; i < 200000; ++i) {
        std::string token;
        char buffer[64];
        switch (i % 4) {
            case 0:
                token = RandomToken(random);
                break;
            case 1: {
                // A decimal near the midpoint of two floats, at some length.
                const float f = std::bit_cast<float>(static_cast<std::uint32_t>(random() & 0x7F7FFFFFu));
                const double mid = (static_cast<double>(f) + std::nextafter(f, INFINITY)) / 2;
                std::snprintf(buffer, sizeof buffer, "%.*e", 5 + static_cast<int>(random() % 25), mid);
                token = buffer;
                break;
            }
            case 2: {
                const double d = std::bit_cast<double>((static_cast<std::uint64_t>(random()) << 32) | random());
                std::snprintf(buffer, sizeof buffer, "%.17g", d);
                token = buffer;
                break;
            }
            default:
                std::snprintf(buffer, sizeof buffer, "%+.9g", static_cast<double>(random()) / 1000.0 - 2e6);
                token = buffer;
                break;
        }
        float expected = 42.0f;
        std::sscanf(token.c_str(), "%g", &expected);
        float actual = 42.0f;
        ConvertFloatToken(token, actual);
        ASSERT_EQ(std::bit_cast<std::uint32_t>(actual), std::bit_cast<std::uint32_t>(expected)) << '"' << token << '"';
    }
}

TEST(NumberTokens, IntsAgreeWithScanfOnAnyToken) {
    std::mt19937 random(99);
    const std::vector<std::string> fixed = {"2147483648", "-2147483649", "4294967297", "99999999999999999999",
                                            "-99999999999999999999", "+", "-", "+-1", " 5", "\t-5", "00012"};
    for (int i = 0; i < 200000; ++i) {
        std::string token;
        if (i < static_cast<int>(fixed.size())) {
            token = fixed[static_cast<std::size_t>(i)];
        } else if (i % 2 == 0) {
            token = RandomToken(random);
        } else {
            token = std::to_string(static_cast<std::int64_t>(random()) * static_cast<std::int64_t>(random() % 7) -
                                   (std::int64_t{1} << 33));
        }
        int expected = 42;
        std::sscanf(token.c_str(), "%d", &expected);
        std::int32_t actual = 42;
        ConvertIntToken(token, actual);
        ASSERT_EQ(actual, expected) << '"' << token << '"';
    }
}

}  // namespace
}  // namespace morvane
