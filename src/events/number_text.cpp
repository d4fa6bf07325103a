#include "events/number_text.h"

#include <cstdio>

namespace morvane {

namespace {

// One conversion after another from where the last one stopped, as a
// single scanf call with blanks between its conversions would do.
template <class T>
int ScanSequence(const std::string& text, std::span<T> values, const char* conversion) {
    const char* at = text.c_str();
    const std::string format = std::string(" ") + conversion + "%n";
    int converted = 0;
    for (T& value : values) {
        T read{};
        int used = 0;
        if (std::sscanf(at, format.c_str(), &read, &used) != 1) break;
        value = read;
        at += used;
        ++converted;
    }
    return converted;
}

}  // namespace

int ScanDoubles(const std::string& text, std::span<double> values) { return ScanSequence(text, values, "%lg"); }

int ScanFloats(const std::string& text, std::span<float> values) { return ScanSequence(text, values, "%g"); }

bool ScanInt(const std::string& text, std::int32_t& value) {
    int read = 0;
    if (std::sscanf(text.c_str(), "%d", &read) != 1) return false;
    value = read;
    return true;
}

}  // namespace morvane
