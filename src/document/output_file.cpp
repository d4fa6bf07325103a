#include "document/output_file.h"

// GCC 12 at -O3 sees an overlapping copy in a string assigned "/" in
// FindOutputTarget, depending on how it inlines the rest of this file; a
// known false alarm.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wrestrict"
#endif

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cassert>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstring>
#include <string_view>
#include <vector>

#include "support/path_text.h"

namespace morvane {

namespace {

// As the kernel gives up on a path.
constexpr int kMostLinks = 40;

// Signals whose default action ends the program, and which a user or a
// system may send to stop a run.
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU, SIGALRM, SIGUSR1, SIGUSR2};
// Signals that stand for a failed write: ignored, so that the write fails
// with its errno (EFBIG, EPIPE) and is reported like any other.
constexpr int kWriteFailureSignals[] = {SIGXFSZ, SIGPIPE};

// The temporary file being written, if any, for the signal handler. A heap
// string, so that paths of any length work; published only while whole.
std::atomic<char*> pendingTemporary{nullptr};
static_assert(std::atomic<char*>::is_always_lock_free, "the signal handler reads it");

extern "C" void RemoveTemporaryAndEnd(int signal) {
    if (char* path = pendingTemporary.exchange(nullptr)) unlink(path);
    // SA_RESETHAND has restored the default action: the signal, blocked
    // while this runs, ends the program as soon as the handler returns.
    raise(signal);
}

// Keeps the ending signals waiting while the temporary file changes hands.
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t set;
        sigemptyset(&set);
        for (int signal : kEndingSignals) sigaddset(&set, signal);
        sigprocmask(SIG_BLOCK, &set, &previous_);
    }
    ~SignalsHeld() { sigprocmask(SIG_SETMASK, &previous_, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t previous_;
};

std::string Join(const std::string& directory, const std::string& name) {
    if (directory.empty()) return name;
    if (directory == "/") return "/" + name;
    return directory + "/" + name;
}

// The parent of a path that holds no symbolic link, found from its text.
std::string ParentOf(const std::string& path) {
    if (path.empty()) return "..";
    if (path == "/") return path;
    if (path == ".." || path.ends_with("/..")) return path + "/..";
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return "";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Pushes the components of `path` so that the first is popped first;
// empty ones and "." are left out.
void PushComponents(std::string_view path, std::vector<std::string>& pending) {
    std::vector<std::string> parts;
    for (std::size_t at = 0; at <= path.size();) {
        std::size_t end = path.find('/', at);
        if (end == std::string_view::npos) end = path.size();
        const std::string_view part = path.substr(at, end - at);
        if (!part.empty() && part != ".") parts.emplace_back(part);
        at = end + 1;
    }
    pending.insert(pending.end(), parts.rbegin(), parts.rend());
}

bool SameFile(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

// The standard descriptor (0, 1 or 2) whose file `name` is, whatever it is
// called: /dev/stdout, //dev/./stdout, /proc/thread-self/fd/1 or the log
// that the shell appends to. -1 for a name of any other file.
int StandardDescriptorOf(const std::string& name) {
    struct stat status {};
    if (name.empty() || stat(name.c_str(), &status) != 0) return -1;
    // Standard output and error first: writing where they already write is
    // harmless even when standard input is the same terminal.
    for (int descriptor : {1, 2, 0}) {
        struct stat open {};
        if (fstat(descriptor, &open) == 0 && SameFile(open, status)) return descriptor;
    }
    return -1;
}

// The descriptor that a name of an open descriptor stands for; -1 for any
// other name.
int DescriptorOfName(const std::string& name) {
    if (name == "/dev/stdout") return 1;
    if (name == "/dev/stderr") return 2;
    for (std::string_view prefix : {std::string_view("/dev/fd/"), std::string_view("/proc/self/fd/")}) {
        if (!name.starts_with(prefix) || name.size() == prefix.size()) continue;
        int descriptor = -1;
        const char* end = name.data() + name.size();
        const auto [stop, error] = std::from_chars(name.data() + prefix.size(), end, descriptor);
        if (error == std::errc() && stop == end) return descriptor;
    }
    return -1;
}

// The kernel's rule for protected symbolic links.
bool MayFollow(const std::string& directory, const struct stat& link) {
    struct stat status {};
    if (stat(directory.empty() ? "." : directory.c_str(), &status) != 0) return true;
    const bool sharedSticky = (status.st_mode & S_ISVTX) != 0 && (status.st_mode & S_IWOTH) != 0;
    return !sharedSticky || link.st_uid == geteuid() || link.st_uid == status.st_uid;
}

bool ReadLink(const std::string& path, off_t sizeHint, std::string& target) {
    std::vector<char> buffer(static_cast<std::size_t>(sizeHint > 0 ? sizeHint : PATH_MAX) + 1);
    for (;;) {
        const ssize_t length = readlink(path.c_str(), buffer.data(), buffer.size());
        if (length < 0) return false;
        if (static_cast<std::size_t>(length) < buffer.size()) {
            target.assign(buffer.data(), static_cast<std::size_t>(length));
            return true;
        }
        buffer.resize(buffer.size() * 2);  // the link grew meanwhile
    }
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

std::string CannotWrite(const std::string& name, int error) {
    return "cannot write " + name + ": " + std::strerror(error);
}

OutputTarget FindOutputTarget(const std::string& name) {
    OutputTarget target;
    auto refuse = [&](int error) {
        target.Refusal = CannotWrite(name, error);
        return target;
    };
    int descriptor = StandardDescriptorOf(name);
    if (descriptor == 0) {
        // Replacing it would destroy what the shell feeds the program.
        target.Refusal = "refused: " + name + " is the standard input";
        return target;
    }
    if (descriptor < 0) descriptor = DescriptorOfName(name);
    if (descriptor >= 0) {
        // Written through as it is: never reopened, never truncated.
        const int flags = fcntl(descriptor, F_GETFL);
        if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY) return refuse(EBADF);
        if (fstat(descriptor, &target.Status) != 0) return refuse(errno);
        target.Path = name;
        target.Descriptor = descriptor;
        target.Exists = true;
        return target;
    }
    if (name.empty()) return refuse(ENOENT);
    if (name.back() == '/') return refuse(EISDIR);

    // Walks the name one component at a time, so that a link anywhere in
    // it is seen, and what is resolved so far never holds a link.
    std::string resolved = name[0] == '/' ? "/" : "";
    std::vector<std::string> pending;
    PushComponents(name, pending);
    int links = 0;
    while (!pending.empty()) {
        const std::string part = std::move(pending.back());
        pending.pop_back();
        if (part == "..") {
            resolved = ParentOf(resolved);
            continue;
        }
        const std::string path = Join(resolved, part);
        struct stat status {};
        if (lstat(path.c_str(), &status) != 0) {
            if (errno == ENOENT && pending.empty()) {
                resolved = path;  // a new file
                break;
            }
            return refuse(errno);
        }
        if (!S_ISLNK(status.st_mode)) {
            resolved = path;
            continue;
        }
        if (++links > kMostLinks) return refuse(ELOOP);
        if (!MayFollow(resolved, status)) {
            target.Refusal = "refused: " + path + " is a symbolic link in a sticky directory, owned by someone else";
            return target;
        }
        std::string link;
        if (!ReadLink(path, status.st_size, link)) return refuse(errno);
        if (link.empty()) return refuse(ENOENT);
        if (link[0] == '/') resolved = "/";
        PushComponents(link, pending);
    }
    target.Path = resolved.empty() ? "." : resolved;
    target.ThroughLink = links > 0;
    target.Exists = lstat(target.Path.c_str(), &target.Status) == 0;
    return target;
}

int WriteAccessError(const OutputTarget& target) {
    if (target.Descriptor >= 0) return 0;
    if (target.Exists) {
        if (S_ISDIR(target.Status.st_mode)) return EISDIR;
        if (faccessat(AT_FDCWD, target.Path.c_str(), W_OK, AT_EACCESS) != 0) return errno;
        // A FIFO or a device is written in place; its directory does not matter.
        if (!S_ISREG(target.Status.st_mode)) return 0;
    }
    const std::string directory = DirectoryOf(target.Path);
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0) return errno;
    if (!S_ISDIR(status.st_mode)) return ENOTDIR;
    if (faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) != 0) return errno;
    return 0;
}

void RemoveTemporaryFileOnSignals() {
    for (int signal : kWriteFailureSignals) std::signal(signal, SIG_IGN);
    struct sigaction action {};
    action.sa_handler = &RemoveTemporaryAndEnd;
    action.sa_flags = SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    for (int signal : kEndingSignals) sigaddset(&action.sa_mask, signal);
    for (int signal : kEndingSignals) {
        struct sigaction current {};
        // nohup and background jobs ignore some of them on purpose.
        if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler == SIG_IGN) continue;
        sigaction(signal, &action, nullptr);
    }
}

