// Runs the built program as a user would, in a scratch directory.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>

#include "driver/command_line.h"
#include "test_support.h"

namespace morvane {
namespace {

using test::RunMorvane;
using test::ScratchDirectory;

const char* const kPrompt = "This file may take a long time to smooth & optimize.\nAre you sure you want to do this? (y/n):";
const char* const kNoMesh = "<COLLADA><asset><author>nobody</author></asset></COLLADA>";

// A file of `size` bytes that takes no disk space.
void MakeSparseFile(const std::filesystem::path& path, std::uintmax_t size) {
    test::WriteFile(path, "");
    std::filesystem::resize_file(path, size);
}

std::size_t Count(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
    return count;
}

std::vector<std::string> Entries(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(EndToEnd, WithoutAnInputTheUsageTextIsPrinted) {
    ScratchDirectory scratch;
    const std::string usage = test::CaptureOutput([](std::FILE* out) { PrintUsage(out); });
    for (const std::vector<std::string>& args : {std::vector<std::string>{}, {"-sy", "-a45"}}) {
        const auto result = RunMorvane(scratch.Path(), args);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.out, usage);
        EXPECT_EQ(result.err, "");
    }
}

TEST(EndToEnd, ADocumentWithoutMeshWritesNothing) {
    ScratchDirectory scratch;
    test::WriteFile(scratch / "empty.dae", kNoMesh);
    const auto result = RunMorvane(scratch.Path(), {"empty.dae"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(Entries(scratch.Path()), std::vector<std::string>{"empty.dae"});
}

TEST(EndToEnd, APatternThatMatchesNothingSaysSo) {
    ScratchDirectory scratch;
    test::WriteFile(scratch / "model.obj", "");
    for (const char* pattern : {"*.dae", "sub/*.dae", "100%20model.dae"}) {
        const auto result = RunMorvane(scratch.Path(), {pattern});
        EXPECT_EQ(result.exitCode, 0) << pattern;
        EXPECT_EQ(result.out, "No\tmatching files found\n") << pattern;
    }
}

TEST(EndToEnd, AMalformedDocumentDoesNotStopTheBatch) {
    ScratchDirectory scratch;
    test::WriteFile(scratch / "a-broken.dae", "<COLLADA><asset>");
    test::WriteFile(scratch / "b-missing-end.dae", "<COLLADA>");
    // The prompt shows that the batch reached the last file.
    MakeSparseFile(scratch / "c-large.dae", 10000001);
    const auto result = RunMorvane(scratch.Path(), {"*.dae"}, "y");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, kPrompt);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(Entries(scratch.Path()), (std::vector<std::string>{"a-broken.dae", "b-missing-end.dae", "c-large.dae"}));
}

TEST(EndToEnd, ThePromptComesOnlyAboveTenMillionBytesWithSmoothing) {
    ScratchDirectory scratch;
    MakeSparseFile(scratch / "exact.dae", 10000000);
    MakeSparseFile(scratch / "above.dae", 10000001);
    EXPECT_EQ(RunMorvane(scratch.Path(), {"exact.dae"}, "y").out, "");
    EXPECT_EQ(RunMorvane(scratch.Path(), {"above.dae"}, "y").out, kPrompt);
    EXPECT_EQ(RunMorvane(scratch.Path(), {"-ss", "above.dae"}, "y").out, "");
    EXPECT_EQ(RunMorvane(scratch.Path(), {"above.dae", "-fs"}, "y").out, "");
    // The end of the input answers like any character but n.
    EXPECT_EQ(RunMorvane(scratch.Path(), {"above.dae"}, "").out, kPrompt);
}

TEST(EndToEnd, AnsweringNoSwitchesSmoothingOffForTheRestOfTheBatch) {
    ScratchDirectory scratch;
    for (const char* name : {"1.dae", "2.dae", "3.dae"}) MakeSparseFile(scratch / name, 10000001);
    // One character per prompt: "y" answers the first, "N" the second, and no third prompt comes.
    const auto answered = RunMorvane(scratch.Path(), {"*.dae"}, "yN\n");
    EXPECT_EQ(Count(answered.out, kPrompt), 2u);
    const auto declined = RunMorvane(scratch.Path(), {"*.dae"}, "n");
    EXPECT_EQ(Count(declined.out, kPrompt), 1u);
}

TEST(EndToEnd, AnExistingDaeIsNeverTakenAsTheOutput) {
    ScratchDirectory scratch;
    MakeSparseFile(scratch / "big.dae", 10000001);
    test::WriteFile(scratch / "other.DAE", "keep me");
    // What a shell makes of "morvane *.dae": the second document is not an output name.
    const auto result = RunMorvane(scratch.Path(), {"big.dae", "other.DAE"}, "y");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "");  // refused before the prompt
    EXPECT_NE(result.err.find("other.DAE"), std::string::npos);
    EXPECT_EQ(Count(result.err, "\n"), 1u);
    EXPECT_EQ(test::ReadFile(scratch / "other.DAE"), "keep me");
}

TEST(EndToEnd, TheInputIsNeverTheOutput) {
    ScratchDirectory scratch;
    test::WriteFile(scratch / "scene.x3d", kNoMesh);
    std::filesystem::create_symlink("scene.x3d", scratch / "alias.x3d");
    for (const char* output : {"scene.x3d", "./scene.x3d", "alias.x3d"}) {
        const auto result = RunMorvane(scratch.Path(), {"scene.x3d", output});
        EXPECT_EQ(result.exitCode, 0) << output;
        EXPECT_EQ(Count(result.err, "\n"), 1u) << output;
        EXPECT_EQ(test::ReadFile(scratch / "scene.x3d"), kNoMesh) << output;
    }
}

TEST(EndToEnd, AnUnwritableOutputIsFoundOutBeforeTheDocumentIsRead) {
    ScratchDirectory scratch;
    MakeSparseFile(scratch / "big.dae", 10000001);
    for (const char* output : {"missing/out.x3d", "."}) {
        const auto result = RunMorvane(scratch.Path(), {"big.dae", output}, "y");
        EXPECT_EQ(result.exitCode, 0) << output;
        // A directory as output receives the derived name; "." is writable, so only it prompts.
        EXPECT_EQ(result.out, std::string(output) == "." ? kPrompt : "") << output;
    }
}

TEST(EndToEnd, UrlsAreFetchedAndNeverPrompt) {
    ScratchDirectory scratch;
    test::LocalHttpServer server({{"/models/empty.dae", test::HttpOk(kNoMesh)}});
    const auto result = RunMorvane(scratch.Path(), {server.Url("/models/empty.dae"), "-fs"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(server.Requests(), 1);
    const auto missing = RunMorvane(scratch.Path(), {server.Url("/models/none.dae")});
    EXPECT_EQ(missing.exitCode, 0);
    EXPECT_EQ(server.Requests(), 2);
    EXPECT_TRUE(std::filesystem::is_empty(scratch.Path()));
}

}  // namespace
}  // namespace morvane
