// The output never costs the user a file: not the input, not another
// document, not a file that a link planted by someone else points to, not
// an earlier output when the disk fills or the program is stopped. Each
// case runs the real program and checks that the earlier file is byte for
// byte what it was, that no hidden file is left behind, the exit status and
// the line on standard error.
#include <fcntl.h>
#include <pwd.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "test_support.h"

namespace morvane {
namespace {

namespace fs = std::filesystem;
using test::HiddenEntries;
using test::ReadFile;
using test::RunMorvane;
using test::ScratchDirectory;
using test::WriteFile;

std::string Cube() { return ReadFile(fs::path(MORVANE_SOURCE_DIR) / "examples" / "cube.dae"); }

// One triangle under a scene of `nodes` empty nodes: a small document whose
// writing takes long and prints a '+' for every node.
std::string ManyNodes(int nodes) {
    std::string document =
        "<COLLADA><library_geometries><geometry id='g'><mesh>"
        "<source id='p'><float_array id='p-array'>0 0 0 1 0 0 0 1 0</float_array></source>"
        "<vertices id='v'><input semantic='POSITION' source='#p'/></vertices>"
        "<triangles count='1'><input semantic='VERTEX' source='#v' offset='0'/><p>0 1 2</p></triangles>"
        "</mesh></geometry></library_geometries><library_visual_scenes><visual_scene>"
        "<node><instance_geometry url='#g'/></node>";
    for (int i = 0; i < nodes; ++i) document += "<node/>";
    return document + "</visual_scene></library_visual_scenes></COLLADA>";
}

std::size_t CountOf(const std::string& text, char c) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), c));
}

// A refusal: nothing printed but the line, exit code 0.
void ExpectRefused(const test::Ending& ending, const std::string& line) {
    EXPECT_EQ(ending.exitCode, 0);
    EXPECT_EQ(ending.out, "");
    EXPECT_EQ(ending.err, line);
}

struct Account {
    uid_t uid = 0;
    gid_t gid = 0;
};

// The user of tests that need a second one; only root can act as it.
bool Nobody(Account& account) {
    const passwd* entry = getpwnam("nobody");
    if (geteuid() != 0 || entry == nullptr) return false;
    account = {entry->pw_uid, entry->pw_gid};
    return true;
}

TEST(OutputSafety, TheInputIsNeverTheOutputWhateverNamesIt) {
    ScratchDirectory scratch;
    const std::string cube = Cube();
    WriteFile(scratch / "in.dae", cube);
    fs::create_symlink("in.dae", scratch / "alias.x3d");
    const std::string path = (scratch / "in.dae").string();
    const std::pair<std::string, std::string> runs[] = {
        {"file://" + path, "in.dae"}, {"file://" + path, "alias.x3d"}, {"file://localhost" + path, path},
        {"in.dae", "alias.x3d"},      {"in.dae", "./in.dae"}};
    for (const auto& [input, output] : runs) {
        ExpectRefused(RunMorvane(scratch.Path(), {input, output}),
                      "morvane: " + input + ": refused: " + output + " would overwrite the input\n");
        EXPECT_EQ(ReadFile(scratch / "in.dae"), cube) << input << " " << output;
    }
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());

    // Converted from elsewhere, a file URL's output lands beside the input.
    fs::create_directory(scratch / "elsewhere");
    const auto converted = RunMorvane(scratch / "elsewhere", {"file://" + path});
    EXPECT_EQ(converted.err, "");
    EXPECT_NE(ReadFile(scratch / "in.x3d").find("</X3D>"), std::string::npos);
    EXPECT_TRUE(fs::is_empty(scratch / "elsewhere"));
}