OutputStream::~OutputStream() { Abandon(); }

void OutputStream::ForgetFailures() {
    openFailure_.clear();
    error_ = 0;
}

bool OutputStream::Open(const std::string& name) {
    Abandon();
    ForgetFailures();
    name_ = name;
    const OutputTarget target = FindOutputTarget(name);
    auto fail = [&](std::string reason) {
        openFailure_ = std::move(reason);
        return false;
    };
    if (!target.Refusal.empty()) return fail(target.Refusal);
    target_ = target.Path;

    int descriptor = -1;
    if (target.Descriptor >= 0) {
        descriptor = fcntl(target.Descriptor, F_DUPFD_CLOEXEC, 3);
    } else if (target.Exists && S_ISDIR(target.Status.st_mode)) {
        return fail(CannotWrite(name, EISDIR));
    } else if (target.Exists && !S_ISREG(target.Status.st_mode)) {
        // A FIFO or a device has no directory entry worth protecting: it is
        // written in place, so it must be the very file that was examined.
        return OpenInPlace(name, target.Status);
    } else {
        // A short name of fixed length, so that any name the file system
        // takes for the target works.
        const std::string pattern = DirectoryOf(target_) + "/.morvane-XXXXXX";
        auto path = std::make_unique<char[]>(pattern.size() + 1);
        std::memcpy(path.get(), pattern.c_str(), pattern.size() + 1);
        const SignalsHeld held;
        descriptor = mkostemp(path.get(), O_CLOEXEC);
        if (descriptor >= 0) {
            // The signal handler knows of one temporary file at a time.
            assert(pendingTemporary.load() == nullptr);
            pendingTemporary.store(path.release());
            temporary_ = true;
            replacing_ = target.Exists;
            if (replacing_) {
                // The owner first: a change of owner clears the set-id bits.
                // Who may not give the file away may still keep its group.
                const struct stat& earlier = target.Status;
                if (fchown(descriptor, earlier.st_uid, earlier.st_gid) != 0) {
                    [[maybe_unused]] const int kept = fchown(descriptor, static_cast<uid_t>(-1), earlier.st_gid);
                }
                fchmod(descriptor, target.Status.st_mode & 07777);
            } else {
                fchmod(descriptor, CreationMode());
            }
        }
    }
    if (descriptor < 0) return fail(CannotWrite(name, errno));
    descriptor_ = descriptor;
    return true;
}

