#include "archive/zip_archive.h"

#include <minizip/unzip.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace morvane::archive {

namespace {

constexpr std::size_t kReadBuffer = std::size_t{1} << 16;
// The end record of the directory, without a comment.
constexpr std::uint64_t kEmptyArchiveBytes = 22;

ConversionError ArchiveError(const std::string& message) { return ConversionError(ErrorKind::kBadArchive, message); }

class Memory final : public ByteSource {
public:
    explicit Memory(std::string_view bytes) : bytes_(bytes) {}
    std::uint64_t Size() const override { return bytes_.size(); }
    std::int64_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) override {
        if (offset >= bytes_.size()) return 0;
        const std::size_t n = std::min<std::uint64_t>(size, bytes_.size() - offset);
        std::memcpy(buffer, bytes_.data() + offset, n);
        return static_cast<std::int64_t>(n);
    }

private:
    std::string_view bytes_;
};

class Descriptor final : public ByteSource {
public:
    Descriptor(int descriptor, std::uint64_t size) : descriptor_(descriptor), size_(size), buffer_(kReadBuffer) {}
    std::uint64_t Size() const override { return size_; }
    std::int64_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) override {
        auto* out = static_cast<char*>(buffer);
        std::size_t done = 0;
        while (done < size) {
            const std::uint64_t at = offset + done;
            if (at >= start_ && at < start_ + filled_) {
                const std::size_t n = std::min<std::uint64_t>(size - done, start_ + filled_ - at);
                std::memcpy(out + done, buffer_.data() + (at - start_), n);
                done += n;
                continue;
            }
            // Large reads (inflating an entry) go straight to the caller.
            const bool direct = size - done >= buffer_.size();
            char* target = direct ? out + done : buffer_.data();
            const std::size_t want = direct ? size - done : buffer_.size();
            ssize_t got;
            do {
                got = pread(descriptor_, target, want, static_cast<off_t>(at));
            } while (got < 0 && errno == EINTR);
            if (got < 0) return done > 0 ? static_cast<std::int64_t>(done) : -1;
            if (got == 0) break;
            if (direct) {
                done += static_cast<std::size_t>(got);
            } else {
                start_ = at;
                filled_ = static_cast<std::size_t>(got);
            }
        }
        return static_cast<std::int64_t>(done);
    }

private:
    int descriptor_;
    std::uint64_t size_;
    std::vector<char> buffer_;
    std::uint64_t start_ = 0;
    std::size_t filled_ = 0;
};

// minizip's I/O over a ByteSource: the "file name" it opens is the source
// itself, and the stream is a position in it.
struct Stream {
    ByteSource* Source;
    std::uint64_t Position = 0;
    bool Error = false;
};

voidpf OpenStream(voidpf, const void* source, int) {
    return new (std::nothrow) Stream{static_cast<ByteSource*>(const_cast<void*>(source))};
}

uLong ReadStream(voidpf, voidpf opaque, void* buffer, uLong size) {
    auto* stream = static_cast<Stream*>(opaque);
    const std::int64_t got = stream->Source->ReadAt(stream->Position, buffer, size);
    if (got < 0) {
        stream->Error = true;
        return 0;
    }
    stream->Position += static_cast<std::uint64_t>(got);
    return static_cast<uLong>(got);
}

uLong WriteStream(voidpf, voidpf, const void*, uLong) { return 0; }

ZPOS64_T TellStream(voidpf, voidpf opaque) { return static_cast<Stream*>(opaque)->Position; }

long SeekStream(voidpf, voidpf opaque, ZPOS64_T offset, int origin) {
    auto* stream = static_cast<Stream*>(opaque);
    const std::uint64_t size = stream->Source->Size();
    std::uint64_t base = 0;
    if (origin == ZLIB_FILEFUNC_SEEK_CUR) base = stream->Position;
    if (origin == ZLIB_FILEFUNC_SEEK_END) base = size;
    if (offset > UINT64_MAX - base || base + offset > size) return -1;
    stream->Position = base + offset;
    return 0;
}

int CloseStream(voidpf, voidpf opaque) {
    delete static_cast<Stream*>(opaque);
    return 0;
}

int StreamError(voidpf, voidpf opaque) { return static_cast<Stream*>(opaque)->Error ? 1 : 0; }

