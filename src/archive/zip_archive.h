// A zip archive read in place: from a file descriptor or from bytes in
// memory, never copied whole. Its directory is read once into an index of
// the entries by name; an entry is then read as a stream, inflated piece by
// piece, or whole under a size limit. Archives that could make a reader
// write or look outside them are refused as a whole when opened: entry
// names with ".." or an absolute path, symbolic links, encrypted entries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "support/conversion_error.h"

namespace morvane::archive {

// The first bytes of a zip archive: a local file header, or the end of the
// directory of an empty archive.
bool LooksLikeZip(std::string_view head);

// An archive holding more entries than this is refused: its index alone
// would cost more than any model needs (a model with its images has a few
// hundred at most).
inline constexpr std::size_t kMostEntries = 100000;

// "64 MiB" for a whole number of MiB, "1000 bytes" otherwise.
std::string SizeText(std::uint64_t bytes);

// A document entry may inflate to at most this many times the archive's
// size, and never need be smaller than kDocumentFloorBytes: real COLLADA
// documents deflate to between a third and a twentieth of their size, and
// a decompression bomb (a thousandfold) is stopped long before its end.
inline constexpr std::uint64_t kDocumentInflation = 50;
inline constexpr std::uint64_t kDocumentFloorBytes = std::uint64_t{64} << 20;
std::uint64_t MostDocumentBytes(std::uint64_t archiveBytes);

// An image entry that inflates to more than this is not extracted (with a
// warning): textures of models are a few megabytes, and an image is read
// whole before it is written.
inline constexpr std::uint64_t kMostImageEntryBytes = std::uint64_t{64} << 20;

// Where an archive's bytes are read from.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t Size() const = 0;
    // Reads up to `size` bytes at `offset`; how many were read, 0 past the
    // end, -1 on a read error.
    virtual std::int64_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) = 0;
};

// Bytes that outlive the archive.
std::unique_ptr<ByteSource> MemorySource(std::string_view bytes);
// An open file; the descriptor stays the caller's. Reads go through a small
// buffer, since the directory is read a few bytes at a time.
std::unique_ptr<ByteSource> DescriptorSource(int descriptor, std::uint64_t size);

struct Entry {
    // '/'-separated (a backslash counts as a separator), as stored otherwise.
    std::string Name;
    std::uint64_t Size = 0;  // inflated, as the directory claims
    std::uint64_t DirectoryOffset = 0;
    std::uint64_t Number = 0;
};

class ZipArchive {
public:
    // Reads the directory; throws the ConversionError that says why an
    // archive is refused. Duplicate names are kept as warnings: the first
    // entry of a name is the one read.
    explicit ZipArchive(std::unique_ptr<ByteSource> source);
    ~ZipArchive();
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    std::uint64_t Bytes() const { return size_; }
    // The entries that are files (not folders), in the archive's order.
    const std::vector<Entry>& Entries() const { return entries_; }
    // The entry of that exact name, or null.
    const Entry* Find(std::string_view name) const;
    // What the user should know of an archive that is read all the same.
    const std::vector<ConversionError>& Warnings() const { return warnings_; }

    // Opens `entry` for reading; one entry is open at a time, until the
    // next Open or Close.
    void Open(const Entry& entry);
    // Reads the next inflated bytes of the open entry: how many, 0 at its
    // end. Throws when the entry is corrupt.
    std::size_t Read(char* buffer, std::size_t size);
    // Closes the open entry; throws when it was read to its end and its
    // checksum does not match.
    void Close();

    // Reads an entry whole, when it inflates to at most `limit` bytes.
    // False with the reason otherwise (too large, corrupt).
    bool ReadWhole(const Entry& entry, std::uint64_t limit, std::string& bytes, std::string& reason);

private:
    std::unique_ptr<ByteSource> source_;
    std::uint64_t size_ = 0;
    void* handle_ = nullptr;
    std::vector<Entry> entries_;
    std::unordered_map<std::string_view, std::size_t> byName_;
    std::vector<ConversionError> warnings_;
    const Entry* open_ = nullptr;
    bool atEnd_ = false;
};

// "dir/a.dae" for "dir/sub/../a.dae": '.' and empty parts dropped, ".."
// taking the part before it; nothing when a ".." would leave the archive.
std::optional<std::string> NormalizeEntryPath(std::string_view path);

}  // namespace morvane::archive
