// The built program run as a user would, in a scratch directory: the usage
// text, batches, and the prompt before a long smoothing.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "test_support.h"

namespace morvane {
namespace {

using test::RunMorvane;
using test::ScratchDirectory;

const std::string kPrompt =
    "This file may take a long time to smooth & optimize.\nAre you sure you want to do this? (y/n):";

// A file of `size` bytes that takes no disk space: above the size limit
// unless told otherwise.
void MakeSparseFile(const std::filesystem::path& path, std::uintmax_t size = 10000001) {
    test::WriteFile(path, "");
    std::filesystem::resize_file(path, size);
}

std::size_t Count(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
    return count;
}

TEST(EndToEnd, WithoutAnInputTheUsageTextIsPrinted) {
    ScratchDirectory scratch;
    const auto usage = RunMorvane(scratch.Path(), {});
    EXPECT_EQ(usage.exitCode, 0);
    EXPECT_EQ(usage.err, "");
    EXPECT_EQ(usage.out.rfind("\nUsage: Morvane [options] <inputfile or url> <output file name>\n", 0), 0u);
    // The default angle is shown, whatever the arguments say.
    EXPECT_NE(usage.out.find("\n-a  : set crease angle (default is 60.0)\n"), std::string::npos);
    const auto withOptions = RunMorvane(scratch.Path(), {"-sy", "-a45"});
    EXPECT_EQ(withOptions.exitCode, 0);
    EXPECT_EQ(withOptions.out, usage.out);
    EXPECT_EQ(withOptions.err, "");
}

TEST(EndToEnd, ABatchNeverOpensAMatchThatIsNotARegularFile) {
    ScratchDirectory scratch;
    test::WriteFile(scratch / "a.dae", test::CubeDocument());
    // Opened, a FIFO would wait for a writer for ever.
    ASSERT_EQ(mkfifo((scratch / "b.dae").c_str(), 0600), 0);
    std::filesystem::create_directory(scratch / "c.dae");
    const auto ending = test::Execute({.Directory = scratch.Path(), .Args = {"*.dae"}, .TimeoutSeconds = 30});
    EXPECT_FALSE(ending.hung);
    EXPECT_EQ(ending.exitCode, 0);
    EXPECT_EQ(ending.err, "morvane: b.dae: not a regular file\nmorvane: c.dae: not a regular file\n");
    EXPECT_TRUE(std::filesystem::exists(scratch / "a.x3d"));
}

TEST(EndToEnd, ABatchPassesOverASecondArgumentThatIsNoDirectory) {
    ScratchDirectory scratch;
    const std::string cube = test::CubeDocument();
    std::filesystem::create_directory(scratch / "in");
    for (const char* name : {"a.dae", "b.dae"}) test::WriteFile(scratch / "in" / name, cube);
    // What "morvane 'in/*.dae' out.x3d" would otherwise write twice, the
    // second document over the first.
    for (const bool existing : {false, true}) {
        if (existing) test::WriteFile(scratch / "out.x3d", "earlier");
        const auto result = RunMorvane(scratch.Path(), {"in/*.dae", "out.x3d"});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(std::filesystem::exists(scratch / "out.x3d"), existing);
        if (existing) {
            EXPECT_EQ(test::ReadFile(scratch / "out.x3d"), "earlier");
        }
        // Each output beside its input, under its own name.
        for (const char* name : {"a", "b"}) {
            const std::string text = test::ReadFile(scratch / "in" / (std::string(name) + ".x3d"));
            EXPECT_NE(text.find("<Viewpoint DEF='" + std::string(name) + " Front'"), std::string::npos) << name;
        }
        for (const char* name : {"a.x3d", "b.x3d"}) std::filesystem::remove(scratch / "in" / name);
    }
}

TEST(EndToEnd, ThePromptComesOnlyAboveTenMillionBytesWithSmoothing) {
    ScratchDirectory scratch;
    MakeSparseFile(scratch / "exact.dae", 10000000);
    MakeSparseFile(scratch / "above.dae");
    EXPECT_EQ(RunMorvane(scratch.Path(), {"exact.dae"}, "y").out, "");
    EXPECT_EQ(RunMorvane(scratch.Path(), {"above.dae"}, "y").out, kPrompt);
    EXPECT_EQ(RunMorvane(scratch.Path(), {"-ss", "above.dae"}, "y").out, "");
    EXPECT_EQ(RunMorvane(scratch.Path(), {"above.dae", "-fs"}, "y").out, "");
    // The end of the input answers like any character but n.
    EXPECT_EQ(RunMorvane(scratch.Path(), {"above.dae"}, "").out, kPrompt);
}

TEST(EndToEnd, AnsweringNoSwitchesSmoothingOffForTheRestOfTheBatch) {
    ScratchDirectory scratch;
    for (const char* name : {"1.dae", "2.dae", "3.dae"}) MakeSparseFile(scratch / name);
    // One character per prompt: "y" answers the first, "N" the second, and no third prompt comes.
    EXPECT_EQ(Count(RunMorvane(scratch.Path(), {"*.dae"}, "yN\n").out, kPrompt), 2u);
    EXPECT_EQ(Count(RunMorvane(scratch.Path(), {"*.dae"}, "n").out, kPrompt), 1u);
}

TEST(EndToEnd, AnOutputThatMayNotBeWrittenIsFoundOutBeforeTheDocumentIsRead) {
    ScratchDirectory scratch;
    MakeSparseFile(scratch / "big.dae");
    test::WriteFile(scratch / "other.DAE", "keep me");
    // What a shell makes of "morvane *.dae": the second document, whatever
    // the case of its extension, is no output name.
    for (const auto& [output, line] :
         {std::pair{"missing/out.x3d", "cannot write missing/out.x3d: No such file or directory"},
          {"other.DAE", "refused: other.DAE is an existing .dae file"},
          {".", "not well-formed XML at line 1, column 1: not well-formed (invalid token)"}}) {
        const auto result = RunMorvane(scratch.Path(), {"big.dae", output}, "y");
        EXPECT_EQ(result.exitCode, 0) << output;
        // A directory as output receives the derived name; "." is writable, so only it prompts.
        EXPECT_EQ(result.out, std::string(output) == "." ? kPrompt : "") << output;
        EXPECT_EQ(result.err, "morvane: big.dae: " + std::string(line) + "\n");
    }
    EXPECT_EQ(test::ReadFile(scratch / "other.DAE"), "keep me");
}

}  // namespace
}  // namespace morvane
