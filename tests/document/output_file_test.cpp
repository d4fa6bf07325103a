// The size limit of an output stream: an output of exactly the limit is
// written, one byte more is refused and leaves the earlier file as it was.
#include "document/output_file.h"

#include <gtest/gtest.h>

#include "support/text_output.h"
#include "test_support.h"

namespace morvane {
namespace {

// Writes `size` bytes into `name` through a stream limited to `limit`.
bool WriteThrough(const std::string& name, std::size_t size, std::uint64_t limit, std::string& failure) {
    OutputStream stream(name);
    failure.clear();
    try {
        stream.Begin();
        TextOutput text(stream, limit);
        // Larger than the text buffer, in pieces of uneven sizes.
        const std::string piece(7777, 'x');
        for (std::size_t written = 0; written < size; written += piece.size()) {
            text.Put(std::string_view(piece).substr(0, std::min(piece.size(), size - written)));
        }
        text.Flush();
        stream.Commit();
        return true;
    } catch (const ConversionError& error) {
        stream.Abandon();
        failure = error.Message();
        return false;
    }
}

TEST(OutputFile, AnOutputOfExactlyTheLimitIsWrittenAndOneByteMoreIsRefused) {
    test::ScratchDirectory scratch;
    const std::string name = (scratch / "out.x3d").string();
    constexpr std::uint64_t kLimit = 200000;
    std::string failure;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{kLimit}}) {
        EXPECT_TRUE(WriteThrough(name, size, kLimit, failure)) << size << ": " << failure;
        EXPECT_EQ(test::ReadFile(name), std::string(size, 'x'));
    }
    test::WriteFile(name, "earlier");
    for (const std::size_t size : {std::size_t{kLimit + 1}, std::size_t{3 * kLimit}}) {
        EXPECT_FALSE(WriteThrough(name, size, kLimit, failure)) << size;
        EXPECT_EQ(failure, "output larger than the limit of 200000 bytes");
        EXPECT_EQ(test::ReadFile(name), "earlier");
    }
    EXPECT_TRUE(test::HiddenEntries(scratch.Path()).empty());
}

}  // namespace
}  // namespace morvane
