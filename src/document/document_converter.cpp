#include "document/document_converter.h"

#include <algorithm>
#include <cstdint>
#include <new>

#include "events/element_kinds.h"
#include "faithful/scene_writer.h"
#include "support/path_text.h"

namespace morvane {

namespace {

// Why a document that was read to its end gave no output.
std::string NothingToConvert(const SeenKinds& seen) {
    if (seen.MeshPrimitive) return "nothing to convert (its primitives are left out by -sy or -sl)";
    std::string unread;
    for (std::size_t k = 0; k < std::size(kUnreadKinds); ++k) {
        if ((seen.Unread & (1u << k)) == 0) continue;
        if (!unread.empty()) unread += ", ";
        unread += kUnreadKinds[k].Plural;
    }
    if (unread.empty()) return "nothing to convert (no triangles, polylist, polygons or lines)";
    return "nothing to convert (no triangles, polylist, polygons or lines; it has " + unread + ")";
}

// Like an amplification limit of a parser: the output may be 100 times as
// large as the document, and never need be smaller than 64 MiB (the same
// limit as the classic output's).
std::uint64_t FaithfulOutputLimit(std::uint64_t inputBytes) {
    constexpr std::uint64_t kFloor = std::uint64_t{64} << 20;
    constexpr std::uint64_t kFactor = 100;
    if (inputBytes > UINT64_MAX / kFactor) return UINT64_MAX;
    return std::max(kFloor, kFactor * inputBytes);
}

}  // namespace

ResultCode DocumentConverter::Attach() {
    const ResultCode result = reader_.PutContentHandler(&converter_);
    attached_ = result == kResultOk;
    return result;
}

ResultCode DocumentConverter::Detach() {
    attached_ = false;
    const ResultCode handler = reader_.PutContentHandler(nullptr);
    const ResultCode errors = reader_.PutErrorHandler(nullptr);
    return handler != kResultOk ? handler : errors;
}

void DocumentConverter::Parse(const DocumentInput& input) {
    switch (input.Source) {
        case DocumentInput::Kind::kFile:
            reader_.ParseFile(input.Name, input.RegularFileOnly);
            break;
        case DocumentInput::Kind::kUrl:
            if (!IsUrl(input.Name)) {
                throw ConversionError(ErrorKind::kCannotOpen, "cannot open: not an http://, https:// or file:// URL");
            }
            reader_.ParseUrl(input.Name);
            break;
        case DocumentInput::Kind::kMemory:
            reader_.ParseBuffer(input.Bytes, input.ChunkSize);
            break;
    }
}

void DocumentConverter::ConvertFaithful(const ConversionJob& job, OutputSink& output, ImageSink* images,
                                        ConversionResult& result) {
    struct Rebind {
        DocumentConverter& owner;
        ~Rebind() {
            owner.reader_.PutContentHandler(owner.attached_ ? &owner.converter_ : nullptr);
            owner.faithfulReader_.Tree() = faithful::DocumentTree();
        }
    } rebind{*this};
    if (reader_.PutContentHandler(&faithfulReader_) != kResultOk) {
        throw ConversionError(ErrorKind::kInternalError, "internal error: the reader cannot be set up");
    }
    Parse(job.Input);
    faithful::SceneSettings settings;
    settings.Options = job.Options;
    settings.OutputName = job.OutputName;
    settings.Location = job.Location;
    if (settings.Location.empty() && job.Input.Source != DocumentInput::Kind::kMemory) {
        settings.Location = job.Input.Name;
    }
    settings.Images = images;
    // The document's URLs may name it by its own file name (a URL's query
    // and fragment are no part of it; a file's name may hold '#').
    std::string_view name = settings.Location;
    if (IsUrl(name)) name = name.substr(0, name.find_first_of("?#"));
    faithfulReader_.Tree().SetDocumentName(FileNameOf(name));
    faithful::WriteScene(faithfulReader_.Tree(), settings, output, FaithfulOutputLimit(faithfulReader_.InputBytes()),
                         result.Warnings);
}

ConversionResult DocumentConverter::Convert(const ConversionJob& job, OutputSink& output, ProgressSink* progress,
                                            ImageSink* images) {
    if (job.Options.Faithful) {
        ConversionResult result;
        try {
            ConvertFaithful(job, output, images, result);
        } catch (const ConversionError& refusal) {
            result.Refusal = refusal;
        } catch (const std::bad_alloc&) {
            result.Refusal = ConversionError(ErrorKind::kOutOfMemory, kOutOfMemory);
        }
        if (result.Refusal) result.Warnings.clear();
        return result;
    }
    converter_.Options = job.Options;
    converter_.OutputFileName = job.OutputName;
    converter_.Output = &output;
    converter_.Progress = progress;
    ConversionResult result;
    try {
        if (!attached_ && Attach() != kResultOk) {
            throw ConversionError(ErrorKind::kInternalError, "internal error: the reader cannot be set up");
        }
        Parse(job.Input);
        if (!converter_.State().OutputWritten) {
            throw ConversionError(ErrorKind::kNothingToConvert, NothingToConvert(converter_.Seen));
        }
    } catch (const ConversionError& refusal) {
        result.Refusal = refusal;
    } catch (const std::bad_alloc&) {
        result.Refusal = ConversionError(ErrorKind::kOutOfMemory, kOutOfMemory);
    }
    converter_.Output = nullptr;
    converter_.Progress = nullptr;
    return result;
}

ConversionResult ConvertDocument(const ConversionJob& job, OutputSink& output, ProgressSink* progress,
                                 ImageSink* images) {
    DocumentConverter converter;
    return converter.Convert(job, output, progress, images);
}

}  // namespace morvane
