// The one way text leaves the converter: every writer puts its text into a
// TextOutput, which gathers it in a fixed buffer and hands it in large
// pieces to an OutputSink. Numbers come out byte for byte as printf's
// conversions would write them ("%d", "%lf", "%lg"), and strings as "%s"
// would. The sinks are a file (OutputStream), memory and a callback.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

namespace morvane {

// Where the text of one output goes. A sink fails by throwing a
// ConversionError; after a failure it is only ever abandoned.
class OutputSink {
public:
    virtual ~OutputSink() = default;
    // Once, before the first piece, when a document has an output at all:
    // a document without one never begins its sink.
    virtual void Begin() {}
    // The next piece of the text.
    virtual void Take(std::string_view piece) = 0;
    // All of the text was taken: it becomes the output.
    virtual void Commit() {}
    // The text stays unfinished: what was taken is dropped, and whatever the
    // output was before stays as it was.
    virtual void Abandon() {}
};

// Keeps the text of the output that was committed last.
class MemorySink final : public OutputSink {
public:
    void Begin() override { pending_.clear(); }
    void Take(std::string_view piece) override { pending_.append(piece); }
    void Commit() override { text_ = std::move(pending_); }
    void Abandon() override { pending_.clear(); }
    // The committed text, moved out; empty when none was committed.
    std::string TakeText() { return std::move(text_); }

private:
    std::string pending_;
    std::string text_;
};

// Hands every piece to a function as it comes. The function refuses the
// output by returning false, which ends the conversion without an output;
// the conversion's result tells the receiver whether what it got is whole.
class CallbackSink final : public OutputSink {
public:
    using Receiver = std::function<bool(std::string_view piece)>;
    explicit CallbackSink(Receiver receive) : receive_(std::move(receive)) {}
    void Take(std::string_view piece) override;

private:
    Receiver receive_;
};

class TextOutput {
public:
    // The sink takes at most `limit` bytes: the piece that would pass it
    // refuses the output as too large.
    explicit TextOutput(OutputSink& sink, std::uint64_t limit = std::numeric_limits<std::uint64_t>::max());
    ~TextOutput();
    TextOutput(const TextOutput&) = delete;
    TextOutput& operator=(const TextOutput&) = delete;

    void Put(std::string_view text);
    void Put(char c) {
        if (at_ == end_) Flush();
        *at_++ = c;
    }
    // As "%s" writes a string: up to its first NUL.
    void PutString(const std::string& text);
    // `count` tabs; nothing for zero or less.
    void PutTabs(int count);
    // As "%d".
    void PutInt(std::int32_t value);
    // As "%lf" (and "%f"): six decimals, and inf, nan and their signs as
    // printf has them.
    void PutFixed(double value);
    // As "%lg".
    void PutNumber(double value);
    // Hands what is gathered to the sink. Nothing else does but a full
    // buffer: a writer flushes at its end, and what is left when the output
    // is dropped on the way is never handed.
    void Flush();

private:
    void Hand(std::string_view piece);
    bool PutShortFixed(double value);
    void MakeRoom(std::size_t size) {
        if (static_cast<std::size_t>(end_ - at_) < size) Flush();
    }

    OutputSink& sink_;
    std::uint64_t limit_;
    std::uint64_t handed_ = 0;
    std::unique_ptr<char[]> buffer_;
    char* at_;
    char* end_;
};

}  // namespace morvane
