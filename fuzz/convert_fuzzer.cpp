// libFuzzer entry: one whole conversion of arbitrary bytes, in memory.
// The first two bytes choose the options and how the document is cut into
// pieces for the parser; the rest is the document.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "driver/conversion.h"

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

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The progress marks of large meshes would only bury libFuzzer's lines.
    if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
    return 0;
}

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
    const std::string x3d = morvane::ConvertInMemory(document, options, "fuzz.x3d", chunkSize);
    // Touch the text so that nothing of the conversion can be skipped.
    volatile std::size_t length = x3d.size();
    (void)length;
    return 0;
}
