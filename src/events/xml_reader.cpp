#include "events/xml_reader.h"

#ifndef MORVANE_CURL
#define MORVANE_CURL 0
#endif

#if MORVANE_CURL
#include <curl/curl.h>
#endif
#include <expat.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>

namespace morvane {

namespace {

// expat joins a namespace URI and a local name with this character. A URI
// cannot hold a raw line feed (attribute values are normalised), so the
// local name is whatever follows the last one.
constexpr char kNamespaceSeparator = '\n';

constexpr std::size_t kReadBlock = 1 << 20;
// The parser takes at most this much in one call.
constexpr std::size_t kLargestBlock = 1 << 30;

std::string_view LocalName(const XML_Char* name) {
    const std::size_t length = std::strlen(name);
    const void* cut = memrchr(name, kNamespaceSeparator, length);
    if (cut == nullptr) return {name, length};
    const auto* local = static_cast<const XML_Char*>(cut) + 1;
    return {local, static_cast<std::size_t>(name + length - local)};
}

class ExpatAttributes final : public AttributeList {
public:
    explicit ExpatAttributes(const XML_Char** pairs) : pairs_(pairs) {}

    bool GetValueFromName(std::string_view localName, std::string_view& value) const override {
        for (const XML_Char** p = pairs_; p[0] != nullptr; p += 2) {
            // Attributes in a namespace carry a separator and never match.
            if (std::strncmp(p[0], localName.data(), localName.size()) == 0 && p[0][localName.size()] == '\0') {
                value = p[1];
                return true;
            }
        }
        return false;
    }

private:
    const XML_Char** pairs_;
};

// The one legacy code page read besides expat's own encodings. The five
// bytes that windows-1252 leaves undefined stand for themselves.
constexpr int kWindows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

bool EqualsIgnoringCase(const XML_Char* a, const char* b) {
    for (; *a != 0 && *b != 0; ++a, ++b) {
        const auto ca = static_cast<unsigned char>(*a);
        const auto cb = static_cast<unsigned char>(*b);
        if (ca >= 0x80) return false;
        if (std::tolower(ca) != std::tolower(cb)) return false;
    }
    return *a == 0 && *b == 0;
}

// Keeps the name of an encoding that is refused, for the diagnostic.
int XMLCALL UnknownEncoding(void* refusedName, const XML_Char* name, XML_Encoding* info) {
    if (!EqualsIgnoringCase(name, "windows-1252")) {
        *static_cast<std::string*>(refusedName) = name;
        return XML_STATUS_ERROR;
    }
    for (int byte = 0; byte < 256; ++byte) {
        info->map[byte] = (byte >= 0x80 && byte < 0xA0) ? kWindows1252High[byte - 0x80] : byte;
    }
    info->data = nullptr;
    info->convert = nullptr;
    info->release = nullptr;
    return XML_STATUS_OK;
}

ConversionError SystemError(ErrorKind kind, const char* what, int error) {
    return ConversionError(kind, std::string(what) + ": " + std::strerror(error));
}

// One parse: an expat parser bound to a content handler. Whatever a
// callback throws stops the parse and becomes its failure, thrown again
// once expat is out of the way: no exception ever crosses expat's C frames. Once the parse has
// failed no handler runs again, although expat may still call back.
class ParseSession {
public:
    explicit ParseSession(SaxContentHandler* handler) : handler_(handler) {
        parser_ = XML_ParserCreateNS(nullptr, kNamespaceSeparator);
        if (parser_ == nullptr) throw std::bad_alloc();
        XML_SetUserData(parser_, this);
        XML_SetElementHandler(parser_, &ParseSession::OnStart, &ParseSession::OnEnd);
        XML_SetCharacterDataHandler(parser_, &ParseSession::OnCharacters);
        XML_SetUnknownEncodingHandler(parser_, &UnknownEncoding, &refusedEncoding_);
    }
    ~ParseSession() { XML_ParserFree(parser_); }
    ParseSession(const ParseSession&) = delete;
    ParseSession& operator=(const ParseSession&) = delete;