// Unix file types in the upper half of the external attributes, when the
// entry was made on a system that keeps them.
constexpr unsigned kMadeOnUnix = 3;
constexpr unsigned long kFileTypeMask = 0170000;
constexpr unsigned long kSymbolicLink = 0120000;

// A name that could lead out of a folder it is extracted into: absolute,
// with a drive letter, with a ".." part, or with a NUL in it.
bool UnsafeName(std::string_view name) {
    if (name.empty()) return true;
    if (name.front() == '/') return true;
    if (name.size() >= 2 && name[1] == ':') return true;
    if (name.find('\0') != std::string_view::npos) return true;
    std::size_t start = 0;
    while (start <= name.size()) {
        std::size_t end = name.find('/', start);
        if (end == std::string_view::npos) end = name.size();
        if (name.substr(start, end - start) == "..") return true;
        start = end + 1;
    }
    return false;
}

}  // namespace

std::string SizeText(std::uint64_t bytes) {
    constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;
    if (bytes >= kMiB && bytes % kMiB == 0) return std::to_string(bytes / kMiB) + " MiB";
    return std::to_string(bytes) + " bytes";
}

bool LooksLikeZip(std::string_view head) {
    return head.starts_with(std::string_view("PK\x03\x04", 4)) || head.starts_with(std::string_view("PK\x05\x06", 4));
}

std::uint64_t MostDocumentBytes(std::uint64_t archiveBytes) {
    if (archiveBytes > UINT64_MAX / kDocumentInflation) return UINT64_MAX;
    return std::max(kDocumentFloorBytes, kDocumentInflation * archiveBytes);
}

std::unique_ptr<ByteSource> MemorySource(std::string_view bytes) { return std::make_unique<Memory>(bytes); }

std::unique_ptr<ByteSource> DescriptorSource(int descriptor, std::uint64_t size) {
    return std::make_unique<Descriptor>(descriptor, size);
}

std::optional<std::string> NormalizeEntryPath(std::string_view path) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string_view::npos) end = path.size();
        const std::string_view part = path.substr(start, end - start);
        if (part == "..") {
            if (parts.empty()) return std::nullopt;
            parts.pop_back();
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        start = end + 1;
    }
    std::string joined;
    for (const std::string_view part : parts) {
        if (!joined.empty()) joined += '/';
        joined += part;
    }
    return joined;
}

ZipArchive::ZipArchive(std::unique_ptr<ByteSource> source) : source_(std::move(source)), size_(source_->Size()) {
    zlib_filefunc64_def io{};
    io.zopen64_file = &OpenStream;
    io.zread_file = &ReadStream;
    io.zwrite_file = &WriteStream;
    io.ztell64_file = &TellStream;
    io.zseek64_file = &SeekStream;
    io.zclose_file = &CloseStream;
    io.zerror_file = &StreamError;
    // An archive of no entries is its end record alone, which minizip does
    // not look for at the very start.
    char head[4] = {};
    if (source_->ReadAt(0, head, sizeof head) == 4 && std::string_view(head, 4) == std::string_view("PK\x05\x06", 4) &&
        size_ == kEmptyArchiveBytes) {
        return;
    }
    handle_ = unzOpen2_64(source_.get(), &io);
    if (handle_ == nullptr) throw ArchiveError("not a readable zip archive (truncated or corrupt)");
    try {
        int status = unzGoToFirstFile(handle_);
        std::string name;
        std::uint64_t number = 0;
        while (status == UNZ_OK) {
            if (number == kMostEntries) {
                throw ArchiveError("zip archive with more than " + std::to_string(kMostEntries) + " entries");
            }
            unz_file_info64 info{};
            if (unzGetCurrentFileInfo64(handle_, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) break;
            name.assign(info.size_filename, '\0');
            if (unzGetCurrentFileInfo64(handle_, &info, name.data(), static_cast<uLong>(name.size() + 1), nullptr, 0,
                                        nullptr, 0) != UNZ_OK) {
                break;
            }
            std::replace(name.begin(), name.end(), '\\', '/');
            if (UnsafeName(name)) throw ArchiveError("zip archive entry with an unsafe name: " + name);
            if ((info.version >> 8) == kMadeOnUnix && ((info.external_fa >> 16) & kFileTypeMask) == kSymbolicLink) {
                throw ArchiveError("zip archive entry that is a symbolic link: " + name);
            }
            if ((info.flag & 1) != 0) throw ArchiveError("zip archive entry that is encrypted: " + name);
            unz64_file_pos position{};
            unzGetFilePos64(handle_, &position);
            if (name.back() != '/') {
                entries_.push_back(Entry{name, info.uncompressed_size, position.pos_in_zip_directory, position.num_of_file});
            }
            ++number;
            status = unzGoToNextFile(handle_);
        }
        // An archive of 65535 entries or more without the 64-bit directory
        // fields ends where the next entry cannot be read.
        constexpr std::uint64_t kCountField = 0xffff;
        if (status != UNZ_END_OF_LIST_OF_FILE && !(status == UNZ_BADZIPFILE && number >= kCountField)) {
            throw ArchiveError("corrupt zip archive: its directory cannot be read");
        }
        byName_.reserve(entries_.size());
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            if (!byName_.emplace(entries_[i].Name, i).second) {
                warnings_.emplace_back(ErrorKind::kBadArchive,
                                       "zip archive holds " + entries_[i].Name + " more than once: the first is read");
            }
        }
    } catch (...) {
        unzClose(handle_);
        handle_ = nullptr;
        throw;
    }
}