TEST(OutputSafety, ADerivedNameNeverReplacesAnotherDocument) {
    ScratchDirectory scratch;
    const std::string cube = Cube();
    // A directory named like a document: its documents derive names in a
    // sibling directory, where another document may stand.
    fs::create_directories(scratch / "proj.dae");
    fs::create_directories(scratch / "proj.x3d");
    WriteFile(scratch / "proj.dae" / "model.dae", cube);
    WriteFile(scratch / "proj.x3d" / "model.dae", "other document");
    ExpectRefused(RunMorvane(scratch.Path(), {"proj.dae/model.dae"}),
                  "morvane: proj.dae/model.dae: refused: proj.x3d/model.dae is an existing .dae file\n");
    EXPECT_EQ(ReadFile(scratch / "proj.x3d" / "model.dae"), "other document");

    // Both match the pattern; the first would write over the second.
    fs::create_directory(scratch / "batch");
    WriteFile(scratch / "batch" / "a.dae.dae", cube);
    WriteFile(scratch / "batch" / "a.x3d.dae", cube);
    const auto both = RunMorvane(scratch / "batch", {"*.dae"});
    EXPECT_EQ(both.exitCode, 0);
    EXPECT_EQ(both.err, "morvane: a.dae.dae: refused: a.x3d.dae is an existing .dae file\n");
    EXPECT_EQ(ReadFile(scratch / "batch" / "a.x3d.dae"), cube);
    EXPECT_TRUE(fs::exists(scratch / "batch" / "a.x3d.x3d"));

    // A link at the derived name leads to a document: the test is made on the file itself.
    fs::create_directory(scratch / "linked");
    WriteFile(scratch / "linked" / "a.dae", cube);
    WriteFile(scratch / "linked" / "c.dae", cube);
    fs::create_symlink("a.dae", scratch / "linked" / "c.x3d");
    ExpectRefused(RunMorvane(scratch / "linked", {"c.dae"}),
                  "morvane: c.dae: refused: a.dae is an existing .dae file\n");
    EXPECT_EQ(ReadFile(scratch / "linked" / "a.dae"), cube);
    for (const char* directory : {"batch", "linked"}) EXPECT_TRUE(HiddenEntries(scratch / directory).empty());
}

TEST(OutputSafety, ALinkInAStickyDirectoryIsFollowedOnlyForItsOwnerOrTheDirectorysOwner) {
    Account nobody;
    if (!Nobody(nobody)) GTEST_SKIP() << "needs root and the user nobody to plant another user's link";
    ScratchDirectory scratch;
    const fs::path shared = scratch / "shared";
    fs::create_directory(shared);
    ASSERT_EQ(chmod(shared.c_str(), 01777), 0);
    WriteFile(shared / "m.dae", Cube());
    auto plant = [&](uid_t owner) {
        WriteFile(scratch / "victim", "victim");
        fs::remove(shared / "m.x3d");
        fs::create_symlink("../victim", shared / "m.x3d");
        ASSERT_EQ(lchown((shared / "m.x3d").c_str(), owner, static_cast<gid_t>(-1)), 0);
    };

    plant(nobody.uid);
    ExpectRefused(RunMorvane(scratch.Path(), {"shared/m.dae"}),
                  "morvane: shared/m.dae: refused: shared/m.x3d is a symbolic link in a sticky directory, owned by "
                  "someone else\n");
    EXPECT_EQ(ReadFile(scratch / "victim"), "victim");
    EXPECT_TRUE(HiddenEntries(shared).empty());

    // The user's own link, and a link of the directory's owner, are followed.
    plant(geteuid());
    EXPECT_EQ(RunMorvane(scratch.Path(), {"shared/m.dae"}).err, "");
    EXPECT_NE(ReadFile(scratch / "victim").find("</X3D>"), std::string::npos);
    ASSERT_EQ(chown(shared.c_str(), nobody.uid, nobody.gid), 0);
    plant(nobody.uid);
    EXPECT_EQ(RunMorvane(scratch.Path(), {"shared/m.dae"}).err, "");
    EXPECT_NE(ReadFile(scratch / "victim").find("</X3D>"), std::string::npos);
}

test::Ending MorvaneInto(const fs::path& directory, std::vector<std::string> args, int output) {
    const auto ending = test::Execute({.Directory = directory, .Args = std::move(args), .Stdout = output});
    close(output);
    return ending;
}