    void Begin() {
        if (handler_ != nullptr) Guard([&] { handler_->startDocument(); });
    }

    // Feeds a piece of the document as it is; false once the parse has failed.
    bool Feed(const char* data, std::size_t size) {
        while (!failure_ && size > 0) {
            const int piece = static_cast<int>(std::min<std::size_t>(size, kLargestBlock));
            if (!Given(static_cast<std::uint64_t>(piece))) break;
            if (XML_Parse(parser_, data, piece, XML_FALSE) != XML_STATUS_OK) NoteExpatError();
            fed_ += static_cast<std::uint64_t>(piece);
            data += piece;
            size -= static_cast<std::size_t>(piece);
        }
        return !failure_;
    }

    // Copies a piece of the document into the block being filled, handing
    // each full block to the parser; false once the parse has failed.
    bool Append(const char* data, std::size_t size) {
        while (!failure_ && size > 0) {
            if (!OpenBlock()) return false;
            const std::size_t room = blockSize_ - blockFilled_;
            const std::size_t piece = std::min(room, size);
            std::memcpy(block_ + blockFilled_, data, piece);
            blockFilled_ += piece;
            data += piece;
            size -= piece;
            if (blockFilled_ == blockSize_) ParseBlock(false);
        }
        return !failure_;
    }

    // Reads a file to its end straight into the parser's own buffers.
    // False once the parse has failed or the file could not be read.
    bool AppendFile(int descriptor) {
        while (!failure_) {
            if (!OpenBlock()) return false;
            const ssize_t got = read(descriptor, block_ + blockFilled_, blockSize_ - blockFilled_);
            if (got < 0) {
                if (errno == EINTR) continue;
                Fail(SystemError(ErrorKind::kCannotRead, "cannot read", errno));
                return false;
            }
            if (got == 0) return true;  // the end of the file
            blockFilled_ += static_cast<std::size_t>(got);
            if (blockFilled_ == blockSize_) ParseBlock(false);
        }
        return false;
    }

    // Pulls a document to its end straight into the parser's own buffers.
    // False once the parse has failed.
    bool AppendPulled(const std::function<std::size_t(char*, std::size_t)>& read) {
        while (!failure_) {
            if (!OpenBlock()) return false;
            const std::size_t got = read(block_ + blockFilled_, blockSize_ - blockFilled_);
            if (got == 0) return true;
            blockFilled_ += got;
            if (blockFilled_ == blockSize_) ParseBlock(false);
        }
        return false;
    }

    // Ends the document, or throws the failure of the parse.
    void Finish() {
        if (!failure_) {
            if (block_ != nullptr) {
                ParseBlock(true);
            } else if (XML_Parse(parser_, nullptr, 0, XML_TRUE) != XML_STATUS_OK) {
                NoteExpatError();
            }
        }
        if (!failure_ && handler_ != nullptr) {
            Guard([&] {
                handler_->documentBytes(fed_);
                handler_->endDocument();
            });
        }
        ThrowIfFailed();
    }

    // The first failure stays: what follows from it says nothing new.
    void Fail(ConversionError failure) {
        if (!failure_) failure_.emplace(std::move(failure));
    }
    bool Failed() const { return failure_.has_value(); }
    void ThrowIfFailed() const {
        if (failure_) throw *failure_;
    }

private:
    // A token that spans several blocks is parsed again from its start with
    // each block, so a block is made at least as large as the text waiting
    // since the last event: a huge attribute then costs linear time.
    bool OpenBlock() {
        if (block_ != nullptr) return true;
        const std::uint64_t waiting = fed_ - std::min(fed_, lastEvent_);
        blockSize_ = static_cast<std::size_t>(std::clamp<std::uint64_t>(waiting, kReadBlock, kLargestBlock));
        block_ = static_cast<char*>(XML_GetBuffer(parser_, static_cast<int>(blockSize_)));
        blockFilled_ = 0;
        if (block_ == nullptr) Fail(ConversionError(ErrorKind::kOutOfMemory, kOutOfMemory));
        return block_ != nullptr;
    }

