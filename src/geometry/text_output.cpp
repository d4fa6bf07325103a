#include "geometry/text_output.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "document/output_file.h"

namespace morvane {

namespace {

constexpr std::size_t kBufferSize = 1 << 16;
// The longest "%lf" of a finite double: 309 digits, sign, point, decimals.
constexpr std::size_t kLongestFixed = 330;

}  // namespace

TextOutput::TextOutput(std::FILE* stream)
    : stream_(stream), buffer_(new char[kBufferSize]), at_(buffer_.get()), end_(buffer_.get() + kBufferSize) {}

TextOutput::~TextOutput() {
    // No check here: it may run while a failure unwinds, and the stream
    // keeps its error for the next check.
    if (!std::ferror(stream_)) Hand();
}

void TextOutput::Put(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(end_ - at_)) {
        Flush();
        if (text.size() > kBufferSize) {
            std::fwrite(text.data(), 1, text.size(), stream_);
            ThrowIfWriteFailed(stream_);
            return;
        }
    }
    std::memcpy(at_, text.data(), text.size());
    at_ += text.size();
}

void TextOutput::PutTabs(int count) {
    for (int i = 0; i < count; ++i) Put('\t');
}

void TextOutput::PutInt(std::int32_t value) {
    MakeRoom(16);
    at_ = std::to_chars(at_, end_, value).ptr;
}

void TextOutput::PutFixed(double value) {
    MakeRoom(kLongestFixed);
    if (std::isfinite(value)) {
        // Rounds the exact binary value half to even, as printf does.
        at_ = std::to_chars(at_, end_, value, std::chars_format::fixed, 6).ptr;
        return;
    }
    const int written = std::snprintf(at_, kLongestFixed, "%lf", value);
    if (written > 0) at_ += written;
}

void TextOutput::Flush() {
    Hand();
    ThrowIfWriteFailed(stream_);
}

void TextOutput::Hand() {
    if (at_ != buffer_.get()) std::fwrite(buffer_.get(), 1, static_cast<std::size_t>(at_ - buffer_.get()), stream_);
    at_ = buffer_.get();
}

}  // namespace morvane