TEST(OutputSafety, DescriptorNamesAreWrittenThroughWithoutTruncating) {
    ScratchDirectory scratch;
    WriteFile(scratch / "in.dae", Cube());
    for (const auto& [name, base] : {std::pair{"/dev/stdout", "stdout"}, {"/proc/self/fd/1", "1"}}) {
        // The conversion into a plain file of the same base name, then the
        // progress marks, which wait in the console's buffer.
        const auto plain = RunMorvane(scratch.Path(), {"in.dae", std::string(base) + ".x3d"});
        const std::string expected = ReadFile(scratch / (std::string(base) + ".x3d")) + plain.out;

        // morvane in.dae /dev/stdout >> log
        WriteFile(scratch / "log", "earlier\n");
        const auto appended =
            MorvaneInto(scratch.Path(), {"in.dae", name}, open((scratch / "log").c_str(), O_WRONLY | O_APPEND));
        EXPECT_EQ(appended.err, "") << name;
        EXPECT_EQ(ReadFile(scratch / "log"), "earlier\n" + expected) << name;

        // morvane in.dae /dev/stdout | ...
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        EXPECT_EQ(MorvaneInto(scratch.Path(), {"in.dae", name}, ends[1]).err, "") << name;
        std::string received(expected.size() + 1, '\0');
        const ssize_t got = read(ends[0], received.data(), received.size());
        received.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        close(ends[0]);
        EXPECT_EQ(received, expected) << name;
    }
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());
}

TEST(OutputSafety, AReadOnlyOutputIsRefusedAndAReplacedOneKeepsOwnerAndMode) {
    ScratchDirectory scratch;
    WriteFile(scratch / "in.dae", Cube());
    WriteFile(scratch / "in.x3d", "earlier");
    ASSERT_EQ(chmod((scratch / "in.x3d").c_str(), 0444), 0);
    test::Launch launch{.Directory = scratch.Path(), .Args = {"in.dae"}};
    // Root may write anything: the refusal is seen by an ordinary user.
    Account nobody;
    const bool root = Nobody(nobody);
    if (root) {
        for (const char* name : {"", "in.dae", "in.x3d"}) {
            ASSERT_EQ(chown((scratch / name).c_str(), nobody.uid, nobody.gid), 0);
        }
        launch.User = static_cast<int>(nobody.uid);
        launch.Group = static_cast<int>(nobody.gid);
    }
    ExpectRefused(test::Execute(launch), "morvane: in.dae: cannot write in.x3d: Permission denied\n");
    EXPECT_EQ(ReadFile(scratch / "in.x3d"), "earlier");
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());
    if (!root) GTEST_SKIP() << "replacing another user's file needs root";

    // Replaced by root, the file stays the user's, with its mode.
    ASSERT_EQ(chmod((scratch / "in.x3d").c_str(), 0640), 0);
    EXPECT_EQ(RunMorvane(scratch.Path(), {"in.dae"}).err, "");
    struct stat status {};
    ASSERT_EQ(stat((scratch / "in.x3d").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, nobody.uid);
    EXPECT_EQ(status.st_gid, nobody.gid);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_NE(ReadFile(scratch / "in.x3d").find("</X3D>"), std::string::npos);
}

TEST(OutputSafety, AnOutputNameAsLongAsTheFileSystemAllowsWorks) {
    ScratchDirectory scratch;
    const long longest = pathconf(scratch.Path().c_str(), _PC_NAME_MAX);
    ASSERT_GT(longest, 4);
    const std::string stem(static_cast<std::size_t>(longest) - 4, 'n');
    WriteFile(scratch / (stem + ".dae"), Cube());
    const auto ending = RunMorvane(scratch.Path(), {stem + ".dae"});
    EXPECT_EQ(ending.err, "");
    EXPECT_TRUE(fs::exists(scratch / (stem + ".x3d")));
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());
}