    void ParseBlock(bool final) {
        const int filled = static_cast<int>(blockFilled_);
        block_ = nullptr;
        blockFilled_ = 0;
        if (!Given(static_cast<std::uint64_t>(filled))) return;
        if (XML_ParseBuffer(parser_, filled, final ? XML_TRUE : XML_FALSE) != XML_STATUS_OK) NoteExpatError();
        fed_ += static_cast<std::uint64_t>(filled);
    }

    // Tells the handler of `piece` more bytes about to be parsed; false
    // when it refuses them.
    bool Given(std::uint64_t piece) {
        if (handler_ == nullptr) return true;
        try {
            handler_->bytesGiven(fed_ + piece, fed_ - std::min(fed_, lastEvent_) + piece);
        } catch (const ConversionError& refusal) {
            Fail(refusal);
            return false;
        }
        return true;
    }

    // Notes where the latest event ended, in bytes from the document's
    // start: the parser needs nothing before it any more.
    void NoteEvent() {
        const XML_Index at = XML_GetCurrentByteIndex(parser_);
        const int count = XML_GetCurrentByteCount(parser_);
        if (at >= 0) lastEvent_ = static_cast<std::uint64_t>(at) + static_cast<std::uint64_t>(std::max(count, 0));
    }

    template <class F>
    void Guard(F&& step) {
        try {
            step();
        } catch (const ConversionError& refusal) {
            Stop(refusal);
        } catch (const std::bad_alloc&) {
            Stop(ConversionError(ErrorKind::kOutOfMemory, kOutOfMemory));
        } catch (const std::length_error&) {
            Stop(ConversionError(ErrorKind::kOutOfMemory, kOutOfMemory));
        } catch (const std::exception& error) {
            Stop(ConversionError(ErrorKind::kInternalError, std::string("internal error: ") + error.what()));
        } catch (...) {
            Stop(ConversionError(ErrorKind::kInternalError, "internal error"));
        }
    }

    void Stop(ConversionError failure) {
        Fail(std::move(failure));
        XML_StopParser(parser_, XML_FALSE);
    }

    void NoteExpatError() {
        // A stop of our own already carries its failure.
        const XML_Error error = XML_GetErrorCode(parser_);
        if (error == XML_ERROR_UNKNOWN_ENCODING && !refusedEncoding_.empty()) {
            Fail(ConversionError(ErrorKind::kUnsupportedEncoding, "unsupported encoding " + refusedEncoding_));
            return;
        }
        // expat counts columns from 0.
        const std::uint64_t line = XML_GetCurrentLineNumber(parser_);
        const std::uint64_t column = XML_GetCurrentColumnNumber(parser_) + 1;
        Fail(ConversionError(ErrorKind::kMalformedXml,
                             "not well-formed XML at line " + std::to_string(line) + ", column " +
                                 std::to_string(column) + ": " + XML_ErrorString(error),
                             line, column));
    }

    // The session to call a handler for, or null once the parse has failed.
    static ParseSession* Live(void* self) {
        auto* session = static_cast<ParseSession*>(self);
        if (session->failure_) return nullptr;
        session->NoteEvent();
        return session->handler_ != nullptr ? session : nullptr;
    }

    static void XMLCALL OnStart(void* self, const XML_Char* name, const XML_Char** attributes) {
        if (ParseSession* session = Live(self)) {
            session->Guard([&] {
                session->handler_->startElement(LocalName(name), ExpatAttributes(attributes));
            });
        }
    }

    static void XMLCALL OnEnd(void* self, const XML_Char* name) {
        if (ParseSession* session = Live(self)) {
            session->Guard([&] { session->handler_->endElement(LocalName(name)); });
        }
    }

    static void XMLCALL OnCharacters(void* self, const XML_Char* text, int length) {
        if (ParseSession* session = Live(self)) {
            session->Guard([&] { session->handler_->characters(text, static_cast<std::size_t>(length)); });
        }
    }

