// morvane for C++: the C interface of morvane.h behind one class that owns
// its converter, with strings, a vector of diagnostics and std::function
// callbacks. Header-only; link the same library as a C program does.
//
//     morvane::Converter converter;
//     std::string x3d;
//     if (converter.Convert(document, x3d) != morvane::Status::kOk) ...
//
// An exception that a callback throws is thrown again to the caller once
// the conversion has returned; a writer's ends the conversion at once. A
// moved-from Converter may only be assigned to or destroyed.
#ifndef MORVANE_MORVANE_HPP
#define MORVANE_MORVANE_HPP

#include <cstddef>
#include <exception>
#include <functional>
#include <initializer_list>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "morvane/morvane.h"

namespace morvane {

enum class Status {
    kOk = MORVANE_OK,
    kRefused = MORVANE_REFUSED,
    kBadOption = MORVANE_BAD_OPTION,
    kInvalidArgument = MORVANE_INVALID_ARGUMENT,
    kOutOfMemory = MORVANE_OUT_OF_MEMORY,
};

enum class Severity { kWarning = MORVANE_WARNING, kError = MORVANE_ERROR };

// A diagnostic of morvane.h, its strings copied.
struct Diagnostic {
    Severity severity;
    std::string kind;
    std::string message;
    // From 1; 0 where no place applies.
    unsigned long line;
    unsigned long column;
};

// The version of the library that runs.
inline std::string_view Version() { return morvane_version(); }

class Converter {
public:
    // Takes a piece of the output; false abandons the conversion.
    using Writer = std::function<bool(std::string_view piece)>;
    // Takes an image made for the output under its relative name; false when
    // it was not stored.
    using ImageHandler = std::function<bool(const std::string& name, std::string_view bytes)>;
    using ProgressHandler = std::function<void(char mark)>;

    // Throws std::bad_alloc when memory runs out.
    Converter() : callbacks_(new Callbacks), handle_(morvane_new()) {
        if (handle_ == nullptr) throw std::bad_alloc();
    }
    ~Converter() { morvane_free(handle_); }
    Converter(Converter&& other) noexcept
        : callbacks_(std::move(other.callbacks_)), handle_(std::exchange(other.handle_, nullptr)) {}
    Converter& operator=(Converter&& other) noexcept {
        std::swap(handle_, other.handle_);
        std::swap(callbacks_, other.callbacks_);
        return *this;
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    // The command line's option words, as morvane_set_options takes them.
    Status SetOptions(const std::vector<std::string>& words) {
        std::vector<const char*> pointers;
        pointers.reserve(words.size());
        for (const std::string& word : words) pointers.push_back(word.c_str());
        return Status(morvane_set_options(handle_, pointers.data(), pointers.size()));
    }
    Status SetOutputName(const std::string& name) { return Status(morvane_set_output_name(handle_, name.c_str())); }
    Status SetLocation(const std::string& pathOrUrl) {
        return Status(morvane_set_location(handle_, pathOrUrl.c_str()));
    }
    // An empty function removes the handler.
    Status SetImageHandler(ImageHandler handler) {
        callbacks_->Image = std::move(handler);
        return Status(morvane_set_image_handler(handle_, callbacks_->Image ? &PutImage : nullptr, callbacks_.get()));
    }
    Status SetProgressHandler(ProgressHandler handler) {
        callbacks_->Progress = std::move(handler);
        return Status(
            morvane_set_progress_handler(handle_, callbacks_->Progress ? &Mark : nullptr, callbacks_.get()));
    }

    // Streams the output to `write`; the pieces are the whole output only
    // when the status is kOk.
    Status Convert(std::string_view document, const Writer& write) {
        Call call{&write, callbacks_.get(), nullptr};
        const morvane_status status = morvane_convert(handle_, document.data(), document.size(), &Write, &call);
        callbacks_->Rethrow();
        if (call.Failure) std::rethrow_exception(call.Failure);
        return Status(status);
    }
    // Gives the whole output in `x3d`, which is left empty unless kOk.
    Status Convert(std::string_view document, std::string& x3d) {
        x3d.clear();
        const Status status = Convert(document, [&x3d](std::string_view piece) {
            x3d.append(piece);
            return true;
        });
        if (status != Status::kOk) x3d.clear();
        return status;
    }

    // The diagnostics of the last conversion.
    std::vector<Diagnostic> Diagnostics() const {
        std::vector<Diagnostic> all;
        const std::size_t count = morvane_diagnostic_count(handle_);
        all.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            const morvane_diagnostic* d = morvane_diagnostic_at(handle_, i);
            all.push_back({Severity(d->severity), d->kind, d->message, d->line, d->column});
        }
        return all;
    }

    morvane_converter* Handle() const { return handle_; }

private:
    struct Callbacks {
        ImageHandler Image;
        ProgressHandler Progress;
        // The first exception a handler threw during a conversion.
        std::exception_ptr Failure;
        void Rethrow() {
            if (Failure) std::rethrow_exception(std::exchange(Failure, nullptr));
        }
    };
    struct Call {
        const Writer* Write;
        Callbacks* Handlers;
        std::exception_ptr Failure;
    };

    static int Write(void* user, const char* data, std::size_t size) {
        Call& call = *static_cast<Call*>(user);
        try {
            return (*call.Write)(std::string_view(data, size)) ? 0 : 1;
        } catch (...) {
            call.Failure = std::current_exception();
            return 1;
        }
    }
    static int PutImage(void* user, const char* name, const unsigned char* data, std::size_t size) {
        Callbacks& callbacks = *static_cast<Callbacks*>(user);
        try {
            return callbacks.Image(name, std::string_view(reinterpret_cast<const char*>(data), size)) ? 0 : 1;
        } catch (...) {
            if (!callbacks.Failure) callbacks.Failure = std::current_exception();
            return 1;
        }
    }
    static void Mark(void* user, char mark) {
        Callbacks& callbacks = *static_cast<Callbacks*>(user);
        if (callbacks.Failure) return;
        try {
            callbacks.Progress(mark);
        } catch (...) {
            callbacks.Failure = std::current_exception();
        }
    }

    // Made first, so that a converter is never left unfreed when making the
    // callbacks' holder throws.
    std::unique_ptr<Callbacks> callbacks_;
    morvane_converter* handle_;
};

}  // namespace morvane

#endif
