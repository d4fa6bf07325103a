// The converter's one entry point: converts a document from a local file, a
// URL or bytes held in memory, with options, to an output sink, with a
// progress sink, and gives the outcome as a value. It prints nothing and
// reads no global setting; what it writes goes to the sinks it is given.
// The program (files, URLs, batches, the prompt, the console) and the
// conversion in memory of the tests and the fuzzer are its clients.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/x3d_converter.h"
#include "events/conversion_options.h"
#include "events/xml_reader.h"
#include "faithful/document_tree.h"
#include "support/conversion_error.h"
#include "support/image_sink.h"
#include "support/progress.h"
#include "support/text_output.h"

namespace morvane {

// Where the document comes from.
struct DocumentInput {
    enum class Kind { kFile, kUrl, kMemory };

    // A local file. With `regularFileOnly` a name that is not a regular file
    // (a directory, a FIFO, a device) is refused without being opened.
    static DocumentInput File(std::string path, bool regularFileOnly = false) {
        return {Kind::kFile, std::move(path), regularFileOnly, {}, 0};
    }
    // An http://, https:// or file:// URL.
    static DocumentInput Url(std::string url) { return {Kind::kUrl, std::move(url), false, {}, 0}; }
    // A file or a URL, told apart by the name's form as the command line
    // tells them apart (IsUrl).
    static DocumentInput Named(std::string name, bool regularFileOnly = false) {
        return IsUrl(name) ? Url(std::move(name)) : File(std::move(name), regularFileOnly);
    }
    // Bytes that outlive the conversion, handed to the parser in pieces of
    // `chunkSize` bytes (0: all at once).
    static DocumentInput Memory(std::string_view bytes, std::size_t chunkSize = 0) {
        return {Kind::kMemory, {}, false, bytes, chunkSize};
    }

    Kind Source = Kind::kMemory;
    // The path or URL of a file or URL input.
    std::string Name;
    bool RegularFileOnly = false;
    // The document of a memory input.
    std::string_view Bytes;
    std::size_t ChunkSize = 0;
};

// One conversion: what to read, how to convert it, and the name that its
// output goes by.
struct ConversionJob {
    DocumentInput Input;
    ConversionOptions Options;
    // The viewpoints are named after its last part, less its extension.
    std::string OutputName;
    // Where the document is, a local path or a URL, against which the
    // faithful output resolves the images it names; empty: the input's own
    // name (none for a memory input, whose images are then looked for
    // relative to the working directory).
    std::string Location;
};

// The outcome of one conversion.
struct ConversionResult {
    // Why the document gave no output: its kind, the words the user is
    // told, and where it applies the line and column. Empty when the output
    // was written whole, and the output sink committed.
    std::optional<ConversionError> Refusal;
    // What the user should know of an output that was written all the same
    // (an image that cannot be found, a node left out): one line each, in
    // the order they arose. Only the faithful output has them.
    std::vector<ConversionError> Warnings;

    bool Written() const { return !Refusal.has_value(); }
};

// The reader and the central object it feeds, for a run of conversions one
// after the other on one thread; conversions on other threads need
// converters of their own. Nothing of one document reaches the next: each
// starts from a fresh document state, and only the job's options count.
class DocumentConverter {
public:
    DocumentConverter() = default;
    DocumentConverter(const DocumentConverter&) = delete;
    DocumentConverter& operator=(const DocumentConverter&) = delete;

    // Binds the central object to the reader, which Convert does when it
    // must: 0, or the reader's failure code.
    ResultCode Attach();
    // Unbinds it: 0, or the first failure code of the reader.
    ResultCode Detach();

    // Converts one document. The output sink begins only when the document
    // has something to write, and is then committed or abandoned; the
    // progress marks go to `progress` (null drops them), and the images that
    // a faithful output makes to `images` (null: none are made, and the
    // output names each image where the document names it).
    ConversionResult Convert(const ConversionJob& job, OutputSink& output, ProgressSink* progress = nullptr,
                             ImageSink* images = nullptr);

private:
    void Parse(const DocumentInput& input);
    // The faithful output's reading: a zip archive (recognised by its
    // first bytes, whatever its name) is opened and its document inflated
    // into the reader; any other input is parsed as it is. Null for a plain
    // document.
    std::unique_ptr<struct OpenArchive> ParseOrOpenArchive(const DocumentInput& input);
    // The faithful output: the document is read into a tree by a handler of
    // its own, then bound and written.
    void ConvertFaithful(const ConversionJob& job, OutputSink& output, ImageSink* images, ConversionResult& result);

    X3dConverter converter_;
    faithful::DocumentTreeReader faithfulReader_;
    XmlReader reader_;
    bool attached_ = false;
};

// One conversion with a converter of its own: the entry point for a caller
// that converts documents one at a time or on many threads.
ConversionResult ConvertDocument(const ConversionJob& job, OutputSink& output, ProgressSink* progress = nullptr,
                                 ImageSink* images = nullptr);

}  // namespace morvane
