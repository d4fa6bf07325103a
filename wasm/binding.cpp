// The WebAssembly module's entry points, over the library's C interface:
// one converter, one conversion at a time, whose output, images and
// diagnostics stay here until the next one, for the JavaScript wrapper
// (wasm/package/index.js) to read through plain integers and pointers.
#include <emscripten/emscripten.h>

#include <cassert>
#include <cstddef>
#include <string>
#include <vector>

#include "morvane/morvane.h"

#define MORVANE_WASM_EXPORT extern "C" EMSCRIPTEN_KEEPALIVE

namespace {

struct Image {
    std::string name;
    std::string bytes;
};

struct Results {
    std::string output;
    std::vector<Image> images;
};

morvane_converter* converter = nullptr;
Results results;

int Append(void* user, const char* data, std::size_t size) {
    static_cast<std::string*>(user)->append(data, size);
    return 0;
}

int KeepImage(void* user, const char* name, const unsigned char* data, std::size_t size) {
    static_cast<std::vector<Image>*>(user)->push_back({name, std::string(reinterpret_cast<const char*>(data), size)});
    return 0;
}

// Hands each mark to the wrapper's Module.onProgress, when it set one.
void Progress(void*, char mark) {
    EM_ASM({ if (Module["onProgress"]) Module["onProgress"](String.fromCharCode($0)); }, mark);
}

const morvane_diagnostic* Diagnostic(std::size_t index) { return morvane_diagnostic_at(converter, index); }

}  // namespace

MORVANE_WASM_EXPORT const char* mw_version() { return morvane_version(); }

// Converts `size` bytes with the options `words` (`count` command-line
// words), the output's name and the document's location (empty: none).
// Returns a morvane_status.
MORVANE_WASM_EXPORT int mw_convert(const char* document, std::size_t size, const char* const* words,
                                   std::size_t count, const char* outputName, const char* location) {
    // A fresh converter each time: nothing of one document (its location,
    // its diagnostics) reaches the next.
    results = Results();
    if (converter != nullptr) morvane_free(converter);
    converter = morvane_new();
    if (converter == nullptr) return MORVANE_OUT_OF_MEMORY;
    assert(document != nullptr || size == 0);
    morvane_status status = morvane_set_image_handler(converter, &KeepImage, &results.images);
    if (status == MORVANE_OK) status = morvane_set_progress_handler(converter, &Progress, nullptr);
    if (status == MORVANE_OK) status = morvane_set_options(converter, words, count);
    if (status == MORVANE_OK) status = morvane_set_output_name(converter, outputName);
    if (status == MORVANE_OK && location[0] != '\0') status = morvane_set_location(converter, location);
    if (status == MORVANE_OK) status = morvane_convert(converter, document, size, &Append, &results.output);
    return status;
}

MORVANE_WASM_EXPORT const char* mw_output_data() { return results.output.data(); }
MORVANE_WASM_EXPORT std::size_t mw_output_size() { return results.output.size(); }

MORVANE_WASM_EXPORT std::size_t mw_image_count() { return results.images.size(); }
MORVANE_WASM_EXPORT const char* mw_image_name(std::size_t index) { return results.images.at(index).name.c_str(); }
MORVANE_WASM_EXPORT const char* mw_image_data(std::size_t index) { return results.images.at(index).bytes.data(); }
MORVANE_WASM_EXPORT std::size_t mw_image_size(std::size_t index) { return results.images.at(index).bytes.size(); }

MORVANE_WASM_EXPORT std::size_t mw_diagnostic_count() {
    return converter == nullptr ? 0 : morvane_diagnostic_count(converter);
}
MORVANE_WASM_EXPORT int mw_diagnostic_severity(std::size_t index) { return Diagnostic(index)->severity; }
MORVANE_WASM_EXPORT const char* mw_diagnostic_kind(std::size_t index) { return Diagnostic(index)->kind; }
MORVANE_WASM_EXPORT const char* mw_diagnostic_message(std::size_t index) { return Diagnostic(index)->message; }
MORVANE_WASM_EXPORT unsigned long mw_diagnostic_line(std::size_t index) { return Diagnostic(index)->line; }
MORVANE_WASM_EXPORT unsigned long mw_diagnostic_column(std::size_t index) { return Diagnostic(index)->column; }
