#include "geometry/text_output.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "document/output_file.h"
#include "support/number_text.h"

namespace morvane {

namespace {

constexpr std::size_t kBufferSize = 1 << 16;
// The longest "%lf" of a finite double: 309 digits, sign, point, decimals.
constexpr std::size_t kLongestFixed = 330;

// Six decimals of a double below 2^40 in magnitude, rounded as printf
// rounds: the exact binary value, half to even. With value = m 2^e, the
// number of millionths is m 10^6 / 2^-e, which 128 bits hold exactly.
// False for larger values and for inf and nan, left to the general routine.
bool ShortFixedDigits(double value, bool& negative, std::uint64_t& millionths) {
    constexpr int kMantissaBits = 52;
    const auto bits = std::bit_cast<std::uint64_t>(value);
    negative = (bits >> 63) != 0;
    const int biased = static_cast<int>((bits >> kMantissaBits) & 0x7FF);
    // Below 2^40, the millionths stay below 2^60.
    if (biased - 1023 >= 40) return false;
    std::uint64_t mantissa = bits & ((std::uint64_t{1} << kMantissaBits) - 1);
    if (biased != 0) mantissa |= std::uint64_t{1} << kMantissaBits;
    // value = mantissa 2^-shift, with shift > 12
    const int shift = kMantissaBits + 1023 - (biased == 0 ? 1 : biased);
    const unsigned __int128 product = static_cast<unsigned __int128>(mantissa) * 1000000u;
    if (shift >= 74) {
        millionths = 0;  // below half a millionth, as the product is below 2^73
        return true;
    }
    auto whole = static_cast<std::uint64_t>(product >> shift);
    const unsigned __int128 rest = product & ((static_cast<unsigned __int128>(1) << shift) - 1);
    const unsigned __int128 half = static_cast<unsigned __int128>(1) << (shift - 1);
    if (rest > half || (rest == half && (whole & 1) != 0)) ++whole;
    millionths = whole;
    return true;
}

}  // namespace

// The common case of "%lf", written without the general conversion.
bool TextOutput::PutShortFixed(double value) {
    bool negative = false;
    std::uint64_t millionths = 0;
    if (!ShortFixedDigits(value, negative, millionths)) return false;
    if (negative) *at_++ = '-';
    at_ = std::to_chars(at_, end_, millionths / 1000000).ptr;
    *at_++ = '.';
    auto fraction = static_cast<std::uint32_t>(millionths % 1000000);
    for (int i = 5; i >= 0; --i) {
        at_[i] = static_cast<char>('0' + fraction % 10);
        fraction /= 10;
    }
    at_ += 6;
    return true;
}

TextOutput::TextOutput(std::FILE* stream)
    : stream_(stream), buffer_(new char[kBufferSize]), at_(buffer_.get()), end_(buffer_.get() + kBufferSize) {}

TextOutput::~TextOutput() {
    // No check here: it may run while a failure unwinds, and the stream
    // keeps its error for the next check.
    if (!std::ferror(stream_)) Hand();
}

void TextOutput::Put(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(end_ - at_)) {
        Flush();
        if (text.size() > kBufferSize) {
            std::fwrite(text.data(), 1, text.size(), stream_);
            ThrowIfWriteFailed(stream_);
            return;
        }
    }
    std::memcpy(at_, text.data(), text.size());
    at_ += text.size();
}

void TextOutput::PutTabs(int count) {
    for (int i = 0; i < count; ++i) Put('\t');
}

void TextOutput::PutInt(std::int32_t value) {
    MakeRoom(16);
    at_ = std::to_chars(at_, end_, value).ptr;
}

void TextOutput::PutFixed(double value) {
    MakeRoom(kLongestFixed);
    if (PutShortFixed(value)) return;
    if (std::isfinite(value)) {
        // Rounds the exact binary value half to even, as printf does.
        at_ = std::to_chars(at_, end_, value, std::chars_format::fixed, 6).ptr;
        return;
    }
    const int written = std::snprintf(at_, kLongestFixed, "%lf", value);
    if (written > 0) at_ += written;
}

void TextOutput::PutNumber(double value) {
    MakeRoom(kLongestNumber);
    at_ += FormatNumber(value, at_);
}

void TextOutput::Flush() {
    Hand();
    ThrowIfWriteFailed(stream_);
}

void TextOutput::Hand() {
    if (at_ != buffer_.get()) std::fwrite(buffer_.get(), 1, static_cast<std::size_t>(at_ - buffer_.get()), stream_);
    at_ = buffer_.get();
}

}  // namespace morvane
