// The public C interface over DocumentConverter. Every entry point catches
// whatever the C++ inside throws and turns it into a status: nothing
// crosses into the caller's C frames.
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "document/document_converter.h"
#include "library/c_locale.h"
#include "library/diagnostic_kinds.h"
#include "library/option_words.h"
#include "morvane/morvane.h"

namespace {

using morvane::ConversionError;

#define MORVANE_TEXT_OF(x) #x
#define MORVANE_VERSION_TEXT(major, minor, patch) MORVANE_TEXT_OF(major) "." MORVANE_TEXT_OF(minor) "." MORVANE_TEXT_OF(patch)

constexpr const char* kVersion =
    MORVANE_VERSION_TEXT(MORVANE_VERSION_MAJOR, MORVANE_VERSION_MINOR, MORVANE_VERSION_PATCH);

// Hands progress marks to the caller's function.
class CallbackProgress final : public morvane::ProgressSink {
public:
    CallbackProgress(morvane_progress_fn mark, void* user) : mark_(mark), user_(user) {}
    void Mark(char mark) override { mark_(user_, mark); }

private:
    morvane_progress_fn mark_;
    void* user_;
};

// Hands the images a conversion makes to the caller's function.
class CallbackImages final : public morvane::ImageSink {
public:
    CallbackImages(morvane_image_fn put, void* user) : put_(put), user_(user) {}
    bool PutImage(const std::string& name, std::string_view bytes, std::string& reason) override {
        if (put_(user_, name.c_str(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()) == 0) {
            return true;
        }
        reason = "cannot store " + name + ": its receiver refused it";
        return false;
    }

private:
    morvane_image_fn put_;
    void* user_;
};

}  // namespace

struct morvane_converter {
    morvane::DocumentConverter Converter;
    morvane::ConversionOptions Options;
    std::string OutputName = "output.x3d";
    std::string Location;
    morvane_image_fn ImageHandler = nullptr;
    void* ImageUser = nullptr;
    morvane_progress_fn ProgressHandler = nullptr;
    void* ProgressUser = nullptr;
    // The diagnostics of the last call that converts; their strings point
    // into Messages, which is filled before they are made.
    std::vector<std::string> Messages;
    std::vector<morvane_diagnostic> Diagnostics;
};

namespace {

void ClearDiagnostics(morvane_converter& converter) {
    converter.Diagnostics.clear();
    converter.Messages.clear();
}

// Keeps the warnings and the refusal of a conversion, in the order they
// arose: the warnings first, since a refusal ends the conversion.
void KeepDiagnostics(morvane_converter& converter, const morvane::ConversionResult& result) {
    std::vector<const ConversionError*> all;
    for (const ConversionError& warning : result.Warnings) all.push_back(&warning);
    if (result.Refusal) all.push_back(&*result.Refusal);
    converter.Messages.reserve(all.size());
    for (const ConversionError* error : all) converter.Messages.push_back(error->Message());
    converter.Diagnostics.reserve(all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        const bool refusal = result.Refusal && i + 1 == all.size();
        converter.Diagnostics.push_back({refusal ? MORVANE_ERROR : MORVANE_WARNING, morvane::KindWord(all[i]->Kind()),
                                         converter.Messages[i].c_str(), static_cast<unsigned long>(all[i]->Line()),
                                         static_cast<unsigned long>(all[i]->Column())});
    }
}

// One refusal that arose outside the conversion itself.
void KeepRefusal(morvane_converter& converter, const ConversionError& refusal) {
    morvane::ConversionResult result;
    result.Refusal = refusal;
    KeepDiagnostics(converter, result);
}

morvane_status Convert(morvane_converter& converter, const void* document, std::size_t size,
                       morvane::OutputSink& output) {
    const morvane::CLocaleScope cLocale;
    morvane::ConversionJob job{
        morvane::DocumentInput::Memory({static_cast<const char*>(document), size}),
        converter.Options,
        converter.OutputName,
        converter.Location,
    };
    std::optional<CallbackProgress> progress;
    if (converter.ProgressHandler != nullptr) progress.emplace(converter.ProgressHandler, converter.ProgressUser);
    std::optional<CallbackImages> images;
    if (converter.ImageHandler != nullptr) images.emplace(converter.ImageHandler, converter.ImageUser);
    const morvane::ConversionResult result = converter.Converter.Convert(
        job, output, progress ? &*progress : nullptr, images ? &*images : nullptr);
    KeepDiagnostics(converter, result);
    if (result.Written()) return MORVANE_OK;
    return result.Refusal->Kind() == morvane::ErrorKind::kOutOfMemory ? MORVANE_OUT_OF_MEMORY : MORVANE_REFUSED;
}

// Runs `body` for a converter that converts, with every exception turned
// into a status and a diagnostic.
template <class Body>
morvane_status Guarded(morvane_converter& converter, Body body) {
    try {
        ClearDiagnostics(converter);
        return body();
    } catch (const std::bad_alloc&) {
        ClearDiagnostics(converter);
        return MORVANE_OUT_OF_MEMORY;
    } catch (const ConversionError& refusal) {
        try {
            KeepRefusal(converter, refusal);
        } catch (...) {
            ClearDiagnostics(converter);
        }
        return refusal.Kind() == morvane::ErrorKind::kOutOfMemory ? MORVANE_OUT_OF_MEMORY : MORVANE_REFUSED;
    } catch (const std::exception& error) {
        try {
            KeepRefusal(converter, ConversionError(morvane::ErrorKind::kInternalError,
                                                   std::string("internal error: ") + error.what()));
        } catch (...) {
            ClearDiagnostics(converter);
        }
        return MORVANE_REFUSED;
    } catch (...) {
        ClearDiagnostics(converter);
        return MORVANE_REFUSED;
    }
}

}  // namespace

extern "C" {

const char* morvane_version(void) { return kVersion; }

morvane_converter* morvane_new(void) {
    try {
        return new morvane_converter;
    } catch (...) {
        return nullptr;
    }
}

void morvane_free(morvane_converter* converter) { delete converter; }

morvane_status morvane_set_options(morvane_converter* converter, const char* const* words, size_t count) {
    if (converter == nullptr || (words == nullptr && count != 0)) return MORVANE_INVALID_ARGUMENT;
    try {
        std::vector<std::string> list;
        list.reserve(count);
        for (size_t i = 0; i < count; ++i) {
            if (words[i] == nullptr) return MORVANE_INVALID_ARGUMENT;
            list.emplace_back(words[i]);
        }
        const morvane::CLocaleScope cLocale;
        std::string refused;
        return morvane::ReadOptionWords(list, converter->Options, refused) ? MORVANE_OK : MORVANE_BAD_OPTION;
    } catch (const std::bad_alloc&) {
        return MORVANE_OUT_OF_MEMORY;
    } catch (...) {
        return MORVANE_BAD_OPTION;
    }
}

morvane_status morvane_set_output_name(morvane_converter* converter, const char* name) {
    if (converter == nullptr || name == nullptr) return MORVANE_INVALID_ARGUMENT;
    try {
        converter->OutputName = name;
        return MORVANE_OK;
    } catch (...) {
        return MORVANE_OUT_OF_MEMORY;
    }
}

morvane_status morvane_set_location(morvane_converter* converter, const char* path_or_url) {
    if (converter == nullptr) return MORVANE_INVALID_ARGUMENT;
    try {
        converter->Location = path_or_url != nullptr ? path_or_url : "";
        return MORVANE_OK;
    } catch (...) {
        return MORVANE_OUT_OF_MEMORY;
    }
}

morvane_status morvane_set_image_handler(morvane_converter* converter, morvane_image_fn handler, void* user) {
    if (converter == nullptr) return MORVANE_INVALID_ARGUMENT;
    converter->ImageHandler = handler;
    converter->ImageUser = user;
    return MORVANE_OK;
}

morvane_status morvane_set_progress_handler(morvane_converter* converter, morvane_progress_fn handler, void* user) {
    if (converter == nullptr) return MORVANE_INVALID_ARGUMENT;
    converter->ProgressHandler = handler;
    converter->ProgressUser = user;
    return MORVANE_OK;
}

morvane_status morvane_convert(morvane_converter* converter, const void* document, size_t size, morvane_write_fn write,
                               void* user) {
    if (converter == nullptr) return MORVANE_INVALID_ARGUMENT;
    ClearDiagnostics(*converter);
    if ((document == nullptr && size != 0) || write == nullptr) return MORVANE_INVALID_ARGUMENT;
    return Guarded(*converter, [&] {
        morvane::CallbackSink sink([&](std::string_view piece) { return write(user, piece.data(), piece.size()) == 0; });
        return Convert(*converter, document, size, sink);
    });
}

morvane_status morvane_convert_to_text(morvane_converter* converter, const void* document, size_t size, char** output,
                                       size_t* output_size) {
    if (output != nullptr) *output = nullptr;
    if (output_size != nullptr) *output_size = 0;
    if (converter == nullptr) return MORVANE_INVALID_ARGUMENT;
    ClearDiagnostics(*converter);
    if ((document == nullptr && size != 0) || output == nullptr || output_size == nullptr) {
        return MORVANE_INVALID_ARGUMENT;
    }
    return Guarded(*converter, [&] {
        morvane::MemorySink sink;
        const morvane_status status = Convert(*converter, document, size, sink);
        if (status != MORVANE_OK) return status;
        const std::string text = sink.TakeText();
        char* copy = static_cast<char*>(std::malloc(text.size() + 1));
        if (copy == nullptr) return MORVANE_OUT_OF_MEMORY;
        std::memcpy(copy, text.c_str(), text.size() + 1);
        *output = copy;
        *output_size = text.size();
        return MORVANE_OK;
    });
}

void morvane_free_text(char* text) { std::free(text); }

size_t morvane_diagnostic_count(const morvane_converter* converter) {
    return converter != nullptr ? converter->Diagnostics.size() : 0;
}

const morvane_diagnostic* morvane_diagnostic_at(const morvane_converter* converter, size_t index) {
    if (converter == nullptr || index >= converter->Diagnostics.size()) return nullptr;
    return &converter->Diagnostics[index];
}

}  // extern "C"
