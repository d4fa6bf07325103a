// The output file of one document, the sink that writers' text reaches
// when the output is a file. A file is written beside its target under a
// temporary name and renamed over the target only when all of it was
// written; a failed write leaves any earlier file of that name as it was.
// A target that exists and is not a regular file (a FIFO, a device) is
// written directly, once it is sure to be the file that was examined; a
// FIFO that nobody reads is refused rather than waited for. A target that
// is the file of standard output or standard error, under any name, is
// written through that descriptor; the file of standard input is refused.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>
#include <utility>

#include "support/conversion_error.h"
#include "support/text_output.h"

namespace morvane {

// "cannot write NAME: <the system's reason>".
std::string CannotWrite(const std::string& name, int error);

// Where an output name leads.
struct OutputTarget {
    // The file that receives the text, after every symbolic link.
    std::string Path;
    // Whether a symbolic link was followed to reach Path.
    bool ThroughLink = false;
    // The open descriptor that receives the text: 1 or 2 for the file of
    // standard output or error whatever its name, N for /dev/fd/N and
    // /proc/self/fd/N; -1 otherwise.
    int Descriptor = -1;
    bool Exists = false;
    struct stat Status {};
    // Why the name cannot be written at all (a missing directory, a loop of
    // links, a link that is not to be followed), as the user is told;
    // empty when it can be tried.
    std::string Refusal;
};

// Follows the links of an output name. In a sticky directory that anyone
// may write (/tmp), a link is followed only when it belongs to the user or
// to the directory's owner: another user's link there could otherwise
// point the output at any file.
OutputTarget FindOutputTarget(const std::string& name);

// 0 when the user may write the target: an existing file and its
// directory, or the directory of a new one. Otherwise the errno.
int WriteAccessError(const OutputTarget& target);

// From now on, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU, SIGALRM, SIGUSR1
// and SIGUSR2 remove the temporary file being written, if any, and then end
// the program as they would have; a signal that is ignored stays ignored.
// SIGXFSZ and SIGPIPE are ignored: a write past the file size limit, or
// into a pipe whose reader left, fails and is reported like a full disk,
// and a standard output whose reader left costs no conversion.
void RemoveTemporaryFileOnSignals();

class OutputStream final : public OutputSink {
public:
    // The stream of the output name `name`, opened when it begins.
    explicit OutputStream(std::string name = {}) : name_(std::move(name)) {}
    ~OutputStream() override;
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;

    // The sink: Begin opens the stream, Take writes a piece straight to the
    // file, Commit closes it, Abandon closes it without touching the
    // target. Each throws Failure() when it fails.
    void Begin() override;
    void Take(std::string_view piece) override;
    void Commit() override;
    void Abandon() override;

    // Opens the stream for the output name `name`; false when it cannot be
    // opened.
    bool Open(const std::string& name);
    bool IsOpen() const { return descriptor_ >= 0; }
    // Closes; the target gets the text only if every write succeeded.
    // Returns whether it did.
    bool Close();
    // Why the stream could not be opened, written or closed, as the user is
    // told.
    ConversionError Failure() const;

private:
    // Opens an existing FIFO or device at target_ for writing in place.
    bool OpenInPlace(const std::string& name, const struct stat& examined);
    bool Failed() const { return error_ != 0 || !openFailure_.empty(); }
    void ForgetFailures();
    // Closes the descriptor and removes or renames the temporary file;
    // returns `good` unless one of these fails.
    bool Finish(bool good, bool keep);

    int descriptor_ = -1;
    std::string name_;
    std::string target_;
    // Whether the text goes to a temporary file (which is then renamed over
    // target_), and whether that replaces a file that existed.
    bool temporary_ = false;
    bool replacing_ = false;
    // What went wrong; the first failure stays.
    std::string openFailure_;
    int error_ = 0;
};

}  // namespace morvane