// Waits, up to half a minute, for the hidden temporary file of a conversion.
bool AwaitTemporaryFile(const fs::path& directory) {
    for (int i = 0; i < 30000 && HiddenEntries(directory).empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return !HiddenEntries(directory).empty();
}

TEST(OutputSafety, ASignalRemovesTheTemporaryFileAndEndsTheProgramByItself) {
    ScratchDirectory scratch;
    WriteFile(scratch / "many.dae", ManyNodes(100000));
    WriteFile(scratch / "many.x3d", "earlier");
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) {
        // The progress marks fill a pipe that nobody reads, so the writing
        // waits with its temporary file in place; for SIGPIPE nobody ever will.
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        if (signal == SIGPIPE) close(ends[0]);
        test::Launch launch{
            .Directory = scratch.Path(), .Args = {"many.dae"}, .Stdout = ends[1], .TimeoutSeconds = 60};
        launch.WhileRunning = [&](int pid) {
            if (signal == SIGPIPE) return;
            const bool waiting = AwaitTemporaryFile(scratch.Path());
            EXPECT_TRUE(waiting) << "no temporary file";
            kill(pid, waiting ? signal : SIGKILL);
        };
        const auto ending = test::Execute(launch);
        close(ends[1]);
        if (signal != SIGPIPE) close(ends[0]);
        EXPECT_EQ(ending.signal, signal) << strsignal(signal);
        EXPECT_EQ(ending.err, "") << strsignal(signal);
        EXPECT_EQ(ReadFile(scratch / "many.x3d"), "earlier") << strsignal(signal);
        EXPECT_TRUE(HiddenEntries(scratch.Path()).empty()) << strsignal(signal);
    }
}

// A small file system of its own, gone with the object.
class SmallDisk {
public:
    explicit SmallDisk(const fs::path& at) : at_(at) {
        fs::create_directory(at_);
        mounted_ = mount("tmpfs", at_.c_str(), "tmpfs", 0, "size=64k") == 0;
    }
    ~SmallDisk() {
        if (mounted_) umount(at_.c_str());
    }
    bool Mounted() const { return mounted_; }

private:
    fs::path at_;
    bool mounted_ = false;
};

TEST(OutputSafety, AFailedWriteEndsTheConversionAtOnceAndKeepsTheEarlierFile) {
    ScratchDirectory scratch;
    WriteFile(scratch / "many.dae", ManyNodes(100000));
    WriteFile(scratch / "many.x3d", "earlier");
    // At once: most of the nodes never print their '+'.
    test::Launch launch{.Directory = scratch.Path(), .Args = {"many.dae"}, .FileSizeLimit = 1 << 16};
    const auto limited = test::Execute(launch);
    EXPECT_EQ(limited.exitCode, 0);
    EXPECT_EQ(limited.err, "morvane: many.dae: cannot write many.x3d: File too large\n");
    EXPECT_LT(CountOf(limited.out, '+'), 10000u);
    EXPECT_EQ(ReadFile(scratch / "many.x3d"), "earlier");

    // One byte short: only the last write, when the file is closed, fails.
    WriteFile(scratch / "cube.dae", Cube());
    fs::create_directory(scratch / "whole");
    ASSERT_EQ(RunMorvane(scratch.Path(), {"cube.dae", "whole/cube.x3d"}).err, "");
    WriteFile(scratch / "cube.x3d", "earlier");
    launch.Args = {"cube.dae"};
    launch.FileSizeLimit = static_cast<long>(fs::file_size(scratch / "whole" / "cube.x3d")) - 1;
    EXPECT_EQ(test::Execute(launch).err, "morvane: cube.dae: cannot write cube.x3d: File too large\n");
    EXPECT_EQ(ReadFile(scratch / "cube.x3d"), "earlier");
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());

    // A full disk.
    const SmallDisk disk(scratch / "disk");
    if (!disk.Mounted()) GTEST_SKIP() << "mounting a small tmpfs needs root";
    WriteFile(scratch / "disk" / "many.x3d", "earlier");
    const auto full = RunMorvane(scratch.Path(), {"many.dae", "disk/many.x3d"});
    EXPECT_EQ(full.exitCode, 0);
    EXPECT_EQ(full.err, "morvane: many.dae: cannot write disk/many.x3d: No space left on device\n");
    EXPECT_LT(CountOf(full.out, '+'), 10000u);
    EXPECT_EQ(ReadFile(scratch / "disk" / "many.x3d"), "earlier");
    EXPECT_TRUE(HiddenEntries(scratch / "disk").empty());
}

}  // namespace
}  // namespace morvane
