// libFuzzer entry: a whole conversion of arbitrary bytes, in memory,
// through the library's public interface. The first two bytes choose the
// options and how the document is cut into pieces for the parser; the rest
// is the document. The document is converted a second time in those pieces
// by the converter inside, and the two outputs must be the same: how the
// bytes reach the parser never changes the output.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "document/document_converter.h"
#include "driver/command_line.h"
#include "morvane/morvane.h"

namespace {

struct Flag {
    unsigned bit;
    const char* option;
};

// First byte: one option a bit.
constexpr Flag kFirstByte[] = {
    {0x01, "-l"},  {0x02, "-ss"}, {0x04, "-sy"}, {0x08, "-sl"},
    {0x10, "-sp"}, {0x20, "-fm"}, {0x40, "-sv"}, {0x80, "-se"},
};
// Second byte, low bits: the rest of the options.
constexpr Flag kSecondByte[] = {{0x01, "-sb"}, {0x02, "-sn"}};
// Second byte, bits 2-3: the crease angle.
constexpr const char* kCreaseAngles[] = {nullptr, "-a0", "-a180", "-a-30"};
// Second byte, bits 4-7: the piece size; 0 hands the document over whole.
constexpr std::size_t kChunkSizes[] = {0, 1, 2, 3, 5, 7, 16, 64, 100, 255, 512, 1000, 4096, 0, 0, 0};

}  // namespace

// The converter of the whole run: documents one after the other must not
// reach each other.
morvane_converter* const gConverter = morvane_new();

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const unsigned first = data[0];
    const unsigned second = data[1];

    std::vector<std::string> options;
    for (const Flag& flag : kFirstByte) {
        if ((first & flag.bit) != 0) options.emplace_back(flag.option);
    }
    for (const Flag& flag : kSecondByte) {
        if ((second & flag.bit) != 0) options.emplace_back(flag.option);
    }
    if (const char* angle = kCreaseAngles[(second >> 2) & 3]) options.emplace_back(angle);
    const std::size_t chunkSize = kChunkSizes[(second >> 4) & 15];

    const std::string_view document(reinterpret_cast<const char*>(data + 2), size - 2);
    std::vector<const char*> words;
    for (const std::string& option : options) words.push_back(option.c_str());
    if (morvane_set_options(gConverter, words.data(), words.size()) != MORVANE_OK) __builtin_trap();
    char* text = nullptr;
    std::size_t length = 0;
    const morvane_status status = morvane_convert_to_text(gConverter, document.data(), document.size(), &text, &length);
    const std::string whole = status == MORVANE_OK ? std::string(text, length) : std::string();
    morvane_free_text(text);
    if (chunkSize == 0) return 0;

    morvane::ConversionJob job{morvane::DocumentInput::Memory(document, chunkSize), {}, "output.x3d", {}};
    std::vector<std::string> args{"morvane"};
    args.insert(args.end(), options.begin(), options.end());
    morvane::ApplyArguments(args, job.Options);
    morvane::MemorySink pieces;
    morvane::ConvertDocument(job, pieces);
    if (pieces.TakeText() != whole) __builtin_trap();
    return 0;
}
