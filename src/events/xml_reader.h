// The XML reader: one synchronous parse per file name or URL, delivering
// SAX events with local names. Built on expat (parsing) and libcurl (URLs).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "support/conversion_error.h"

namespace morvane {

// 32-bit result codes of the reader's set-up; 0 is success.
using ResultCode = std::uint32_t;
inline constexpr ResultCode kResultOk = 0;

// The attributes of one start tag, valid only during the startElement call.
class AttributeList {
public:
    virtual ~AttributeList() = default;
    // Finds an attribute in no namespace by its local name. The value is
    // UTF-8 and stays valid during the startElement call.
    virtual bool GetValueFromName(std::string_view localName, std::string_view& value) const = 0;
};

// What the reader calls while it parses. Names and text are UTF-8; an
// element name is its local name, without namespace or prefix. A handler
// refuses the document by throwing a ConversionError, which ends the parse.
class SaxContentHandler {
public:
    virtual ~SaxContentHandler() = default;
    virtual void startDocument() = 0;
    virtual void endDocument() = 0;
    virtual void startElement(std::string_view localName, const AttributeList& attributes) = 0;
    virtual void endElement(std::string_view localName) = 0;
    virtual void characters(const char* chars, std::size_t count) = 0;
    // How many bytes the document had, told just before endDocument.
    virtual void documentBytes(std::uint64_t) {}
    // How many bytes of the document the parser has been handed so far, and
    // how many of them it holds unparsed (a token not yet ended, and the
    // latest piece), told before it parses the latest piece.
    virtual void bytesGiven(std::uint64_t /*total*/, std::uint64_t /*held*/) {}
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

    // Each parse streams its document into the parser; events arrive on
    // this thread before it returns. endDocument is delivered only when the
    // whole document was well formed. A parse that fails throws the
    // ConversionError that says why.

    // Parses a local file, or an http:// or https:// URL; a file:// URL is
    // read as the local file it names.
    void ParseUrl(const std::string& name, bool regularFileOnly = false);
    // Parses a local file. With `regularFileOnly`, a name that is not a
    // regular file (a directory, a FIFO, a device) fails without being
    // opened for reading.
    void ParseFile(const std::string& path, bool regularFileOnly = false);
    // Parses a document held in memory, handed to the parser in pieces of
    // at most chunkSize bytes (0: all at once).
    void ParseBuffer(std::string_view document, std::size_t chunkSize = 0);
    // Parses a document pulled in pieces from `read`, which fills the
    // buffer it is given and says how many bytes it wrote (0 at the end);
    // what it throws ends the parse. An entry of an archive is inflated
    // this way straight into the parser.
    void ParseStream(const std::function<std::size_t(char*, std::size_t)>& read);
    // Downloads an http:// or https:// URL. When `keepWhole` says yes to the
    // body's first bytes (at most `headBytes` of them), the body is not
    // parsed but kept whole in `body`, and the result is true; otherwise it
    // is parsed as it arrives, as by ParseUrl.
    bool DownloadOrParse(const std::string& url, std::size_t headBytes,
                         const std::function<bool(std::string_view)>& keepWhole, std::string& body);

private:
    void ParseLocalFile(const std::string& path, bool regularFileOnly);
    void ParseDownload(const std::string& url, std::size_t headBytes = 0,
                       const std::function<bool(std::string_view)>* keepWhole = nullptr, std::string* body = nullptr);

    SaxContentHandler* handler_ = nullptr;
};

}  // namespace morvane