ZipArchive::~ZipArchive() {
    if (open_ != nullptr) unzCloseCurrentFile(handle_);
    if (handle_ != nullptr) unzClose(handle_);
}

const Entry* ZipArchive::Find(std::string_view name) const {
    const auto found = byName_.find(name);
    return found == byName_.end() ? nullptr : &entries_[found->second];
}

void ZipArchive::Open(const Entry& entry) {
    if (open_ != nullptr) {
        unzCloseCurrentFile(handle_);
        open_ = nullptr;
    }
    unz64_file_pos position{entry.DirectoryOffset, entry.Number};
    if (handle_ == nullptr || unzGoToFilePos64(handle_, &position) != UNZ_OK || unzOpenCurrentFile(handle_) != UNZ_OK) {
        throw ArchiveError("zip archive entry " + entry.Name + " cannot be read (corrupt, or compressed by another "
                           "method than deflate)");
    }
    open_ = &entry;
    atEnd_ = false;
}

std::size_t ZipArchive::Read(char* buffer, std::size_t size) {
    if (open_ == nullptr || atEnd_) return 0;
    const unsigned want = static_cast<unsigned>(std::min<std::size_t>(size, INT_MAX));
    const int got = unzReadCurrentFile(handle_, buffer, want);
    if (got < 0) {
        const std::string name = open_->Name;
        Close();
        throw ArchiveError("zip archive entry " + name + " is corrupt (it cannot be inflated)");
    }
    if (got == 0) atEnd_ = true;
    return static_cast<std::size_t>(got);
}

void ZipArchive::Close() {
    if (open_ == nullptr) return;
    const Entry* entry = open_;
    open_ = nullptr;
    const int status = unzCloseCurrentFile(handle_);
    if (atEnd_ && status == UNZ_CRCERROR) {
        throw ArchiveError("zip archive entry " + entry->Name + " is corrupt (its checksum does not match)");
    }
}

bool ZipArchive::ReadWhole(const Entry& entry, std::uint64_t limit, std::string& bytes, std::string& reason) {
    bytes.clear();
    const std::string tooLarge = "it inflates to more than " + SizeText(limit);
    // The directory's word is checked first and the inflated bytes after:
    // either may lie.
    if (entry.Size > limit) {
        reason = tooLarge;
        return false;
    }
    try {
        Open(entry);
        bytes.reserve(static_cast<std::size_t>(entry.Size));
        char piece[kReadBuffer];
        while (const std::size_t got = Read(piece, sizeof piece)) {
            if (bytes.size() + got > limit) {
                Close();
                bytes.clear();
                reason = tooLarge;
                return false;
            }
            bytes.append(piece, got);
        }
        Close();
    } catch (const ConversionError& error) {
        bytes.clear();
        reason = error.Message();
        return false;
    }
    return true;
}

}  // namespace morvane::archive
