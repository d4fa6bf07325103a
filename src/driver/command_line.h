// The command line: the usage text and the options of the conversions.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace morvane {

struct ConversionOptions;

struct CommandLine {
    // Arguments that do not begin with '-': the input, then the output.
    std::vector<std::string> Positional;
    // Whether a large input raises the prompt before smoothing; -fs clears it.
    bool WarnOnLargeFile = true;
};

void PrintUsage(std::FILE* out);

// Reads every argument once, from the first to the last (args[0], the
// program's name, is not looked at). A later option overrides an earlier one.
CommandLine ApplyArguments(const std::vector<std::string>& args, ConversionOptions& options);

}  // namespace morvane
