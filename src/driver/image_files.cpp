#include "driver/image_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

namespace morvane {

namespace {

enum class Slot { Free, Same, Taken };

// Whether `path` is free, holds exactly `bytes`, or is taken by anything
// else (a link, a directory, other bytes).
Slot Examine(const std::string& path, std::string_view bytes) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return errno == ENOENT ? Slot::Free : Slot::Taken;
    if (!S_ISREG(status.st_mode) || static_cast<std::uint64_t>(status.st_size) != bytes.size()) return Slot::Taken;
    std::ifstream file(path, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return file.bad() || content != bytes ? Slot::Taken : Slot::Same;
}

// Creates a file that did not exist and writes it whole; errno on failure
// (EEXIST when the name was taken meanwhile).
int Create(const std::string& path, std::string_view bytes) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
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
    if (error != 0) unlink(path.c_str());
    return error;
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
    const std::size_t dot = name.rfind('.');
    const std::string stem = dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
    const std::string extension = dot == std::string::npos || dot == 0 ? std::string() : name.substr(dot);
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const std::string candidate = attempt == 0 ? name : stem + "-" + std::to_string(attempt) + extension;
        const std::string path = folder_ + candidate;
        const Slot slot = Examine(path, bytes);
        if (slot == Slot::Same) {
            name = candidate;
            return true;
        }
        if (slot == Slot::Taken) continue;
        const int error = Create(path, bytes);
        if (error == 0) {
            name = candidate;
            return true;
        }
        if (error == EEXIST) continue;
        reason = "cannot write " + path + ": " + std::strerror(error);
        return false;
    }
    reason = "cannot write " + folder_ + name + ": every name tried is taken";
    return false;
}

}  // namespace morvane
