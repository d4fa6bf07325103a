// The one text writer: numbers and strings as printf writes them, and the
// rules by which its text reaches a sink.
#include "support/text_output.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/conversion_error.h"
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

// Records each piece it takes.
class PieceSink final : public OutputSink {
public:
    void Take(std::string_view piece) override { pieces.emplace_back(piece); }
    std::vector<std::string> pieces;
};

TEST(TextOutput, StringsEndAtTheirFirstNulAsPercentSDoes) {
    EXPECT_EQ(test::WrittenText([](TextOutput& out) { out.PutString(std::string("ab\0cd", 5)); }), "ab");
    EXPECT_EQ(test::WrittenText([](TextOutput& out) { out.Put(std::string_view("ab\0cd", 5)); }),
              std::string("ab\0cd", 5));
}

// The limit counts what the sink took: a piece that would pass it is not
// handed at all, and the output is refused as too large.
TEST(TextOutput, APieceThatWouldPassTheLimitIsRefusedAndNotHanded) {
    PieceSink sink;
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
    PieceSink exact;
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

}  // namespace
}  // namespace morvane
