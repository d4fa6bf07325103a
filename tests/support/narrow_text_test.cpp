// Narrowing at the edges of the one-byte range: every character up to
// U+00FF keeps its value as one byte, every one above it is one '?'.
#include "support/narrow_text.h"

#include <gtest/gtest.h>

namespace morvane {
namespace {

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

}  // namespace
}  // namespace morvane
