// The compressing sink: what it hands on inflates to exactly what it took,
// and an abandon or a failure below reaches the sink below.
#include "support/gzip_sink.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/conversion_error.h"
#include "test_support.h"

namespace morvane {
namespace {

// Keeps what it takes and what happened; refuses past `room` bytes.
struct RecordingSink final : OutputSink {
    void Begin() override { events += "B"; }
    void Take(std::string_view piece) override {
        if (taken.size() + piece.size() > room) throw ConversionError(ErrorKind::kCannotWrite, "disk full");
        taken.append(piece);
    }
    void Commit() override { events += "C"; }
    void Abandon() override { events += "A"; }
    std::string events, taken;
    std::size_t room = std::string::npos;
};

TEST(GzipSink, InflatesToWhatItTookAndPassesOnAbandonsAndFailures) {
    // Random digits compress poorly: the stream fills many buffers.
    std::mt19937 random(7);
    std::string text(400000, ' ');
    for (char& c : text) c = static_cast<char>('0' + random() % 10);
    RecordingSink below;
    GzipSink sink(below);
    sink.Begin();
    for (std::string_view piece : {text.substr(0, 10), std::string(), text.substr(10, 300000), text.substr(300010)}) {
        sink.Take(piece);
    }
    sink.Commit();
    EXPECT_EQ(below.events, "BC");
    EXPECT_EQ(below.taken.substr(0, 3), "\x1f\x8b\x08");  // gzip, deflate
    EXPECT_TRUE(test::Gunzip(below.taken) == text);

    RecordingSink empty;
    GzipSink nothing(empty);
    nothing.Begin();
    nothing.Commit();
    EXPECT_EQ(test::Gunzip(empty.taken), "");

    RecordingSink full;
    full.room = 1000;
    GzipSink failing(full);
    failing.Begin();
    EXPECT_THROW(failing.Take(text), ConversionError);
    failing.Abandon();
    EXPECT_EQ(full.events, "BA");
}

}  // namespace
}  // namespace morvane
