// Numbers read from element text and attributes the way a scanf call reads
// them: white space between numbers, the scan stops at the first piece that
// is not a number, and what it does not reach keeps its former value.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace morvane {

// "%lg %lg ..." into `values`; returns how many were converted.
int ScanDoubles(const std::string& text, std::span<double> values);
// "%g %g ..." into 32-bit `values`; returns how many were converted.
int ScanFloats(const std::string& text, std::span<float> values);
// "%d" into `value`; returns whether it converted.
bool ScanInt(const std::string& text, std::int32_t& value);

}  // namespace morvane
