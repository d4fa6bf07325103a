// The output file of one document. A file is written beside its target
// under a temporary name and renamed over the target only when all of it
// was written; a failed write leaves any earlier file of that name as it
// was. A target that exists and is not a regular file (a FIFO, a device)
// is written directly, once it is sure to be the file that was examined; a
// FIFO that nobody reads is refused rather than waited for. A target that
// is the file of standard output or standard error, under any name, is
// written through that descriptor; the file of standard input is refused.
// A stream opened in memory touches no file: its text is kept for
// TakeText. Every stream takes at most a set number of bytes.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <utility>

namespace morvane {

// Thrown by a writer whose stream has failed (a full disk, the output
// limit); the document writer turns it into the refusal of the document.
struct WriteFailed {};

// Throws WriteFailed once a write to `stream` has failed. Writers of bulk
// output call it once a round, so that a failed output ends the
// conversion at once instead of formatting the rest for nothing.
void ThrowIfWriteFailed(std::FILE* stream);

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

class OutputStream {
public:
    OutputStream() = default;
    ~OutputStream();
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;

    // The most bytes that the streams opened from now on may take; a write
    // beyond fails.
    void SetLimit(std::uint64_t bytes) { limit_ = bytes; }
    // Opens the stream for the output name `name`; false when it cannot be
    // opened.
    bool Open(const std::string& name);
    // Opens the stream on a buffer of its own instead of a file.
    bool OpenInMemory();
    bool IsOpen() const { return file_ != nullptr; }
    std::FILE* Get() const { return file_; }
    // Flushes and closes; the target gets the text only if every write
    // succeeded. Returns whether it did.
    bool Close();
    // Closes without touching the target.
    void Abandon();
    // The text of the last in-memory stream that closed well, moved out.
    std::string TakeText() { return std::move(text_); }
    // Why the stream could not be opened, written or closed, as the user is
    // told.
    std::string Failure() const;

private:
    static ssize_t Deliver(void* cookie, const char* data, std::size_t size);
    // Opens an existing FIFO or device at target_ for writing in place.
    bool OpenInPlace(const std::string& name, const struct stat& examined);
    bool Attach(int descriptor);
    bool Failed() const { return error_ != 0 || overLimit_ || !openFailure_.empty(); }
    void ForgetFailures();
    // Closes the descriptor and removes or renames the temporary file;
    // returns `good` unless one of these fails.
    bool Finish(bool good, bool keep);

    std::FILE* file_ = nullptr;
    int descriptor_ = -1;
    std::unique_ptr<char[]> buffer_;
    std::string name_;
    std::string target_;
    // Whether the text goes to a temporary file (which is then renamed over
    // target_), and whether that replaces a file that existed.
    bool temporary_ = false;
    bool replacing_ = false;
    bool inMemory_ = false;
    std::string text_;
    std::uint64_t limit_ = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t delivered_ = 0;
    // What went wrong; the first failure stays.
    std::string openFailure_;
    int error_ = 0;
    bool overLimit_ = false;
};

}  // namespace morvane
