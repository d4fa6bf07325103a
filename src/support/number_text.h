// Numbers read from element text and attributes the way a scanf call reads
// them: white space between numbers, the scan stops at the first piece that
// is not a number, and what it does not reach keeps its former value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>

namespace morvane {

// Reads a plain decimal ([+-]digits[.digits]) with few enough digits that a
// single division in the target type rounds it correctly, and so gives
// what any correctly rounding conversion (scanf's, strtod's) gives. Gives
// where the decimal stops, or null when the text at `at` is no such decimal
// (too long, or not plain), leaving `value` alone. What stands behind it is
// the caller's to judge: "1.5e3" stops at the 'e'.
const char* ReadShortDecimal(const char* at, const char* end, float& value);
const char* ReadShortDecimal(const char* at, const char* end, double& value);

// "%lg %lg ..." into `values`; returns how many were converted.
int ScanDoubles(const std::string& text, std::span<double> values);
// "%g %g ..." into 32-bit `values`; returns how many were converted.
int ScanFloats(const std::string& text, std::span<float> values);
// "%d" into `value`; returns whether it converted.
bool ScanInt(const std::string& text, std::int32_t& value);

// Writes `value` as "%lg" writes it (six significant digits, no trailing
// zeros) into `out`, which has room for kLongestNumber characters, and
// gives the number of characters; no terminating NUL.
inline constexpr std::size_t kLongestNumber = 32;
std::size_t FormatNumber(double value, char* out);
// Appends "%lg" of `value` to `text`.
void AppendNumber(std::string& text, double value);
// Numbers as the writer prints them: "%lg" each, one blank between; 32-bit
// values are widened first.
std::string FormatNumbers(std::initializer_list<double> values);
std::string FormatNumbers(std::span<const float> values);

}  // namespace morvane
