#include "document/document_converter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <new>

#include "archive/archive_document.h"
#include "archive/zip_archive.h"
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

// A local file that holds a zip archive, open for reading; -1 for anything
// else, which is then parsed by name like any document (its errors
// included). Only a regular file is looked into: reading the head of a
// FIFO would take it from the parse.
int OpenIfArchive(const std::string& path, std::uint64_t& size) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor < 0) return -1;
    char head[4];
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
        pread(descriptor, head, sizeof head, 0) == static_cast<ssize_t>(sizeof head) &&
        archive::LooksLikeZip(std::string_view(head, sizeof head))) {
        size = static_cast<std::uint64_t>(status.st_size);
        return descriptor;
    }
    close(descriptor);
    return -1;
}

}  // namespace

// An archive being read, with what its bytes live in.
struct OpenArchive {
    int Descriptor = -1;
    std::string Downloaded;
    // Declared last, so that it goes before the bytes it reads.
    std::unique_ptr<archive::ZipArchive> Zip;
    archive::ArchiveDocument Found;

    ~OpenArchive() {
        Zip.reset();
        if (Descriptor >= 0) close(Descriptor);
    }
};

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

std::unique_ptr<OpenArchive> DocumentConverter::ParseOrOpenArchive(const DocumentInput& input) {
    auto opened = std::make_unique<OpenArchive>();
    switch (input.Source) {
        case DocumentInput::Kind::kMemory:
            if (!archive::LooksLikeZip(input.Bytes)) break;
            opened->Zip = std::make_unique<archive::ZipArchive>(archive::MemorySource(input.Bytes));
            break;
        case DocumentInput::Kind::kFile:
        case DocumentInput::Kind::kUrl: {
            std::string path = input.Name;
            if (input.Source == DocumentInput::Kind::kUrl && !IsUrl(input.Name)) break;
            if (input.Source == DocumentInput::Kind::kUrl && IsFileUrl(input.Name)) {
                std::string reason;
                if (!LocalPathOfFileUrl(input.Name, path, reason)) break;
            } else if (input.Source == DocumentInput::Kind::kUrl && IsUrl(input.Name)) {
                // A zip's directory is at its end: a downloaded archive is
                // kept whole, a document parsed as it arrives.
                if (!reader_.DownloadOrParse(input.Name, 4, archive::LooksLikeZip, opened->Downloaded)) return nullptr;
                opened->Zip = std::make_unique<archive::ZipArchive>(archive::MemorySource(opened->Downloaded));
                break;
            }
            std::uint64_t size = 0;
            opened->Descriptor = OpenIfArchive(path, size);
            if (opened->Descriptor < 0) break;
            opened->Zip = std::make_unique<archive::ZipArchive>(archive::DescriptorSource(opened->Descriptor, size));
            break;
        }
    }
    if (!opened->Zip) {
        Parse(input);
        return nullptr;
    }
    archive::ZipArchive& zip = *opened->Zip;
    opened->Found = archive::FindDocument(zip);
    const archive::Entry& document = *opened->Found.Document;
    // Inflated piece by piece into the parser, never whole in memory.
    const std::uint64_t most = archive::MostDocumentBytes(zip.Bytes());
    // What the document holds in memory is the archive's to allow: its
    // inflated size says nothing.
    faithfulReader_.Tree().Budget().FixInput(zip.Bytes());
    std::uint64_t inflated = 0;
    zip.Open(document);
    reader_.ParseStream([&](char* buffer, std::size_t size) {
        const std::size_t got = zip.Read(buffer, size);
        inflated += got;
        if (inflated > most) {
            throw ConversionError(ErrorKind::kBadArchive, "zip archive entry " + document.Name +
                                                              " inflates to more than " + archive::SizeText(most) +
                                                              ", the most for an archive of its size");
        }
        return got;
    });
    zip.Close();
    return opened;
}

void DocumentConverter::ConvertFaithful(const ConversionJob& job, OutputSink& output, ImageSink* images,
                                        ConversionResult& result) {
    struct Rebind {
        DocumentConverter& owner;
        ~Rebind() {
            owner.reader_.PutContentHandler(owner.attached_ ? &owner.converter_ : nullptr);
            owner.faithfulReader_.Tree().Clear();
            owner.faithfulReader_.Tree().Budget().Reset();
        }
    } rebind{*this};
    if (reader_.PutContentHandler(&faithfulReader_) != kResultOk) {
        throw ConversionError(ErrorKind::kInternalError, "internal error: the reader cannot be set up");
    }
    const std::unique_ptr<OpenArchive> opened = ParseOrOpenArchive(job.Input);
    faithful::SceneSettings settings;
    settings.Options = job.Options;
    settings.OutputName = job.OutputName;
    settings.Location = job.Location;
    if (settings.Location.empty() && job.Input.Source != DocumentInput::Kind::kMemory) {
        settings.Location = job.Input.Name;
    }
    settings.Images = images;
    if (opened) {
        settings.Archive = opened->Zip.get();
        settings.ArchiveDocument = opened->Found.Document->Name;
        settings.Notes = opened->Found.Placement;
        result.Warnings = opened->Zip->Warnings();
    }
    // The document's URLs may name it by its own file name (a URL's query
    // and fragment are no part of it; a file's name may hold '#').
    std::string_view name = opened ? std::string_view(settings.ArchiveDocument) : std::string_view(settings.Location);
    if (!opened && IsUrl(name)) name = name.substr(0, name.find_first_of("?#"));
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
