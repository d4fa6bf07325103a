#include "support/text_output.h"

#include <bit>
#include <cassert>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "support/conversion_error.h"
#include "support/number_text.h"

namespace morvane {

namespace {

constexpr std::size_t kBufferSize = 1 << 16;
// The longest "%lf" of a finite double: 309 digits, sign, point, decimals.
constexpr std::size_t kLongestFixed = 330;
// The longest that PutShortFixed writes: a sign, 13 digits below 2^40, the
// point and six decimals.
[[maybe_unused]] constexpr std::size_t kLongestShortFixed = 21;

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
    assert(static_cast<std::size_t>(end_ - at_) >= kLongestShortFixed);
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

void CallbackSink::Take(std::string_view piece) {
    if (!receive_(piece)) throw ConversionError(ErrorKind::kCannotWrite, "cannot write the output: its receiver refused it");
}

TextOutput::TextOutput(OutputSink& sink, std::uint64_t limit)
    : sink_(sink), limit_(limit), buffer_(new char[kBufferSize]), at_(buffer_.get()), end_(buffer_.get() + kBufferSize) {}

TextOutput::~TextOutput() = default;

void TextOutput::Put(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(end_ - at_)) {
        Flush();
        if (text.size() > kBufferSize) {
            Hand(text);
            return;
        }
    }
    std::memcpy(at_, text.data(), text.size());
    at_ += text.size();
}

void TextOutput::PutString(const std::string& text) { Put(std::string_view(text.c_str())); }

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
    const std::string_view gathered(buffer_.get(), static_cast<std::size_t>(at_ - buffer_.get()));
    // Emptied first: a sink that fails leaves nothing to hand again.
    at_ = buffer_.get();
    if (!gathered.empty()) Hand(gathered);
}

void TextOutput::Hand(std::string_view piece) {
    if (piece.size() > limit_ - handed_) {
        throw ConversionError(ErrorKind::kOutputTooLarge,
                              "output larger than the limit of " + std::to_string(limit_) + " bytes");
    }
    sink_.Take(piece);
    handed_ += piece.size();
}

}  // namespace morvane
