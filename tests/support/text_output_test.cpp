// Text as the output holds it: numbers written and read as printf and
// scanf write and read them, strings narrowed to one byte per character,
// and the sinks that the text reaches, plain or compressed.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "support/gzip_sink.h"
#include "support/narrow_text.h"
#include "support/number_text.h"
#include "support/text_output.h"
#include "test_support.h"

namespace morvane {
namespace {

TEST(TextOutput, NumbersAndTextMatchPrintfByteForByte) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    std::vector<double> values = {0.0, -0.0, -1e-10, 0.0078125, 0.0234375, 2.5e-7, 1e300, INFINITY, -INFINITY, nan, -nan};
    std::vector<std::int32_t> integers = {0, -1, 2147483647, -2147483647 - 1};
    std::mt19937_64 random(5);
    for (int i = 0; i < 100000; ++i) {
        integers.push_back(static_cast<std::int32_t>(random()));
        values.push_back(std::bit_cast<double>(random()));
        values.push_back(static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(random()))) * 0.0254);
        // Multiples of 1/128 end in exact halves at the seventh decimal.
        values.push_back(static_cast<double>(static_cast<std::int64_t>(random() % 2000001) - 1000000) / 128.0);
    }
    const std::string longName(100000, 'n');
    std::string expected;
    char buffer[400];
    for (double value : values) {
        std::snprintf(buffer, sizeof buffer, "%lf|", value);
        expected += buffer;
    }
    for (std::int32_t value : integers) expected += std::to_string(value) + ' ';
    expected += longName + "\t\t";
    const std::string actual = test::WrittenText([&](TextOutput& out) {
        for (double value : values) {
            out.PutFixed(value);
            out.Put('|');
        }
        for (std::int32_t value : integers) {
            out.PutInt(value);
            out.Put(' ');
        }
        out.Put(longName);
        out.PutTabs(2);
        out.PutTabs(-1);
    });
    ASSERT_EQ(actual.size(), expected.size());
    EXPECT_TRUE(actual == expected);
}

TEST(TextOutput, StringsEndAtTheirFirstNulAsPercentSDoes) {
    EXPECT_EQ(test::WrittenText([](TextOutput& out) { out.PutString(std::string("ab\0cd", 5)); }), "ab");
    EXPECT_EQ(test::WrittenText([](TextOutput& out) { out.Put(std::string_view("ab\0cd", 5)); }),
              std::string("ab\0cd", 5));
}

// The limit counts what the sink took: a piece that would pass it is not
// handed at all, and the output is refused as too large.
TEST(TextOutput, APieceThatWouldPassTheLimitIsRefusedAndNotHanded) {
    test::RecordingSink sink;
    TextOutput out(sink, 10);
    out.Put("abcdef");
    out.Flush();
    out.Put("ghijkl");
    try {
        out.Flush();
        FAIL() << "no refusal";
    } catch (const ConversionError& refusal) {
        EXPECT_EQ(refusal.Kind(), ErrorKind::kOutputTooLarge);
        EXPECT_EQ(refusal.Message(), "output larger than the limit of 10 bytes");
    }
    EXPECT_EQ(sink.pieces, std::vector<std::string>{"abcdef"});
    // Exactly at the limit is fine, and an empty flush hands nothing.
    test::RecordingSink exact;
    TextOutput full(exact, 4);
    full.Put("abcd");
    full.Flush();
    full.Flush();
    EXPECT_EQ(exact.pieces, std::vector<std::string>{"abcd"});
}

TEST(MemorySink, KeepsOnlyWhatWasCommitted) {
    MemorySink sink;
    sink.Begin();
    sink.Take("first");
    sink.Commit();
    sink.Begin();
    sink.Take("second, dropped");
    sink.Abandon();
    EXPECT_EQ(sink.TakeText(), "first");
}

TEST(CallbackSink, AReceiverThatRefusesEndsTheOutput) {
    std::string received;
    CallbackSink sink([&](std::string_view piece) {
        received += piece;
        return received.size() < 3;
    });
    sink.Take("ab");
    try {
        sink.Take("cd");
        FAIL() << "no refusal";
    } catch (const ConversionError& refusal) {
        EXPECT_EQ(refusal.Kind(), ErrorKind::kCannotWrite);
    }
    EXPECT_EQ(received, "abcd");
}

TEST(NarrowText, CharactersUpToU00FFKeepTheirValueAndLaterOnesBecomeOneQuestionMark) {
    const std::pair<std::string, std::string> cases[] = {
        {"\u007F", "\x7F"},           // the last one-byte sequence
        {"\u0080", "\x80"},           // the first two-byte one
        {"\u00E9t\u00E9", "\xE9t\xE9"},
        {"\u00FF", "\xFF"},           // the last character that fits
        {"\u0100", "?"},              // the first that does not
        {"\u07FF", "?"},              // the last two-byte sequence
        {"a\u20ACb", "a?b"},          // three bytes, one '?'
        {"\U0001F600!", "?!"},        // four bytes, one '?'
        {"\u00FF\u0100\u00FF", "\xFF?\xFF"},
    };
    for (const auto& [utf8, narrow] : cases) {
        EXPECT_EQ(Narrow(utf8), narrow) << utf8;
        // The same past the eight-byte runs that the view skips at once.
        std::string scratch;
        const std::string padded = "01234567" + utf8;
        EXPECT_EQ(std::string(NarrowView(padded, scratch)), "01234567" + narrow) << utf8;
    }
}

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

TEST(GzipSink, InflatesToWhatItTookAndPassesOnAbandonsAndFailures) {
    // Random digits compress poorly: the stream fills many buffers.
    std::mt19937 random(7);
    std::string text(400000, ' ');
    for (char& c : text) c = static_cast<char>('0' + random() % 10);
    test::RecordingSink below;
    GzipSink sink(below);
    sink.Begin();
    for (std::string_view piece : {text.substr(0, 10), std::string(), text.substr(10, 300000), text.substr(300010)}) {
        sink.Take(piece);
    }
    sink.Commit();
    EXPECT_EQ(below.log, "BC");
    // gzip, deflate, and neither flags nor a time stamp: equal texts give equal files.
    EXPECT_EQ(below.taken.substr(0, 8), std::string("\x1f\x8b\x08\0\0\0\0\0", 8));
    EXPECT_TRUE(test::Gunzip(below.taken) == text);

    test::RecordingSink empty;
    GzipSink nothing(empty);
    nothing.Begin();
    nothing.Commit();
    EXPECT_EQ(test::Gunzip(empty.taken), "");

    test::RecordingSink full;
    full.room = 1000;
    GzipSink failing(full);
    failing.Begin();
    EXPECT_THROW(failing.Take(text), ConversionError);
    failing.Abandon();
    EXPECT_EQ(full.log, "BA");
}

}  // namespace
}  // namespace morvane
