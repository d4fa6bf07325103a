#include "support/narrow_text.h"

#include <cstdint>
#include <cstring>

#include <algorithm>

namespace morvane {

namespace {

// Length of the UTF-8 sequence that a lead byte opens. expat hands over
// well-formed UTF-8 only, so the continuation bytes need no checking; a
// stray byte still advances by one so that nothing can run past the end.
std::size_t SequenceLength(unsigned char lead) {
    if (lead < 0xC0) return 1;
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    return 4;
}

}  // namespace

void AppendNarrowed(std::string& target, const char* utf8, std::size_t count) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(utf8);
    const auto* end = bytes + count;
    // Plain ASCII, the bulk of every number list, is copied in runs.
    while (bytes < end) {
        const auto* run = std::find_if(bytes, end, [](unsigned char c) { return c >= 0x80; });
        target.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(run - bytes));
        bytes = run;
        if (bytes == end) break;
        const std::size_t full = SequenceLength(*bytes);
        const std::size_t length = std::min<std::size_t>(full, static_cast<std::size_t>(end - bytes));
        if (full == 2 && length == 2) {
            const unsigned codePoint = ((bytes[0] & 0x1Fu) << 6) | (bytes[1] & 0x3Fu);
            target.push_back(codePoint <= 0xFF ? static_cast<char>(codePoint) : '?');
        } else {
            target.push_back('?');
        }
        bytes += length;
    }
}

std::string_view NarrowView(std::string_view utf8, std::string& scratch) {
    // Eight bytes at a time: plain ASCII has no high bit anywhere.
    constexpr std::uint64_t kHighBits = 0x8080808080808080ull;
    std::size_t at = 0;
    std::uint64_t high = 0;
    for (; at + 8 <= utf8.size(); at += 8) {
        std::uint64_t word;
        std::memcpy(&word, utf8.data() + at, 8);
        high |= word & kHighBits;
    }
    for (; at < utf8.size(); ++at) high |= static_cast<unsigned char>(utf8[at]) & 0x80u;
    if (high == 0) return utf8;
    scratch.clear();
    AppendNarrowed(scratch, utf8.data(), utf8.size());
    return scratch;
}

}  // namespace morvane
