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
    // --help and --version: without an input they print help and version.
    bool Help = false;
    bool Version = false;
    // Long options this program does not know, in order: each is passed
    // over with a line on standard error.
    std::vector<std::string> UnknownLongOptions;
};

void PrintUsage(std::FILE* out);
// The usage text, then the long options.
void PrintHelp(std::FILE* out);
void PrintVersion(std::FILE* out);

// Reads every argument once, from the first to the last (args[0], the
// program's name, is not looked at). A later option overrides an earlier one.
CommandLine ApplyArguments(const std::vector<std::string>& args, ConversionOptions& options);

}  // namespace morvane