bool OutputStream::OpenInPlace(const std::string& name, const struct stat& examined) {
    auto fail = [&](std::string reason) {
        openFailure_ = std::move(reason);
        return false;
    };
    const std::string changed = "cannot write " + name + ": it was replaced while it was being opened";
    // Not through a link that took its place, and without waiting for a
    // reader of a FIFO, which may never come.
    const int descriptor = open(target_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor < 0) {
        if (errno == ELOOP) return fail(changed);
        if (errno == ENXIO && S_ISFIFO(examined.st_mode)) return fail("cannot write " + name + ": no process reads it");
        return fail(CannotWrite(name, errno));
    }
    struct stat opened {};
    if (fstat(descriptor, &opened) != 0 || !SameFile(opened, examined) ||
        (opened.st_mode & S_IFMT) != (examined.st_mode & S_IFMT)) {
        close(descriptor);
        return fail(changed);
    }
    // The writes wait for a slow reader like those of any other file.
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags < 0 || fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) != 0) {
        const int error = errno;
        close(descriptor);
        return fail(CannotWrite(name, error));
    }
    descriptor_ = descriptor;
    return true;
}

void OutputStream::Begin() {
    if (!Open(name_)) throw Failure();
}

void OutputStream::Take(std::string_view piece) {
    if (descriptor_ < 0 || Failed()) throw Failure();
    for (std::size_t done = 0; done < piece.size();) {
        const ssize_t wrote = write(descriptor_, piece.data() + done, piece.size() - done);
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote <= 0) {
            error_ = wrote < 0 ? errno : EIO;
            throw Failure();
        }
        done += static_cast<std::size_t>(wrote);
    }
}

void OutputStream::Commit() {
    if (!Close()) throw Failure();
}

bool OutputStream::Close() {
    if (descriptor_ < 0) return false;
    bool good = !Failed();
    // Before the rename, so that no crash can leave an empty file where an
    // earlier one was.
    if (good && temporary_ && replacing_ && fsync(descriptor_) != 0) {
        error_ = errno;
        good = false;
    }
    if (!good && !Failed()) error_ = EIO;
    return Finish(good, good);
}

void OutputStream::Abandon() {
    if (descriptor_ < 0) return;
    Finish(false, false);
}

bool OutputStream::Finish(bool good, bool keep) {
    if (descriptor_ >= 0 && close(descriptor_) != 0 && good) {
        error_ = errno;
        good = keep = false;
    }
    descriptor_ = -1;
    if (temporary_) {
        const SignalsHeld held;
        std::unique_ptr<char[]> path(pendingTemporary.exchange(nullptr));
        if (keep && std::rename(path.get(), target_.c_str()) != 0) {
            error_ = errno;
            good = keep = false;
        }
        if (!keep) unlink(path.get());
        temporary_ = false;
    }
    return good;
}

ConversionError OutputStream::Failure() const {
    if (!openFailure_.empty()) return ConversionError(ErrorKind::kCannotWrite, openFailure_);
    return ConversionError(ErrorKind::kCannotWrite, CannotWrite(name_, error_ != 0 ? error_ : EIO));
}

}  // namespace morvane