    SaxContentHandler* handler_;
    XML_Parser parser_ = nullptr;
    std::optional<ConversionError> failure_;
    std::string refusedEncoding_;
    // The block of the parser's buffer being filled, if any.
    char* block_ = nullptr;
    std::size_t blockSize_ = 0;
    std::size_t blockFilled_ = 0;
    // Bytes handed to the parser so far, and where the latest event ended.
    std::uint64_t fed_ = 0;
    std::uint64_t lastEvent_ = 0;
};

struct DescriptorCloser {
    int descriptor;
    ~DescriptorCloser() { close(descriptor); }
};

#if MORVANE_CURL
struct CurlCleanup {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};

struct UrlCleanup {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

// The host names of a file URL that stand for this machine.
bool IsThisMachine(const char* host) {
    return host[0] == '\0' || EqualsIgnoringCase(host, "localhost") || std::strcmp(host, "127.0.0.1") == 0;
}

// Where a download goes: into the parser as it arrives, or, once its
// first bytes asked for it, whole into a string.
struct DownloadTarget {
    ParseSession* Session = nullptr;
    std::size_t HeadBytes = 0;
    const std::function<bool(std::string_view)>* KeepWhole = nullptr;
    std::string* Body = nullptr;
    enum class Mode { kDeciding, kParsing, kKeeping } Now = Mode::kParsing;
    std::string Head;

    bool Take(const char* data, std::size_t bytes) {
        if (Now == Mode::kDeciding) {
            const std::size_t piece = std::min(bytes, HeadBytes - Head.size());
            Head.append(data, piece);
            data += piece;
            bytes -= piece;
            if (Head.size() < HeadBytes) return true;
            if (!Decide()) return false;
        }
        if (Now == Mode::kKeeping) {
            Body->append(data, bytes);
            return true;
        }
        return Session->Append(data, bytes);
    }

