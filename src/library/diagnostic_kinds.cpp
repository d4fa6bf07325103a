#include "library/diagnostic_kinds.h"

namespace morvane {

const char* KindWord(ErrorKind kind) {
    // No default: a new kind without a word is a compiler warning here.
    switch (kind) {
        case ErrorKind::kMalformedXml: return "malformed-xml";
        case ErrorKind::kUnsupportedEncoding: return "unsupported-encoding";
        case ErrorKind::kCannotOpen: return "cannot-open";
        case ErrorKind::kCannotRead: return "cannot-read";
        case ErrorKind::kDownloadFailed: return "download-failed";
        case ErrorKind::kTooDeep: return "too-deep";
        case ErrorKind::kCountsBeyondLists: return "counts-beyond-lists";
        case ErrorKind::kTooManyEntries: return "too-many-entries";
        case ErrorKind::kOutputTooLarge: return "output-too-large";
        case ErrorKind::kOutOfMemory: return "out-of-memory";
        case ErrorKind::kCannotWrite: return "cannot-write";
        case ErrorKind::kOutputRefused: return "output-refused";
        case ErrorKind::kNothingToConvert: return "nothing-to-convert";
        case ErrorKind::kBadArchive: return "bad-archive";
        case ErrorKind::kInternalError: return "internal-error";
    }
    return "internal-error";
}

}  // namespace morvane
