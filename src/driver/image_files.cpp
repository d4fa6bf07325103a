#include "driver/image_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace morvane {

namespace {

enum class Slot { Free, Same, Taken };

// Whether `name` in the folder `folder` is free, holds exactly `bytes`, or
// is taken by anything else (a link, a directory, other bytes).
Slot Examine(int folder, const std::string& name, std::string_view bytes) {
    struct stat status {};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT ? Slot::Free : Slot::Taken;
    }
    if (!S_ISREG(status.st_mode) || static_cast<std::uint64_t>(status.st_size) != bytes.size()) return Slot::Taken;
    const int fd = openat(folder, name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0) return Slot::Taken;
    std::string content(bytes.size(), '\0');
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t got = read(fd, content.data() + done, content.size() - done);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    char more;
    const bool longer = read(fd, &more, 1) > 0;
    close(fd);
    return done == bytes.size() && !longer && content == bytes ? Slot::Same : Slot::Taken;
}

// Creates a file that did not exist and writes it whole; errno on failure
// (EEXIST when the name was taken meanwhile).
int Create(int folder, const std::string& name, std::string_view bytes) {
    const int fd = openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (fd < 0) return errno;
    std::size_t done = 0;
    int error = 0;
    while (done < bytes.size()) {
        const ssize_t wrote = write(fd, bytes.data() + done, bytes.size() - done);
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote <= 0) {
            error = wrote < 0 ? errno : EIO;
            break;
        }
        done += static_cast<std::size_t>(wrote);
    }
    if (close(fd) != 0 && error == 0) error = errno;
    if (error != 0) unlinkat(folder, name.c_str(), 0);
    return error;
}

struct Folder {
    int fd = -1;
    ~Folder() {
        if (fd >= 0) close(fd);
    }
};

// Opens the folder that `name` goes in, below `root`: for a name with
// folders in it ("model_files/maps/wood.png") they are made as needed, each
// a real folder (a link is never followed). `name` becomes its last part.
// errno on failure; EINVAL for a name with an empty, "." or ".." part, or
// an absolute one, which could lead elsewhere.
int OpenFolderOf(const std::string& root, std::string& name, Folder& folder) {
    // Every part is looked at before any folder is made.
    for (std::size_t start = 0; start <= name.size();) {
        const std::size_t slash = std::min(name.find('/', start), name.size());
        const std::string_view part = std::string_view(name).substr(start, slash - start);
        if (part.empty() || part == "." || part == "..") return EINVAL;
        start = slash + 1;
    }
    folder.fd = open(root.empty() ? "." : root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder.fd < 0) return errno;
    std::size_t start = 0;
    while (true) {
        const std::size_t slash = name.find('/', start);
        const std::string part = name.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (slash == std::string::npos) {
            name = part;
            return 0;
        }
        if (mkdirat(folder.fd, part.c_str(), 0777) != 0 && errno != EEXIST) return errno;
        const int inner = openat(folder.fd, part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (inner < 0) return errno == ELOOP ? ENOTDIR : errno;
        close(folder.fd);
        folder.fd = inner;
        start = slash + 1;
    }
}

}  // namespace

ImageFiles::ImageFiles(std::string output) {
    const std::size_t slash = output.rfind('/');
    if (slash != std::string::npos) folder_ = output.substr(0, slash + 1);
}

bool ImageFiles::PutImage(const std::string& name, std::string_view bytes, std::string& reason) {
    std::string placed = name;
    if (!PlaceImage(placed, bytes, reason)) return false;
    if (placed == name) return true;
    reason = "cannot write " + folder_ + name + ": the name is taken";
    return false;
}

bool ImageFiles::PlaceImage(std::string& name, std::string_view bytes, std::string& reason) {
    std::string leaf = name;
    Folder folder;
    if (const int error = OpenFolderOf(folder_, leaf, folder); error != 0) {
        reason = "cannot write " + folder_ + name + ": " + std::strerror(error);
        return false;
    }
    const std::string inner = name.substr(0, name.size() - leaf.size());
    const std::size_t dot = leaf.rfind('.');
    const std::string stem = dot == std::string::npos || dot == 0 ? leaf : leaf.substr(0, dot);
    const std::string extension = dot == std::string::npos || dot == 0 ? std::string() : leaf.substr(dot);
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const std::string candidate = attempt == 0 ? leaf : stem + "-" + std::to_string(attempt) + extension;
        const Slot slot = Examine(folder.fd, candidate, bytes);
        if (slot == Slot::Same) {
            name = inner + candidate;
            return true;
        }
        if (slot == Slot::Taken) continue;
        const int error = Create(folder.fd, candidate, bytes);
        if (error == 0) {
            name = inner + candidate;
            return true;
        }
        if (error == EEXIST) continue;
        reason = "cannot write " + folder_ + inner + candidate + ": " + std::strerror(error);
        return false;
    }
    reason = "cannot write " + folder_ + name + ": every name tried is taken";
    return false;
}

}  // namespace morvane