    // Settles where the body goes, once its head is in (or the body ended
    // within it); false when the parse has failed.
    bool Decide() {
        Now = (*KeepWhole)(Head) ? Mode::kKeeping : Mode::kParsing;
        if (Now == Mode::kKeeping) {
            *Body = std::move(Head);
            return true;
        }
        return Session->Append(Head.data(), Head.size());
    }
};

std::size_t OnDownloadData(char* data, std::size_t size, std::size_t count, void* user) {
    auto* target = static_cast<DownloadTarget*>(user);
    const std::size_t bytes = size * count;
    // Returning less than was given makes libcurl abandon the transfer.
    try {
        return target->Take(data, bytes) ? bytes : 0;
    } catch (const std::bad_alloc&) {
        target->Session->Fail(ConversionError(ErrorKind::kOutOfMemory, kOutOfMemory));
        return 0;
    } catch (const std::length_error&) {
        target->Session->Fail(ConversionError(ErrorKind::kOutOfMemory, kOutOfMemory));
        return 0;
    }
}
#endif

// A parse whose memory runs out fails like any other.
template <class F>
void ParseRefusingOutOfMemory(F&& parse) {
    try {
        parse();
    } catch (const std::bad_alloc&) {
        throw ConversionError(ErrorKind::kOutOfMemory, kOutOfMemory);
    }
}

#if MORVANE_CURL
void InitialiseCurlOnce() {
    static const bool initialised = [] {
        curl_global_init(CURL_GLOBAL_DEFAULT);
        return true;
    }();
    (void)initialised;
}
#else
// A build without libcurl reads files and memory only.
constexpr const char* kNoUrls = "cannot open: this build reads no URLs";
#endif

}  // namespace

bool IsUrl(std::string_view name) {
    return name.starts_with("http://") || name.starts_with("https://") || IsFileUrl(name);
}

bool IsFileUrl(std::string_view name) { return name.starts_with("file://"); }

#if !MORVANE_CURL
bool LocalPathOfFileUrl(const std::string&, std::string&, std::string& reason) {
    reason = kNoUrls;
    return false;
}
#else
bool LocalPathOfFileUrl(const std::string& url, std::string& path, std::string& reason) {
    const std::unique_ptr<CURLU, UrlCleanup> handle(curl_url());
    if (!handle) {
        reason = kOutOfMemory;
        return false;
    }
    // The URL parser takes no host but these three for a file URL, and keeps
    // none of them; a host that it would keep is looked at all the same.
    const CURLUcode parsed = curl_url_set(handle.get(), CURLUPART_URL, url.c_str(), 0);
    char* host = nullptr;
    const bool otherHost = parsed == CURLUE_OK && curl_url_get(handle.get(), CURLUPART_HOST, &host, 0) == CURLUE_OK &&
                           !IsThisMachine(host);
    curl_free(host);
    if (parsed == CURLUE_BAD_FILE_URL || otherHost) {
        reason = "cannot open: not a file of this machine (the host of a file URL must be empty, localhost or "
                 "127.0.0.1)";
        return false;
    }
    char* decoded = nullptr;
    const CURLUcode got =
        parsed != CURLUE_OK ? parsed : curl_url_get(handle.get(), CURLUPART_PATH, &decoded, CURLU_URLDECODE);
    if (got != CURLUE_OK) {
        reason = std::string("cannot open: malformed file URL (") + curl_url_strerror(got) + ")";
        return false;
    }
    path = decoded;
    curl_free(decoded);
    return true;
}
#endif

XmlReader::XmlReader() = default;

ResultCode XmlReader::PutContentHandler(SaxContentHandler* handler) {
    handler_ = handler;
    return kResultOk;
}

ResultCode XmlReader::PutErrorHandler(std::nullptr_t) { return kResultOk; }

void XmlReader::ParseUrl(const std::string& name, bool regularFileOnly) {
    if (IsFileUrl(name)) {
        // Read here like any local file: the same file that the driver
        // compared with the output, never a name that a transfer resolves
        // in its own way.
        std::string path;
        std::string reason;
        if (!LocalPathOfFileUrl(name, path, reason)) throw ConversionError(ErrorKind::kCannotOpen, std::move(reason));
        ParseFile(path, regularFileOnly);
    } else if (IsUrl(name)) {
        ParseRefusingOutOfMemory([&] { ParseDownload(name); });
    } else {
        ParseFile(name, regularFileOnly);
    }
}

void XmlReader::ParseBuffer(std::string_view document, std::size_t chunkSize) {
    ParseRefusingOutOfMemory([&] {
        ParseSession session(handler_);
        session.Begin();
        if (chunkSize == 0) chunkSize = std::max<std::size_t>(document.size(), 1);
        for (std::size_t at = 0; at < document.size(); at += chunkSize) {
            const std::size_t piece = std::min(chunkSize, document.size() - at);
            if (!session.Feed(document.data() + at, piece)) break;
        }
        session.Finish();
    });
}

void XmlReader::ParseStream(const std::function<std::size_t(char*, std::size_t)>& read) {
    ParseRefusingOutOfMemory([&] {
        ParseSession session(handler_);
        session.Begin();
        if (session.AppendPulled(read)) session.Finish();
        session.ThrowIfFailed();
    });
}

void XmlReader::ParseFile(const std::string& path, bool regularFileOnly) {
    ParseRefusingOutOfMemory([&] { ParseLocalFile(path, regularFileOnly); });
}

void XmlReader::ParseLocalFile(const std::string& path, bool regularFileOnly) {
    const ConversionError notRegular(ErrorKind::kCannotOpen, "not a regular file");
    struct stat status {};
    // Opening a FIFO waits for a writer and opening a device may act on it:
    // a name that was not asked for by itself is looked at first.
    if (regularFileOnly && stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) throw notRegular;
    // Without waiting, in case the name changed in between.
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | (regularFileOnly ? O_NONBLOCK : 0));
    if (descriptor < 0) throw SystemError(ErrorKind::kCannotOpen, "cannot open", errno);
    const DescriptorCloser closer{descriptor};
    if (fstat(descriptor, &status) != 0) throw SystemError(ErrorKind::kCannotOpen, "cannot open", errno);
    if (regularFileOnly && !S_ISREG(status.st_mode)) throw notRegular;
    if (S_ISDIR(status.st_mode)) throw SystemError(ErrorKind::kCannotOpen, "cannot open", EISDIR);

