// Why a document gives no output. Inside the converter a document is
// refused one way only: a ConversionError is thrown where the refusal
// arises and caught by the conversion's entry point, which hands it out as
// a value. An exception rather than a result type, because refusals arise
// deep down (a handler at the end of a primitive, a Transform nested too
// deep, a write that fails in the middle of a mesh), in some ninety
// handlers and a dozen writers whose results already mean something else,
// and no frame between them and the entry point can do anything with a
// refusal but pass it on. The reader catches it inside the parser's
// callbacks, stops the parse and throws it again once the parser is out of
// the way.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace morvane {

enum class ErrorKind {
    kMalformedXml,         // not well-formed: the error has its line and column
    kUnsupportedEncoding,  // a declared encoding that is not read
    kCannotOpen,           // a missing file, a directory, not a regular file
    kCannotRead,           // a read that failed once the file was open
    kDownloadFailed,       // an HTTP status or a transfer error
    kTooDeep,              // nodes or Transforms nested past the limit
    kCountsBeyondLists,    // triangle counts far beyond their lists
    kTooManyEntries,       // a list that would reach 2^31 entries
    kOutputTooLarge,       // an output past its limit
    kOutOfMemory,
    kCannotWrite,          // the output could not be made or written
    kOutputRefused,        // the output would replace what it must not
    kNothingToConvert,     // a whole document without a mesh
    kBadArchive,           // a zip archive that is corrupt, unsafe or without a document
    kInternalError,
};

class ConversionError : public std::runtime_error {
public:
    // `message` is what the user is told, in words of its own; `line` and
    // `column` (from 1) place it in the document, 0 where no place applies.
    ConversionError(ErrorKind kind, const std::string& message, std::uint64_t line = 0, std::uint64_t column = 0)
        : std::runtime_error(message), kind_(kind), line_(line), column_(column) {}

    ErrorKind Kind() const { return kind_; }
    std::string Message() const { return what(); }
    std::uint64_t Line() const { return line_; }
    std::uint64_t Column() const { return column_; }

private:
    ErrorKind kind_;
    std::uint64_t line_;
    std::uint64_t column_;
};

// The messages of the refusals that have no details of their own.
inline constexpr const char* kNestedTooDeep = "nested deeper than 1000 levels";
inline constexpr const char* kCountsFarBeyondLists =
    "counts far beyond their lists (more than 1000000 triangles missing)";
inline constexpr const char* kTooManyEntries = "too many entries (a list would reach 2^31)";
inline constexpr const char* kOutOfMemory = "out of memory";

}  // namespace morvane
