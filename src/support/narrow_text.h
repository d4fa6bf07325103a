// Text inside the converter is one byte per character: the reader's UTF-8 is
// narrowed so that each character up to U+00FF becomes the byte of the same
// value and each character above it becomes one '?'.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace morvane {

void AppendNarrowed(std::string& target, const char* utf8, std::size_t count);

// The narrowed text: `utf8` itself when it is plain ASCII, else its
// narrowing, made in `scratch`.
std::string_view NarrowView(std::string_view utf8, std::string& scratch);

inline std::string Narrow(std::string_view utf8) {
    std::string narrow;
    AppendNarrowed(narrow, utf8.data(), utf8.size());
    return narrow;
}

}  // namespace morvane