    ParseSession session(handler_);
    session.Begin();
    if (session.AppendFile(descriptor)) session.Finish();
    session.ThrowIfFailed();
}

#if !MORVANE_CURL
void XmlReader::ParseDownload(const std::string&, std::size_t, const std::function<bool(std::string_view)>*,
                              std::string*) {
    throw ConversionError(ErrorKind::kCannotOpen, kNoUrls);
}
#else
void XmlReader::ParseDownload(const std::string& url, std::size_t headBytes,
                              const std::function<bool(std::string_view)>* keepWhole, std::string* body) {
    InitialiseCurlOnce();
    // Before the handle, which may write into it up to its cleanup.
    char errorText[CURL_ERROR_SIZE] = "";
    std::unique_ptr<CURL, CurlCleanup> curl(curl_easy_init());
    if (!curl) throw ConversionError(ErrorKind::kOutOfMemory, kOutOfMemory);

    ParseSession session(handler_);
    CURL* c = curl.get();
    curl_easy_setopt(c, CURLOPT_ERRORBUFFER, errorText);
    curl_easy_setopt(c, CURLOPT_URL, url.c_str());
    // File URLs are read as local files, never by the transfer; a server may
    // send the client elsewhere, but never into local files.
    curl_easy_setopt(c, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(c, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(c, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(c, CURLOPT_MAXREDIRS, 10L);
    curl_easy_setopt(c, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(c, CURLOPT_CONNECTTIMEOUT, 60L);
    // A transfer that crawls below 1 KiB/s for a minute is given up rather
    // than holding a batch for ever, a byte now and then.
    curl_easy_setopt(c, CURLOPT_LOW_SPEED_LIMIT, 1024L);
    curl_easy_setopt(c, CURLOPT_LOW_SPEED_TIME, 60L);
    curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, &OnDownloadData);
    DownloadTarget target;
    target.Session = &session;
    if (keepWhole != nullptr && body != nullptr && headBytes > 0) {
        target.HeadBytes = headBytes;
        target.KeepWhole = keepWhole;
        target.Body = body;
        target.Now = DownloadTarget::Mode::kDeciding;
    }
    curl_easy_setopt(c, CURLOPT_WRITEDATA, &target);

    session.Begin();
    const CURLcode transfer = curl_easy_perform(c);
    if (!session.Failed() && transfer != CURLE_OK) {
        long status = 0;
        if (transfer == CURLE_HTTP_RETURNED_ERROR) curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &status);
        session.Fail(ConversionError(ErrorKind::kDownloadFailed,
                                     status != 0 ? "download failed: HTTP status " + std::to_string(status)
                                                 : std::string("download failed: ") +
                                                       (errorText[0] != 0 ? errorText : curl_easy_strerror(transfer))));
    }
    // A body shorter than its head is decided on what came.
    if (!session.Failed() && target.Now == DownloadTarget::Mode::kDeciding) target.Decide();
    session.ThrowIfFailed();
    if (target.Now == DownloadTarget::Mode::kKeeping) return;
    session.Finish();
}

#endif

bool XmlReader::DownloadOrParse(const std::string& url, std::size_t headBytes,
                                const std::function<bool(std::string_view)>& keepWhole, std::string& body) {
    body.clear();
    bool kept = false;
    const std::function<bool(std::string_view)> keep = [&](std::string_view head) {
        kept = keepWhole(head);
        return kept;
    };
    ParseRefusingOutOfMemory([&] { ParseDownload(url, headBytes, &keep, &body); });
    return kept;
}

}  // namespace morvane
