#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
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

TEST(TokenizeFloats, SplitsAtWhiteSpaceAndRepeatsWhatDoesNotConvert) {
    const std::vector<std::pair<std::string, std::vector<float>>> cases = {
        {"\r 1 2\n\t\r 3 \n", {1, 2, 3}},
        {" \t\r\n ", {0}},  // one empty token
        {"", {0}},
        {"1 x 3", {1, 1, 3}},
        {"x 2", {0, 2}},
        {"45.5abc 1e 3 - .", {45.5f, 1, 3, 3, 3}},
        {"\v7 \f8", {7, 8}},  // no separators, but scanf skips them
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(Floats(text), expected) << '"' << text << '"';

    // Appends, and the repeated value starts from 0 in each call.
    std::vector<float> values{9};
    TokenizeFloats("x 1", values);
    EXPECT_EQ(values, (std::vector<float>{9, 0, 1}));
}

TEST(TokenizeInts, SplitsAtSingleBlanksOnly) {
    const std::vector<std::pair<std::string, std::vector<std::int32_t>>> cases = {
        {"1 2 3", {1, 2, 3}},
        {"1  2", {1, 1, 2}},      // the empty token repeats the 1
        {"1 2\n3 4", {1, 2, 4}},  // a line break stays inside the token
        {"5\t6 7", {5, 7}},
        {"\n\t 4 5 \r\n", {4, 5}},
        {"", {0}},
        {"x 5 y -3 12abc", {0, 5, 5, -3, 12}},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(Ints(text), expected) << '"' << text << '"';
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

TEST(NumberTokens, AgreeWithScanfOnAnyToken) {
    std::mt19937 random(1234);
    char buffer[64];
    for (int i = 0; i < 200000; ++i) {
        if (i % 3 == 0) {
            std::snprintf(buffer, sizeof buffer, "%s", RandomToken(random).c_str());
        } else if (i % 6 == 1) {
            // A short plain decimal, of the kind that exporters write.
            const long mantissa = static_cast<long>(random() % 100000000);
            const int decimals = static_cast<int>(random() % 12);
            std::snprintf(buffer, sizeof buffer, "%s%ld", random() % 2 ? "-" : "", mantissa);
            std::string text = buffer;
            if (decimals > 0) {
                while (static_cast<int>(text.size()) <= decimals + (text[0] == '-')) text.insert(text[0] == '-', "0");
                text.insert(text.size() - static_cast<std::size_t>(decimals), ".");
            }
            std::snprintf(buffer, sizeof buffer, "%s", text.c_str());
        } else if (i % 3 == 1) {
            // A decimal near the midpoint of two floats, at some length.
            const float f = std::bit_cast<float>(static_cast<std::uint32_t>(random() & 0x7F7FFFFFu));
            const double mid = (static_cast<double>(f) + std::nextafter(f, INFINITY)) / 2;
            std::snprintf(buffer, sizeof buffer, "%.*e", 5 + static_cast<int>(random() % 25), mid);
        } else {
            const double d = std::bit_cast<double>((static_cast<std::uint64_t>(random()) << 32) | random());
            std::snprintf(buffer, sizeof buffer, random() % 2 ? "%.17g" : "%+.9g", d);
        }
        float expected = 42.0f;
        std::sscanf(buffer, "%g", &expected);
        float actual = 42.0f;
        ConvertFloatToken(buffer, actual);
        ASSERT_EQ(std::bit_cast<std::uint32_t>(actual), std::bit_cast<std::uint32_t>(expected)) << '"' << buffer << '"';
    }

    std::vector<std::string> tokens = {"2147483648", "-2147483649", "4294967297", "99999999999999999999",
                                       "-99999999999999999999", "+", "-", "+-1", "\t-5", "00012"};
    for (int i = 0; i < 100000; ++i) {
        tokens.push_back(RandomToken(random));
        tokens.push_back(std::to_string(static_cast<std::int64_t>(random()) * (random() % 7) - (std::int64_t{1} << 33)));
    }
    for (const std::string& token : tokens) {
        int expected = 42;
        std::sscanf(token.c_str(), "%d", &expected);
        std::int32_t actual = 42;
        ConvertIntToken(token, actual);
        ASSERT_EQ(actual, expected) << '"' << token << '"';
    }
}

// The lists are read as their text arrives, in pieces cut anywhere; the
// result must be what the whole text gives (the rules of the whole text are
// held above).
TEST(ListReaders, GiveForTextInPiecesWhatTheWholeTextGives) {
    std::mt19937 random(77);
    const std::string alphabet = "1290.-e x\n\t\r ";
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (int i = static_cast<int>(random() % 14); i > 0; --i) text += alphabet[random() % alphabet.size()];
        IntListReader ints;
        FloatListReader floats;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t piece = std::min<std::size_t>(1 + random() % 4, text.size() - at);
            ints.Feed(std::string_view(text).substr(at, piece));
            floats.Feed(std::string_view(text).substr(at, piece));
            at += piece;
        }
        std::vector<std::int32_t> readInts{99};
        ints.Finish(readInts);
        std::vector<float> readFloats;
        floats.Finish(readFloats);
        ASSERT_EQ(readInts, Ints(text)) << '"' << text << '"';
        const std::vector<float> whole = Floats(text);
        ASSERT_EQ(readFloats.size(), whole.size()) << '"' << text << '"';
        for (std::size_t k = 0; k < whole.size(); ++k) {
            ASSERT_EQ(std::bit_cast<std::uint32_t>(readFloats[k]), std::bit_cast<std::uint32_t>(whole[k])) << '"' << text << '"';
        }
    }
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
