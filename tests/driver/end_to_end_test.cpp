// Output files as the converter writes them, and the built program run as
// a user would, in a scratch directory.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>

#include "document/output_file.h"
#include "document/x3d_converter.h"
#include "driver/command_line.h"
#include "geometry/mesh_node.h"
#include "test_support.h"

namespace morvane {
namespace {

using test::RunMorvane;
using test::ScratchDirectory;

const std::string kPrompt =
    "This file may take a long time to smooth & optimize.\nAre you sure you want to do this? (y/n):";
const char* const kNoMesh = "<COLLADA><asset><author>nobody</author></asset></COLLADA>";

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

std::size_t EntryCount(const std::filesystem::path& directory) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator()));
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
    // The default angle is shown, whatever the arguments say.
    EXPECT_EQ(usage.rfind("\nUsage: Morvane [options] <inputfile or url> <output file name>\n", 0), 0u);
    EXPECT_NE(usage.find("\n-a  : set crease angle (default is 60.0)\n"), std::string::npos);
}

TEST(EndToEnd, NothingIsWrittenForNoMatchNoMeshOrABrokenDocument) {
    ScratchDirectory scratch;
    test::WriteFile(scratch / "model.obj", "");
    for (const char* pattern : {"*.dae", "sub/*.dae", "100%20model.dae"}) {
        const auto result = RunMorvane(scratch.Path(), {pattern});
        EXPECT_EQ(result.exitCode, 0) << pattern;
        EXPECT_EQ(result.out, "No\tmatching files found\n") << pattern;
    }
    test::WriteFile(scratch / "a-broken.dae", "<COLLADA><asset>");
    test::WriteFile(scratch / "b-empty.dae", kNoMesh);
    // The prompt shows that the batch went on to the last file.
    MakeSparseFile(scratch / "c-large.dae");
    const auto result = RunMorvane(scratch.Path(), {"*.dae"}, "y");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, kPrompt);
    // Each says why it gave nothing; expat counts the column of the end of
    // the text, or of the first NUL byte, from 1.
    EXPECT_EQ(result.err,
              "morvane: a-broken.dae: not well-formed XML at line 1, column 17: no element found\n"
              "morvane: b-empty.dae: nothing to convert (no triangles, polylist, polygons or lines)\n"
              "morvane: c-large.dae: not well-formed XML at line 1, column 1: not well-formed (invalid token)\n");
    EXPECT_EQ(EntryCount(scratch.Path()), 4u);
}

TEST(EndToEnd, ABatchNeverOpensAMatchThatIsNotARegularFile) {
    ScratchDirectory scratch;
    test::WriteFile(scratch / "a.dae",
                    test::ReadFile(std::filesystem::path(MORVANE_SOURCE_DIR) / "examples" / "cube.dae"));
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
    const std::string cube = test::ReadFile(std::filesystem::path(MORVANE_SOURCE_DIR) / "examples" / "cube.dae");
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

// Runs one document through its start and end with a bounding box of a
// cube of side 2 and one mesh; gives what the output holds.
std::string Convert(const std::filesystem::path& output) {
    X3dConverter converter;
    OutputStream file(output.string());
    converter.OutputFileName = output.string();
    converter.Output = &file;
    converter.startDocument();
    converter.State().BoundsMin = {-1.0, -1.0, -1.0};
    converter.State().BoundsMax = {1.0, 1.0, 1.0};
    converter.State().MeshLibrary->AddMesh("geometry", "", MeshKind::kFaceSet, 60.0f);
    converter.endDocument();
    return std::filesystem::is_regular_file(output) ? test::ReadFile(output) : std::string();
}

TEST(DocumentFrame, BaseNameDropsDirectoryAndExtension) {
    test::ScratchDirectory scratch;
    std::filesystem::create_directory(scratch / "v1.2");
    // A dot in a directory name, none in the file name: the cut happens at that dot.
    EXPECT_NE(Convert(scratch / "v1.2" / "model").find("<Viewpoint DEF='v1 Front'"), std::string::npos);
    EXPECT_NE(Convert(scratch / "v1.2" / "model.x3d.x3d").find("<Viewpoint DEF='model.x3d Front'"),
              std::string::npos);
}

TEST(DocumentFrame, ReplacesAnEarlierFileWholeAndLeavesNoTemporary) {
    test::ScratchDirectory scratch;
    test::WriteFile(scratch / "out.x3d", std::string(100000, 'x'));
    const std::string text = Convert(scratch / "out.x3d");
    EXPECT_EQ(text.rfind("<?xml", 0), 0u);
    EXPECT_EQ(text.find("xxxxxxxxxx"), std::string::npos);
    EXPECT_EQ(EntryCount(scratch.Path()), 1u);
}

}  // namespace
}  // namespace morvane
