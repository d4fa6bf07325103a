// The XML reader: one synchronous parse per file name or URL, delivering
// SAX events with local names. Built on expat (parsing) and libcurl (URLs).
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace morvane {

// 32-bit result codes of the reader; 0 is success.
using ResultCode = std::uint32_t;
inline constexpr ResultCode kResultOk = 0;
inline constexpr ResultCode kResultFailed = 0x80004005;
inline constexpr ResultCode kResultOutOfMemory = 0x8007000E;
inline constexpr ResultCode kResultNotFound = 0x800C0005;
inline constexpr ResultCode kResultDownloadFailed = 0x800C0008;
// A malformed document: this base plus expat's error number.
inline constexpr ResultCode kResultMalformed = 0xC00CE000;
// A result that the driver reports on the console. This reader never gives
// it, so that report cannot happen here; the driver keeps it all the same.
inline constexpr ResultCode kResultParseAborted = 0x800400CA;

// Thrown by a content handler that finds the document unreadable: the parse
// stops and fails like one of a malformed document, and the text is the
// reason the user is told, in a line of its own.
class UnreadableDocument : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The reasons for refusing a document that asks for absurd resources.
inline constexpr const char* kNestedTooDeep = "nested deeper than 1000 levels";
inline constexpr const char* kCountsFarBeyondLists =
    "counts far beyond their lists (more than 1000000 triangles missing)";
inline constexpr const char* kTooManyEntries = "too many entries (a list would reach 2^31)";
inline constexpr const char* kOutOfMemory = "out of memory";

// The attributes of one start tag, valid only during the startElement call.
class AttributeList {
public:
    virtual ~AttributeList() = default;
    // Finds an attribute in no namespace by its local name. The value is
    // UTF-8 and stays valid during the startElement call.
    virtual bool GetValueFromName(std::string_view localName, std::string_view& value) const = 0;
};

// What the reader calls while it parses. Names and text are UTF-8; an
// element name is its local name, without namespace or prefix.
class SaxContentHandler {
public:
    virtual ~SaxContentHandler() = default;
    virtual ResultCode startDocument() = 0;
    virtual ResultCode endDocument() = 0;
    virtual ResultCode startElement(std::string_view localName, const AttributeList& attributes) = 0;
    virtual ResultCode endElement(std::string_view localName) = 0;
    virtual ResultCode characters(const char* chars, std::size_t count) = 0;
    // How many bytes the document had, told just before endDocument.
    virtual void documentBytes(std::uint64_t) {}
};

// True for the names that are read as URLs rather than as local paths:
// http://, https:// and file://, in lower case.
bool IsUrl(std::string_view name);
bool IsFileUrl(std::string_view name);

// The path of the file that a file:// URL names, percent-decoded. A query
// or a fragment is no part of it, and "." and ".." segments are resolved as
// in any URL. Only this machine's files are named: the host is empty,
// "localhost" in any letter case, or 127.0.0.1. False, with the reason the
// user is told, for a URL that names no such file.
bool LocalPathOfFileUrl(const std::string& url, std::string& path, std::string& reason);

class XmlReader {
public:
    XmlReader();
    XmlReader(const XmlReader&) = delete;
    XmlReader& operator=(const XmlReader&) = delete;

    ResultCode PutContentHandler(SaxContentHandler* handler);
    // No error handler is ever installed; clearing it always succeeds.
    ResultCode PutErrorHandler(std::nullptr_t);

    // Parses a local file, or an http:// or https:// URL, streaming it into
    // the parser; a file:// URL is read as the local file it names. Events
    // arrive on this thread before it returns. endDocument is delivered only
    // when the whole document was well formed. With `regularFileOnly`, a
    // local name that is not a regular file (a directory, a FIFO, a device)
    // fails without being opened for reading.
    ResultCode ParseUrl(const std::string& name, bool regularFileOnly = false);

    // Parses a document held in memory, handed to the parser in pieces of
    // at most chunkSize bytes (0: all at once).
    ResultCode ParseBuffer(std::string_view document, std::size_t chunkSize = 0);

    // Why the last parse failed, in the words the user is told; empty when
    // it succeeded.
    const std::string& FailureReason() const { return failureReason_; }

private:
    ResultCode ParseFile(const std::string& path, bool regularFileOnly);
    ResultCode ParseDownload(const std::string& url);
    ResultCode Refuse(ResultCode code, std::string reason);

    SaxContentHandler* handler_ = nullptr;
    std::string failureReason_;
};

}  // namespace morvane
