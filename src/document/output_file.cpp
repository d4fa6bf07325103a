#include "document/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

namespace morvane {

namespace {

std::string DirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

std::string BaseOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The file that a symbolic link finally points to; the name itself when it
// is no link. A dangling link yields its target, which is then created.
std::string FollowLinks(const std::string& path) {
    std::string current = path;
    for (int hops = 0; hops < 40; ++hops) {
        struct stat status {};
        if (lstat(current.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return current;
        std::vector<char> buffer(static_cast<std::size_t>(status.st_size > 0 ? status.st_size : PATH_MAX) + 1);
        const ssize_t length = readlink(current.c_str(), buffer.data(), buffer.size() - 1);
        if (length < 0) return current;
        std::string target(buffer.data(), static_cast<std::size_t>(length));
        current = (!target.empty() && target[0] == '/') ? target : DirectoryOf(current) + "/" + target;
    }
    return current;
}

mode_t CreationMode() {
    // The mode that a plain fopen would give a new file.
    static const mode_t mode = [] {
        const mode_t mask = umask(0);
        umask(mask);
        return static_cast<mode_t>(0666 & ~mask);
    }();
    return mode;
}

}  // namespace

OutputStream::~OutputStream() { Abandon(); }

bool OutputStream::Open(const std::string& target) {
    Abandon();
    if (target.empty()) return false;
    const std::string real = FollowLinks(target);
    struct stat status {};
    const bool exists = stat(real.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) return false;

    if (exists && !S_ISREG(status.st_mode)) {
        // A FIFO or a device has no directory entry worth protecting.
        file_ = std::fopen(real.c_str(), "w");
        target_ = real;
        temporary_.clear();
        return file_ != nullptr;
    }

    std::string pattern = DirectoryOf(real) + "/." + BaseOf(real) + ".part-XXXXXX";
    const int descriptor = mkstemp(pattern.data());
    if (descriptor < 0) return false;
    fchmod(descriptor, exists ? (status.st_mode & 07777) : CreationMode());
    file_ = fdopen(descriptor, "w");
    if (file_ == nullptr) {
        close(descriptor);
        unlink(pattern.c_str());
        return false;
    }
    target_ = real;
    temporary_ = pattern;
    return true;
}

bool OutputStream::OpenInMemory() {
    Abandon();
    text_.clear();
    file_ = open_memstream(&memory_, &memorySize_);
    inMemory_ = file_ != nullptr;
    return inMemory_;
}

bool OutputStream::Close() {
    if (file_ == nullptr) return false;
    bool good = std::fflush(file_) == 0 && !std::ferror(file_);
    good = (std::fclose(file_) == 0) && good;
    file_ = nullptr;
    if (inMemory_) {
        if (good) text_.assign(memory_, memorySize_);
        ReleaseMemory();
        return good;
    }
    if (!temporary_.empty()) {
        if (good) good = std::rename(temporary_.c_str(), target_.c_str()) == 0;
        if (!good) unlink(temporary_.c_str());
        temporary_.clear();
    }
    return good;
}

void OutputStream::Abandon() {
    if (file_ == nullptr) return;
    std::fclose(file_);
    file_ = nullptr;
    if (inMemory_) {
        ReleaseMemory();
        return;
    }
    if (!temporary_.empty()) unlink(temporary_.c_str());
    temporary_.clear();
}

void OutputStream::ReleaseMemory() {
    std::free(memory_);
    memory_ = nullptr;
    memorySize_ = 0;
    inMemory_ = false;
}

bool CanWriteOutput(const std::string& target) {
    if (target.empty()) return false;
    const std::string real = FollowLinks(target);
    struct stat status {};
    if (stat(real.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) return false;
        if (!S_ISREG(status.st_mode)) return access(real.c_str(), W_OK) == 0;
    }
    const std::string directory = DirectoryOf(real);
    struct stat directoryStatus {};
    return stat(directory.c_str(), &directoryStatus) == 0 && S_ISDIR(directoryStatus.st_mode) &&
           access(directory.c_str(), W_OK | X_OK) == 0;
}

bool IsSameFile(const std::string& a, const std::string& b) {
    struct stat first {};
    struct stat second {};
    if (stat(a.c_str(), &first) != 0 || stat(b.c_str(), &second) != 0) return false;
    return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace morvane
