#include "support/number_text.h"

#include <charconv>
#include <cstdint>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace morvane {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// White space as scanf skips it in the C locale.
bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Limits within which the mantissa and the power of ten are exact in T.
template <class T>
struct ExactDecimals;
template <>
struct ExactDecimals<float> {
    using Mantissa = std::uint32_t;
    static constexpr Mantissa kLargest = Mantissa{1} << 24;
    static constexpr int kDecimals = 10;
};
template <>
struct ExactDecimals<double> {
    using Mantissa = std::uint64_t;
    static constexpr Mantissa kLargest = Mantissa{1} << 53;
    static constexpr int kDecimals = 22;
};

template <class T>
const char* ReadDecimal(const char* at, const char* end, T& value) {
    using Limits = ExactDecimals<T>;
    static constexpr T kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                         1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    const bool negative = at != end && *at == '-';
    if (at != end && (*at == '-' || *at == '+')) ++at;
    typename Limits::Mantissa mantissa = 0;
    int decimals = 0;
    bool digits = false;
    bool point = false;
    for (; at != end; ++at) {
        if (*at == '.' && !point) {
            point = true;
            continue;
        }
        if (!IsDigit(*at)) break;
        mantissa = mantissa * 10 + static_cast<typename Limits::Mantissa>(*at - '0');
        if (mantissa > Limits::kLargest) return nullptr;
        digits = true;
        if (point && ++decimals > Limits::kDecimals) return nullptr;
    }
    if (!digits) return nullptr;
    // Both operands are exact, so the one rounding is the only one.
    const T magnitude = static_cast<T>(mantissa) / kPowersOfTen[decimals];
    value = negative ? -magnitude : magnitude;
    return at;
}

// One conversion after another from where the last one stopped, as a
// single scanf call with blanks between its conversions would do. A plain
// decimal that white space or the end follows is read without scanf.
template <class T>
int ScanSequence(const std::string& text, std::span<T> values, const char* conversion) {
    const char* at = text.c_str();
    const char* const end = at + text.size();
    const std::string format = std::string(" ") + conversion + "%n";
    int converted = 0;
    for (T& value : values) {
        while (IsSpace(*at)) ++at;
        T read{};
        if (const char* stop = ReadDecimal(at, end, read); stop != nullptr && (stop == end || IsSpace(*stop))) {
            value = read;
            at = stop;
            ++converted;
            continue;
        }
        int used = 0;
        if (std::sscanf(at, format.c_str(), &read, &used) != 1) break;
        value = read;
        at += used;
        ++converted;
    }
    return converted;
}

}  // namespace

const char* ReadShortDecimal(const char* at, const char* end, float& value) { return ReadDecimal(at, end, value); }

const char* ReadShortDecimal(const char* at, const char* end, double& value) { return ReadDecimal(at, end, value); }

int ScanDoubles(const std::string& text, std::span<double> values) { return ScanSequence(text, values, "%lg"); }

int ScanFloats(const std::string& text, std::span<float> values) { return ScanSequence(text, values, "%g"); }

std::size_t FormatNumber(double value, char* out) {
    // The general format with a precision is defined as printf's "%.*g".
    if (std::isfinite(value)) {
        return static_cast<std::size_t>(std::to_chars(out, out + kLongestNumber, value, std::chars_format::general, 6).ptr - out);
    }
    char text[kLongestNumber + 1];
    const int length = std::snprintf(text, sizeof text, "%lg", value);
    std::memcpy(out, text, static_cast<std::size_t>(length));
    return static_cast<std::size_t>(length);
}

void AppendNumber(std::string& text, double value) {
    char digits[kLongestNumber];
    text.append(digits, FormatNumber(value, digits));
}

template <class Values>
std::string JoinNumbers(const Values& values) {
    std::string text;
    for (const auto value : values) {
        if (!text.empty()) text += ' ';
        AppendNumber(text, static_cast<double>(value));
    }
    return text;
}

std::string FormatNumbers(std::initializer_list<double> values) { return JoinNumbers(values); }

std::string FormatNumbers(std::span<const float> values) { return JoinNumbers(values); }

bool ScanInt(const std::string& text, std::int32_t& value) {
    // A plain integer is read without scanf: "%d" stops at the first
    // character that is no digit, and so does from_chars.
    const char* const begin = text.c_str();
    const char* const end = begin + text.size();
    const char* digits = begin + (text.starts_with('-') ? 1 : 0);
    if (digits != end && IsDigit(*digits)) {
        std::int32_t parsed = 0;
        if (std::from_chars(begin, end, parsed).ec == std::errc()) {
            value = parsed;
            return true;
        }
    }
    int read = 0;
    if (std::sscanf(text.c_str(), "%d", &read) != 1) return false;
    value = read;
    return true;
}

}  // namespace morvane
