// What the WebAssembly build's C++ library (emscripten 3.1.6's libc++ 14)
// lacks of C++20 and the sources use: std::bit_cast, and the floating-point
// std::to_chars and std::from_chars (it has them for integers only).
// scripts/wasm includes this header before every source file.
//
// Both are defined by the standard in terms of the C library, which is what
// these do: to_chars with a format and a precision prints as printf's
// "%.*g", "%.*f" or "%.*e" in the C locale; from_chars reads what strtod
// and strtof read, without skipping white space or taking a '+', and
// reports a value out of range instead of giving one.
#pragma once

#include <bit>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

namespace morvane_compat {

inline std::to_chars_result FormatFloating(char* first, char* last, double value, std::chars_format format,
                                           int precision) {
    const char* pattern = format == std::chars_format::fixed        ? "%.*f"
                          : format == std::chars_format::scientific ? "%.*e"
                                                                    : "%.*g";
    const std::ptrdiff_t room = last - first;
    char small[64];
    const int length = std::snprintf(small, sizeof small, pattern, precision, value);
    if (length < 0 || length > room) return {last, std::errc::value_too_large};
    if (length < static_cast<int>(sizeof small)) {
        std::memcpy(first, small, static_cast<std::size_t>(length));
    } else {
        std::string big(static_cast<std::size_t>(length) + 1, '\0');
        std::snprintf(big.data(), big.size(), pattern, precision, value);
        std::memcpy(first, big.data(), static_cast<std::size_t>(length));
    }
    return {first + length, std::errc()};
}

template <class T, class Read>
std::from_chars_result ParseFloating(const char* first, const char* last, T& value, Read read) {
    if (first == last || *first == '+' || *first == ' ' || (*first >= '\t' && *first <= '\r')) {
        return {first, std::errc::invalid_argument};
    }
    const std::string text(first, last);
    char* end = nullptr;
    errno = 0;
    const T parsed = read(text.c_str(), &end);
    if (end == text.c_str()) return {first, std::errc::invalid_argument};
    const char* stop = first + (end - text.c_str());
    if (errno == ERANGE) return {stop, std::errc::result_out_of_range};
    value = parsed;
    return {stop, std::errc()};
}

}  // namespace morvane_compat

namespace std {

#ifndef __cpp_lib_bit_cast
template <class To, class From>
constexpr To bit_cast(const From& from) noexcept {
    static_assert(sizeof(To) == sizeof(From));
    return __builtin_bit_cast(To, from);
}
#endif

inline to_chars_result to_chars(char* first, char* last, double value, chars_format format, int precision) {
    return morvane_compat::FormatFloating(first, last, value, format, precision);
}
inline to_chars_result to_chars(char* first, char* last, float value, chars_format format, int precision) {
    return morvane_compat::FormatFloating(first, last, value, format, precision);
}
inline from_chars_result from_chars(const char* first, const char* last, double& value,
                                    chars_format = chars_format::general) {
    return morvane_compat::ParseFloating(first, last, value, [](const char* s, char** e) { return std::strtod(s, e); });
}
inline from_chars_result from_chars(const char* first, const char* last, float& value,
                                    chars_format = chars_format::general) {
    return morvane_compat::ParseFloating(first, last, value, [](const char* s, char** e) { return std::strtof(s, e); });
}

}  // namespace std
