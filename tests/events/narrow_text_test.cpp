#include "events/narrow_text.h"

#include <gtest/gtest.h>

namespace morvane {
namespace {

TEST(Narrowing, LatinOneCharactersBecomeTheirOwnByte) {
    EXPECT_EQ(Narrow("plain ascii"), "plain ascii");
    EXPECT_EQ(Narrow("caf\xC3\xA9"), "caf\xE9");             // U+00E9
    EXPECT_EQ(Narrow("\xC2\x80-\xC3\xBF"), "\x80-\xFF");     // U+0080 and U+00FF
}

TEST(Narrowing, EachCharacterAboveLatinOneIsOneQuestionMark) {
    EXPECT_EQ(Narrow("\xC4\x80"), "?");                      // U+0100, two bytes
    EXPECT_EQ(Narrow("1\xE2\x82\xAC" "2"), "1?2");             // euro sign, three bytes
    EXPECT_EQ(Narrow("a\xF0\x9F\x98\x80" "b"), "a?b");         // outside the basic plane, four bytes
    EXPECT_EQ(Narrow("\xE6\x97\xA5\xE6\x9C\xAC"), "??");     // the rest of the text is kept
}

TEST(Narrowing, AppendsToWhatIsThere) {
    std::string text = "x";
    AppendNarrowed(text, "y\xC3\xA9", 3);
    EXPECT_EQ(text, "xy\xE9");
    // A cut sequence at the end of a run never reads past it.
    AppendNarrowed(text, "\xE2\x82", 2);
    EXPECT_EQ(text, "xy\xE9?");
}

}  // namespace
}  // namespace morvane
