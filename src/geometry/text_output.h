// Text for an output stream, gathered in a fixed buffer and handed to the
// stream in large pieces. Numbers come out byte for byte as printf's "%d"
// and "%lf" would write them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>

namespace morvane {

class TextOutput {
public:
    explicit TextOutput(std::FILE* stream);
    ~TextOutput();
    TextOutput(const TextOutput&) = delete;
    TextOutput& operator=(const TextOutput&) = delete;

    void Put(std::string_view text);
    void Put(char c) {
        if (at_ == end_) Flush();
        *at_++ = c;
    }
    // `count` tabs; nothing for zero or less.
    void PutTabs(int count);
    // As "%d".
    void PutInt(std::int32_t value);
    // As "%lf": six decimals, and inf, nan and their signs as printf has them.
    void PutFixed(double value);
    // As "%lg".
    void PutNumber(double value);
    // Hands what is gathered to the stream; throws WriteFailed when the
    // stream has failed, so that a mesh stops at the first failed write.
    void Flush();

private:
    void Hand();
    bool PutShortFixed(double value);
    void MakeRoom(std::size_t size) {
        if (static_cast<std::size_t>(end_ - at_) < size) Flush();
    }

    std::FILE* stream_;
    std::unique_ptr<char[]> buffer_;
    char* at_;
    char* end_;
};

}  // namespace morvane
