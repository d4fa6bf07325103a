// The program: one conversion per input, with its output file, its size
// prompt and its lines on the console, and batches over a file pattern.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "document/document_converter.h"

namespace morvane {

inline constexpr const char* kOutputExtension = ".x3d";
// The extension of a gzip-compressed output (-z with --faithful).
inline constexpr const char* kCompressedOutputExtension = ".x3dz";
// Above this many bytes a file raises the prompt before it is smoothed.
inline constexpr std::uint64_t kLargeFileBytes = 10000000;

// The diagnostic sink: it receives a format and a code, and keeps nothing.
void TraceError(const char* format, ResultCode code);

// The size of a readable regular file; 0 for anything else, URLs included.
std::uint64_t FileSize(const std::string& name);

// `text` with its control characters escaped (\n, \t, \r, \x1b), so that
// a diagnostic that shows it stays on one line.
std::string ShownInOneLine(const std::string& text);

// How an output name is derived from its input.
enum class OutputNaming {
    // The first ".dae" from the second character on becomes the extension;
    // without one, the extension is appended.
    kClassic,
    // The last extension of the last path component, when it is ".dae",
    // ".kmz" or ".zae" in any letter case, becomes the extension; any other
    // name gets the extension appended. A component that begins with its
    // only dot (".dae") has no extension.
    kFaithful,
};

// The output name derived from the input: an http(s) URL's last path
// component, in the working directory; a file's full path or the path of
// the file that a file:// URL names, beside it; with its extension set by
// `naming`.
std::string DeriveOutputName(const std::string& input, const std::string& extension,
                             OutputNaming naming = OutputNaming::kClassic);

// The name to write: `output` itself, or when it names an existing
// directory, the derived name's last component inside it, or the derived
// name when `output` is empty.
std::string ResolveOutputName(const std::string& input, const std::string& extension, const std::string& output,
                              OutputNaming naming = OutputNaming::kClassic);

// Whether an existing file of this name is a document that no output may
// replace: a ".dae" in any letter case, and under the faithful naming a
// ".kmz" or ".zae" archive too.
bool IsProtectedDocumentName(const std::string& name, OutputNaming naming);

// Matches `*` (any run) and `?` (one character); every other character,
// '%' and '[' included, stands for itself.
bool MatchesPattern(std::string_view pattern, std::string_view name);

// The files of the pattern's directory whose names match its last part, in
// byte order of their names, each with the pattern's directory in front.
// When the directory cannot be read, `failure` (if given) says why.
std::vector<std::string> FindMatchingFiles(const std::string& pattern, std::string* failure = nullptr);

struct ConsoleStreams {
    std::FILE* in = stdin;
    std::FILE* out = stdout;
    std::FILE* err = stderr;
};

// One input of the program, and what its conversion takes from the run.
struct FileRequest {
    // A path, a URL or a match of a pattern, as given.
    std::string Input;
    // The output name, or a directory to put it in; empty: derived from the
    // input.
    std::string Output;
    // A match of a pattern is not opened unless it is a regular file.
    bool BatchMatch = false;
    // Whether a large input raises the prompt before it is smoothed.
    bool WarnOnLargeFile = true;
    // The run's options: the prompt may switch smoothing off for the rest
    // of the run.
    ConversionOptions& Options;
    const ConsoleStreams& Console;
    ProgressSink& Progress;
};

// Converts one input into its output file. An input that gives no output
// file gets one line on the console's standard error, saying why; the
// result says it too.
ConversionResult ConvertFile(DocumentConverter& converter, const FileRequest& request);

// The whole program behind the entry point; returns the exit code.
int RunConverter(const std::vector<std::string>& args, const ConsoleStreams& console = {});

}  // namespace morvane
