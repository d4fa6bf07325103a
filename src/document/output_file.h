// The output file of one document. A file is written beside its target
// under a temporary name and renamed over the target only when all of it
// was written; a failed write leaves any earlier file of that name as it
// was. A target that exists and is not a regular file (a FIFO, a device)
// is written directly. A stream opened in memory touches no file: its
// text is kept for TakeText.
#pragma once

#include <cstdio>
#include <string>
#include <utility>

namespace morvane {

class OutputStream {
public:
    OutputStream() = default;
    ~OutputStream();
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;

    // Opens the stream for `target`; false when it cannot be opened.
    bool Open(const std::string& target);
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

private:
    void ReleaseMemory();

    std::FILE* file_ = nullptr;
    std::string target_;
    std::string temporary_;  // empty when writing directly
    // Owned by the stream of open_memstream while it is open; ours after.
    char* memory_ = nullptr;
    std::size_t memorySize_ = 0;
    bool inMemory_ = false;
    std::string text_;
};

// Whether a file of this name could be opened for writing: its directory
// exists and is writable, and the name is neither empty nor a directory.
bool CanWriteOutput(const std::string& target);

// Whether two names denote the same existing file, whatever the paths.
bool IsSameFile(const std::string& a, const std::string& b);

}  // namespace morvane
