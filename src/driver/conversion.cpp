#include "driver/conversion.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "document/output_file.h"
#include "driver/command_line.h"
#include "driver/image_files.h"
#include "support/gzip_sink.h"
#include "support/path_text.h"

namespace morvane {

namespace {

// The code of a parse that the console reports. This reader never ends a
// parse with it, so that report cannot happen here; the driver keeps it all
// the same.
constexpr ResultCode kResultParseAborted = 0x800400CA;
// The code of any other failed parse.
constexpr ResultCode kResultFailed = 0x80004005;

// The set-up and the detaching of the reader cannot fail here (there is no
// component to create); their checks keep the exit code the design gives.
bool IsGood(ResultCode code) { return code == kResultOk || code == kResultParseAborted; }

bool IsDirectory(const std::string& name) {
    struct stat status {};
    return !name.empty() && stat(name.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string Lowered(std::string_view text) {
    std::string lowered(text);
    for (char& c : lowered) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lowered;
}

bool EndsWithAnyCase(const std::string& name, std::string_view extension) {
    return name.size() >= extension.size() &&
           Lowered(std::string_view(name).substr(name.size() - extension.size())) == extension;
}

// The extensions of the documents the faithful output reads: a COLLADA
// document and the two archives that carry one.
bool IsDocumentExtension(std::string_view extension) {
    const std::string lowered = Lowered(extension);
    return lowered == ".dae" || lowered == ".kmz" || lowered == ".zae";
}

// The local file that an input names, a path or a file:// URL; empty for a
// download, or for a file URL that names no file of this machine.
std::string LocalPathOf(const std::string& input) {
    std::string path;
    std::string ignored;
    if (IsFileUrl(input)) return LocalPathOfFileUrl(input, path, ignored) ? path : std::string();
    return IsUrl(input) ? std::string() : input;
}

// Whether the target is the input itself, under whatever name.
bool IsTheInput(const std::string& input, const OutputTarget& target) {
    const std::string path = LocalPathOf(input);
    struct stat status {};
    if (path.empty() || !target.Exists || stat(path.c_str(), &status) != 0) return false;
    return status.st_dev == target.Status.st_dev && status.st_ino == target.Status.st_ino;
}

// Why the output of `input` may not go to `output`, if it may not. Found
// out before anything else happens for the input.
std::optional<ConversionError> RefuseOutput(const std::string& input, const std::string& output, OutputNaming naming) {
    const OutputTarget target = FindOutputTarget(output);
    if (!target.Refusal.empty()) return ConversionError(ErrorKind::kCannotWrite, target.Refusal);
    if (IsTheInput(input, target)) {
        return ConversionError(ErrorKind::kOutputRefused, "refused: " + output + " would overwrite the input");
    }
    // The name of the file itself, which a link in between may hide.
    const std::string& file = target.ThroughLink ? target.Path : output;
    if (target.Descriptor < 0 && target.Exists && !S_ISDIR(target.Status.st_mode) &&
        IsProtectedDocumentName(file, naming)) {
        // Each protected extension has four characters.
        const std::string kind = Lowered(std::string_view(file).substr(file.size() - 4));
        return ConversionError(ErrorKind::kOutputRefused, "refused: " + file + " is an existing " + kind + " file");
    }
    if (const int error = WriteAccessError(target); error != 0) {
        return ConversionError(ErrorKind::kCannotWrite, CannotWrite(output, error));
    }
    return std::nullopt;
}

// Prints each mark as it comes, for a user waiting at the console.
class ConsoleProgress final : public ProgressSink {
public:
    explicit ConsoleProgress(std::FILE* out) : out_(out) {}
    void Mark(char mark) override { std::fputc(mark, out_); }

private:
    std::FILE* out_;
};

void Report(const ConsoleStreams& console, const std::string& input, const std::string& reason) {
    std::fprintf(console.err, "morvane: %s: %s\n", ShownInOneLine(input).c_str(), ShownInOneLine(reason).c_str());
}

// Why a pattern found nothing, when it is not plain that it matched nothing.
std::string NoMatchReason(const std::string& pattern, const std::string& failure) {
    auto startsWithAnyCase = [&](std::string_view prefix) {
        return pattern.size() >= prefix.size() &&
               std::equal(prefix.begin(), prefix.end(), pattern.begin(), [](char a, char b) {
                   return a == std::tolower(static_cast<unsigned char>(b));
               });
    };
    if (startsWithAnyCase("http://") || startsWithAnyCase("https://") || startsWithAnyCase("file://")) {
        return "no file matches (an input that holds % or * is read as a pattern, even one that starts like a "
               "URL)";
    }
    return failure.empty() ? "no file matches" : failure;
}

}  // namespace

void TraceError(const char*, ResultCode) {}

std::uint64_t FileSize(const std::string& name) {
    if (IsUrl(name)) return 0;
    // Looked at, not opened: opening a FIFO would wait for a writer.
    struct stat status {};
    if (stat(name.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    if (faccessat(AT_FDCWD, name.c_str(), R_OK, AT_EACCESS) != 0) return 0;
    return static_cast<std::uint64_t>(status.st_size);
}

std::string ShownInOneLine(const std::string& text) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string shown;
    shown.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            shown += c;
        } else if (c == '\n') {
            shown += "\\n";
        } else if (c == '\t') {
            shown += "\\t";
        } else if (c == '\r') {
            shown += "\\r";
        } else {
            shown += "\\x";
            shown += kHex[byte >> 4];
            shown += kHex[byte & 0xF];
        }
    }
    return shown;
}

std::string DeriveOutputName(const std::string& input, const std::string& extension, OutputNaming naming) {
    std::string name = input;
    std::string ignored;
    if (IsFileUrl(input)) {
        // Beside the file that the URL names. A URL that names none keeps
        // the text after "file://": it is refused before anything is written.
        if (!LocalPathOfFileUrl(input, name, ignored)) name = input.substr(std::string_view("file://").size());
    } else if (name.starts_with("http")) {
        name = FileNameOf(name);
    }
    if (naming == OutputNaming::kFaithful) {
        // Only the last component counts: a folder "proj.dae/" keeps its name.
        const std::size_t start = FileNameStart(name);
        const std::size_t dot = name.rfind('.');
        if (dot != std::string::npos && dot > start && IsDocumentExtension(std::string_view(name).substr(dot))) {
            name.erase(dot);
        }
        return name + extension;
    }
    // From the second character on, so that a name starting ".dae" keeps it.
    const std::size_t dae = name.empty() ? std::string::npos : name.find(".dae", 1);
    if (dae != std::string::npos) {
        name.replace(dae, 4, extension);
    } else {
        name += extension;
    }
    return name;
}

std::string ResolveOutputName(const std::string& input, const std::string& extension, const std::string& output,
                              OutputNaming naming) {
    if (output.empty()) return DeriveOutputName(input, extension, naming);
    if (!IsDirectory(output)) return output;
    std::string inside = output;
    if (inside.back() != '/') inside += '/';
    return inside + std::string(AfterLast(DeriveOutputName(input, extension, naming), '/'));
}

bool IsProtectedDocumentName(const std::string& name, OutputNaming naming) {
    if (EndsWithAnyCase(name, ".dae")) return true;
    return naming == OutputNaming::kFaithful && (EndsWithAnyCase(name, ".kmz") || EndsWithAnyCase(name, ".zae"));
}

bool MatchesPattern(std::string_view pattern, std::string_view name) {
    // Greedy matching with one point of return for the latest '*'.
    std::size_t p = 0;
    std::size_t n = 0;
    std::size_t starAt = std::string_view::npos;
    std::size_t resumeAt = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (p < pattern.size() && pattern[p] == '*') {
            starAt = p++;
            resumeAt = n;
        } else if (starAt != std::string_view::npos) {
            p = starAt + 1;
            n = ++resumeAt;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

std::vector<std::string> FindMatchingFiles(const std::string& pattern, std::string* failure) {
    const std::size_t cut = FileNameStart(pattern);
    const std::string directory = pattern.substr(0, cut);
    const std::string filePattern = pattern.substr(cut);
    const bool showHidden = filePattern.starts_with(".");

    std::vector<std::string> names;
    const std::string opened = directory.empty() ? "." : directory;
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(opened.c_str()), &closedir);
    if (!dir) {
        if (failure != nullptr) *failure = "cannot read directory " + opened + ": " + std::strerror(errno);
        return names;
    }
    while (const dirent* entry = readdir(dir.get())) {
        const std::string name = entry->d_name;
        if (name.starts_with(".") && !showHidden) continue;
        if (MatchesPattern(filePattern, name)) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    for (std::string& name : names) name = directory + name;
    return names;
}

ConversionResult ConvertFile(DocumentConverter& converter, const FileRequest& request) {
    const ConsoleStreams& console = request.Console;
    const std::string& input = request.Input;
    // A file URL that names no file of this machine: nothing else is looked at.
    if (std::string path, reason; IsFileUrl(input) && !LocalPathOfFileUrl(input, path, reason)) {
        Report(console, input, reason);
        return {ConversionError(ErrorKind::kCannotOpen, reason), {}};
    }
    ConversionOptions& options = request.Options;
    // -z compresses the faithful output only; the classic one never was.
    const bool compressed = options.Faithful && options.GzipOutput;
    const OutputNaming naming = options.Faithful ? OutputNaming::kFaithful : OutputNaming::kClassic;
    const std::string outputName =
        ResolveOutputName(input, compressed ? kCompressedOutputExtension : kOutputExtension, request.Output, naming);
    // A target that can never be written, or must not be, is found out
    // before the prompt and the parse, so that no work is spent on it.
    if (std::optional<ConversionError> refusal = RefuseOutput(input, outputName, naming)) {
        Report(console, input, refusal->Message());
        return {std::move(refusal), {}};
    }

    if (request.WarnOnLargeFile && options.SmoothMeshes && FileSize(input) > kLargeFileBytes) {
        std::fputs("This file may take a long time to smooth & optimize.\nAre you sure you want to do this? (y/n):",
                   console.out);
        std::fflush(console.out);
        const int answer = std::fgetc(console.in);
        if (answer == 'n' || answer == 'N') options.SmoothMeshes = false;
    }

    OutputStream file(outputName);
    // Compresses into the file as the text comes; built either way, it
    // holds nothing until it begins.
    GzipSink gzip(file);
    OutputSink& output = compressed ? static_cast<OutputSink&>(gzip) : file;
    ImageFiles images(outputName);
    const ConversionResult result =
        converter.Convert({DocumentInput::Named(input, request.BatchMatch), options, outputName, {}}, output,
                          &request.Progress, options.Faithful ? &images : nullptr);
    // A document read to its end that has nothing to convert is a parse
    // that went through.
    const bool parsed = result.Written() || result.Refusal->Kind() == ErrorKind::kNothingToConvert;
    const ResultCode code = parsed ? kResultOk : kResultFailed;
    if (code == kResultParseAborted) {
        std::fprintf(console.out, "\nParse\tresult code: %08x\n\n", code);
    } else if (code != kResultOk) {
        TraceError("\nError %08lx\n\n", code);
    }
    std::fflush(console.out);
    if (result.Refusal) Report(console, input, result.Refusal->Message());
    for (const ConversionError& warning : result.Warnings) Report(console, input, "warning: " + warning.Message());
    return result;
}

int RunConverter(const std::vector<std::string>& args, const ConsoleStreams& console) {
    if (args.size() < 2) {
        PrintUsage(console.out);
        return 0;
    }
    RemoveTemporaryFileOnSignals();
    DocumentConverter converter;
    ResultCode result = converter.Attach();
    if (!IsGood(result)) {
        TraceError("\nError %08lx\n\n", result);
        return static_cast<int>(result);
    }

    ConversionOptions options;
    const CommandLine line = ApplyArguments(args, options);
    for (const std::string& unknown : line.UnknownLongOptions) Report(console, unknown, "unknown option, passed over");
    if (line.Positional.empty()) {
        if (line.Help) {
            PrintHelp(console.out);
        } else if (line.Version) {
            PrintVersion(console.out);
        } else {
            PrintUsage(console.out);
        }
        return 0;
    }
    if (line.Help) Report(console, "--help", "passed over: it applies only without an input");
    if (line.Version) Report(console, "--version", "passed over: it applies only without an input");
    const std::string& inputName = line.Positional[0];
    const std::string outputName = line.Positional.size() > 1 ? line.Positional[1] : std::string();
    ConsoleProgress progress(console.out);
    const auto convert = [&](const std::string& input, const std::string& output, bool batchMatch) {
        ConvertFile(converter, {.Input = input,
                                .Output = output,
                                .BatchMatch = batchMatch,
                                .WarnOnLargeFile = line.WarnOnLargeFile,
                                .Options = options,
                                .Console = console,
                                .Progress = progress});
    };

    if (inputName.find_first_of("*%") != std::string::npos) {
        std::string failure;
        const std::vector<std::string> matches = FindMatchingFiles(inputName, &failure);
        if (matches.empty()) {
            std::fputs("No\tmatching files found\n", console.out);
            std::fflush(console.out);
            Report(console, inputName, NoMatchReason(inputName, failure));
            return 0;
        }
        // One output name cannot serve a whole batch; a directory can.
        const std::string batchOutput = IsDirectory(outputName) ? outputName : std::string();
        for (const std::string& match : matches) convert(match, batchOutput, true);
    } else {
        convert(inputName, outputName, false);
    }

    result = converter.Detach();
    if (!IsGood(result)) {
        TraceError("\nError %08lx\n\n", result);
        return static_cast<int>(result);
    }
    return 0;
}

}  // namespace morvane
