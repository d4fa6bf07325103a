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
#include <csignal>

#include "test_support.h"

namespace morvane {
namespace {

namespace fs = std::filesystem;
using test::HiddenEntries;
using test::ReadFile;
using test::RunMorvane;
using test::ScratchDirectory;
using test::WriteFile;

using test::CubeDocument;

// One triangle under a scene of `nodes` empty nodes: a small document whose
// writing takes long and prints a '+' for every node.
std::string ManyNodes(int nodes) {
    std::string scene = "<node><instance_geometry url='#g'/></node>";
    for (int i = 0; i < nodes; ++i) scene += "<node/>";
    return test::MeshDocument(scene);
}

// A refusal: nothing printed but the line, exit code 0.
void ExpectRefused(const test::Ending& ending, const std::string& line) {
    EXPECT_EQ(ending.exitCode, 0);
    EXPECT_EQ(ending.out, "");
    EXPECT_EQ(ending.err, line);
}

// The user of tests that need a second one; only root can act as it.
const passwd* Nobody() { return geteuid() == 0 ? getpwnam("nobody") : nullptr; }

TEST(OutputSafety, ADerivedNameNeverReplacesAnotherDocument) {
    ScratchDirectory scratch;
    const std::string cube = CubeDocument();
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
    const passwd* nobody = Nobody();
    if (nobody == nullptr) GTEST_SKIP() << "needs root and the user nobody to plant another user's link";
    ScratchDirectory scratch;
    const fs::path shared = scratch / "shared";
    fs::create_directory(shared);
    ASSERT_EQ(chmod(shared.c_str(), 01777), 0);
    WriteFile(shared / "m.dae", CubeDocument());
    auto plant = [&](uid_t owner) {
        WriteFile(scratch / "victim", "victim");
        fs::remove(shared / "m.x3d");
        fs::create_symlink("../victim", shared / "m.x3d");
        ASSERT_EQ(lchown((shared / "m.x3d").c_str(), owner, static_cast<gid_t>(-1)), 0);
    };

    plant(nobody->pw_uid);
    ExpectRefused(RunMorvane(scratch.Path(), {"shared/m.dae"}),
                  "morvane: shared/m.dae: refused: shared/m.x3d is a symbolic link in a sticky directory, owned by "
                  "someone else\n");
    EXPECT_EQ(ReadFile(scratch / "victim"), "victim");
    EXPECT_TRUE(HiddenEntries(shared).empty());

    // The user's own link, and a link of the directory's owner, are followed.
    plant(geteuid());
    EXPECT_EQ(RunMorvane(scratch.Path(), {"shared/m.dae"}).err, "");
    EXPECT_NE(ReadFile(scratch / "victim").find("</X3D>"), std::string::npos);
    ASSERT_EQ(chown(shared.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
    plant(nobody->pw_uid);
    EXPECT_EQ(RunMorvane(scratch.Path(), {"shared/m.dae"}).err, "");
    EXPECT_NE(ReadFile(scratch / "victim").find("</X3D>"), std::string::npos);
}

// What one read of `fd` gives, up to `most` bytes; closes it.
std::string ReadAndClose(int fd, std::size_t most) {
    std::string received(most, '\0');
    received.resize(static_cast<std::size_t>(std::max<ssize_t>(read(fd, received.data(), most), 0)));
    close(fd);
    return received;
}

test::Ending MorvaneInto(const fs::path& directory, std::vector<std::string> args, int output) {
    const auto ending = test::Execute({.Directory = directory, .Args = std::move(args), .Stdout = output});
    close(output);
    return ending;
}

TEST(OutputSafety, TheFileOfStandardOutputIsWrittenThroughWhateverItsName) {
    ScratchDirectory scratch;
    WriteFile(scratch / "in.dae", CubeDocument());
    fs::create_directory(scratch / "plain");
    // Each name with the base name of its viewpoints: the part before the
    // last dot, after the last slash.
    const std::pair<std::string, std::string> names[] = {
        {"/dev/stdout", "stdout"}, {"/proc/self/fd/1", "1"},        {"//dev/stdout", "stdout"},
        {"/dev/./stdout", ""},     {"/proc/thread-self/fd/1", "1"}, {"log", "log"}};
    for (const auto& [name, base] : names) {
        // The conversion into a plain file of the same base name, then the
        // progress marks, which wait in the console's buffer.
        const std::string plainName = "plain/" + base + ".x3d";
        const auto plain = RunMorvane(scratch.Path(), {"in.dae", plainName});
        const std::string expected = ReadFile(scratch / plainName) + plain.out;

        // morvane in.dae /dev/stdout >> log: appended, never truncated or replaced.
        WriteFile(scratch / "log", "earlier\n");
        const auto appended =
            MorvaneInto(scratch.Path(), {"in.dae", name}, open((scratch / "log").c_str(), O_WRONLY | O_APPEND));
        EXPECT_EQ(appended.exitCode, 0) << name;
        EXPECT_EQ(appended.err, "") << name;
        EXPECT_EQ(ReadFile(scratch / "log"), "earlier\n" + expected) << name;
        if (name == "log") continue;

        // morvane in.dae /dev/stdout | ...
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        EXPECT_EQ(MorvaneInto(scratch.Path(), {"in.dae", name}, ends[1]).err, "") << name;
        EXPECT_EQ(ReadAndClose(ends[0], expected.size() + 1), expected) << name;
    }
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());
}

TEST(OutputSafety, TheFileOfStandardInputIsNeverAnOutput) {
    ScratchDirectory scratch;
    WriteFile(scratch / "in.dae", CubeDocument());
    fs::create_symlink("data.txt", scratch / "alias.x3d");
    // morvane in.dae /dev/stdin < data.txt, and the same file under other names.
    for (const std::string& name : std::vector<std::string>{"/dev/stdin", "/proc/self/fd/0", "data.txt", "alias.x3d"}) {
        WriteFile(scratch / "data.txt", "what the shell feeds\n");
        const int input = open((scratch / "data.txt").c_str(), O_RDONLY);
        ASSERT_GE(input, 0);
        const auto ending = test::Execute({.Directory = scratch.Path(), .Args = {"in.dae", name}, .Stdin = input});
        close(input);
        ExpectRefused(ending, "morvane: in.dae: refused: " + name + " is the standard input\n");
        EXPECT_EQ(ReadFile(scratch / "data.txt"), "what the shell feeds\n") << name;
    }
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());
}

TEST(OutputSafety, TheInputIsNeverTheOutputWhateverNamesIt) {
    ScratchDirectory scratch;
    const std::string cube = CubeDocument();
    // Not a .dae: only its identity with the input protects it.
    WriteFile(scratch / "m.kmz", cube);
    WriteFile(scratch / "in.dae", cube);
    fs::create_symlink("m.kmz", scratch / "alias.x3d");
    const std::string dir = scratch.Path().string();
    const std::string path = dir + "/m.kmz";
    const std::pair<std::string, std::string> runs[] = {
        {"file://" + path, "m.kmz"},          {"file://" + path, "alias.x3d"},     {"m.kmz", "alias.x3d"},
        {"in.dae", "./in.dae"},               {"file://" + path + "?x", path},     {"file://" + path + "#frag", path},
        {"file://127.0.0.1" + path, path},    {"file://LOCALHOST" + path, path},   {"file://localhost" + path, path},
        {"file://" + dir + "/nosuchdir/../m.kmz", path}, {"file://" + dir + "/./m.kmz", path}};
    for (const auto& [input, output] : runs) {
        ExpectRefused(RunMorvane(scratch.Path(), {input, output}),
                      "morvane: " + input + ": refused: " + output + " would overwrite the input\n");
        EXPECT_EQ(ReadFile(scratch / "m.kmz") + ReadFile(scratch / "in.dae"), cube + cube) << input << " " << output;
    }

    // Another machine's file is not read, not even under this machine's path.
    const std::string remote = "file://elsewhere.example" + path;
    ExpectRefused(RunMorvane(scratch.Path(), {remote}),
                  "morvane: " + remote +
                      ": cannot open: not a file of this machine (the host of a file URL must be empty, localhost "
                      "or 127.0.0.1)\n");
    EXPECT_FALSE(fs::exists(scratch / "m.kmz.x3d"));

    // Converted from elsewhere, a file URL's output lands beside the input;
    // the query is no part of the path, nor of the derived output name.
    fs::create_directory(scratch / "elsewhere");
    const auto converted = RunMorvane(scratch / "elsewhere", {"file://" + path + "?version=2#top"});
    EXPECT_EQ(converted.exitCode, 0);
    EXPECT_EQ(converted.err, "");
    EXPECT_NE(ReadFile(scratch / "m.kmz.x3d").find("</X3D>"), std::string::npos);
    EXPECT_TRUE(fs::is_empty(scratch / "elsewhere"));
    EXPECT_EQ(ReadFile(scratch / "m.kmz"), cube);
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());
}

// Runs in.dae into out.x3d, a FIFO that a reader holds open, and lets
// `swap` replace out.x3d at the very moment the program opens it.
test::Ending ConvertIntoAFifoSwappedBy(const fs::path& directory, const std::function<void()>& swap) {
    fs::remove(directory / "out.x3d");
    if (mkfifo((directory / "out.x3d").c_str(), 0600) != 0) return {};
    const int reader = open((directory / "out.x3d").c_str(), O_RDONLY | O_NONBLOCK);
    auto ending = test::Execute({.Directory = directory,
                                 .Args = {"in.dae", "out.x3d"},
                                 .TracedPath = "out.x3d",
                                 .BeforeOpen = swap,
                                 .TimeoutSeconds = 60});
    close(reader);
    return ending;
}

TEST(OutputSafety, AFileWrittenInPlaceIsTheVeryFileThatWasExamined) {
    ScratchDirectory scratch;
    WriteFile(scratch / "in.dae", CubeDocument());
    // Another user flips out.x3d from a FIFO to a link to a file that is not
    // theirs, to a second name of it, or to another FIFO that someone reads,
    // between the look and the open.
    ASSERT_EQ(mkfifo((scratch / "other").c_str(), 0600), 0);
    const int otherReader = open((scratch / "other").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(otherReader, 0);
    enum class Swap { kSymbolicLink, kHardLink, kOtherFifo };
    for (const Swap swap : {Swap::kSymbolicLink, Swap::kHardLink, Swap::kOtherFifo}) {
        const int kind = static_cast<int>(swap);
        WriteFile(scratch / "victim", "the victim's own text\n");
        const auto ending = ConvertIntoAFifoSwappedBy(scratch.Path(), [&] {
            const fs::path swapped = scratch / "swapped";
            if (swap == Swap::kSymbolicLink) fs::create_symlink("victim", swapped);
            if (swap == Swap::kHardLink) fs::create_hard_link(scratch / "victim", swapped);
            if (swap == Swap::kOtherFifo) fs::create_hard_link(scratch / "other", swapped);
            fs::rename(swapped, scratch / "out.x3d");
        });
        if (!ending.traced) GTEST_SKIP() << "the program cannot be traced here";
        EXPECT_TRUE(ending.openSeen) << kind;
        EXPECT_FALSE(ending.hung) << kind;
        EXPECT_EQ(ending.exitCode, 0) << kind;
        EXPECT_EQ(ending.err, "morvane: in.dae: cannot write out.x3d: it was replaced while it was being opened\n")
            << kind;
        EXPECT_EQ(ReadFile(scratch / "victim"), "the victim's own text\n") << kind;
        char byte = 0;
        EXPECT_LE(read(otherReader, &byte, 1), 0) << kind << ": the other FIFO received text";
        EXPECT_TRUE(HiddenEntries(scratch.Path()).empty()) << kind;
    }
    close(otherReader);
}

TEST(OutputSafety, AFifoAtTheOutputNameIsWrittenOnlyWhenSomeoneReadsIt) {
    ScratchDirectory scratch;
    for (const char* name : {"a.dae", "b.dae"}) WriteFile(scratch / name, CubeDocument());
    // The text that a.dae gives under the name a.x3d.
    fs::create_directory(scratch / "plain");
    ASSERT_EQ(RunMorvane(scratch.Path(), {"a.dae", "plain/a.x3d"}).err, "");
    const std::string expected = ReadFile(scratch / "plain" / "a.x3d");
    ASSERT_NE(expected.find("</X3D>"), std::string::npos);
    ASSERT_LT(expected.size(), 65536u) << "must fit into the FIFO's buffer";

    // mkfifo a.x3d; morvane '*.dae': nobody reads, and the batch goes on.
    ASSERT_EQ(mkfifo((scratch / "a.x3d").c_str(), 0600), 0);
    const auto batch = test::Execute({.Directory = scratch.Path(), .Args = {"*.dae"}, .TimeoutSeconds = 60});
    EXPECT_FALSE(batch.hung);
    EXPECT_EQ(batch.exitCode, 0);
    EXPECT_EQ(batch.err, "morvane: a.dae: cannot write a.x3d: no process reads it\n");
    EXPECT_NE(ReadFile(scratch / "b.x3d").find("</X3D>"), std::string::npos);
    EXPECT_TRUE(fs::is_fifo(scratch / "a.x3d"));

    // With a reader, the FIFO receives the document.
    const int reader = open((scratch / "a.x3d").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    const auto single = test::Execute({.Directory = scratch.Path(), .Args = {"a.dae"}, .TimeoutSeconds = 60});
    EXPECT_FALSE(single.hung);
    EXPECT_EQ(single.exitCode, 0);
    EXPECT_EQ(single.err, "");
    EXPECT_EQ(ReadAndClose(reader, expected.size() + 1), expected);
    EXPECT_TRUE(fs::is_fifo(scratch / "a.x3d"));
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());
}

TEST(OutputSafety, AReadOnlyOutputIsRefusedAndAReplacedOneKeepsOwnerAndMode) {
    ScratchDirectory scratch;
    WriteFile(scratch / "in.dae", CubeDocument());
    WriteFile(scratch / "in.x3d", "earlier");
    ASSERT_EQ(chmod((scratch / "in.x3d").c_str(), 0444), 0);
    test::Launch launch{.Directory = scratch.Path(), .Args = {"in.dae"}};
    // Root may write anything: the refusal is seen by an ordinary user.
    const passwd* nobody = Nobody();
    const bool root = nobody != nullptr;
    if (root) {
        for (const char* name : {"", "in.dae", "in.x3d"}) {
            ASSERT_EQ(chown((scratch / name).c_str(), nobody->pw_uid, nobody->pw_gid), 0);
        }
        launch.User = static_cast<int>(nobody->pw_uid);
        launch.Group = static_cast<int>(nobody->pw_gid);
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
    EXPECT_EQ(status.st_uid, nobody->pw_uid);
    EXPECT_EQ(status.st_gid, nobody->pw_gid);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_NE(ReadFile(scratch / "in.x3d").find("</X3D>"), std::string::npos);
}

TEST(OutputSafety, AnOutputNameAsLongAsTheFileSystemAllowsWorks) {
    ScratchDirectory scratch;
    const long longest = pathconf(scratch.Path().c_str(), _PC_NAME_MAX);
    ASSERT_GT(longest, 4);
    const std::string stem(static_cast<std::size_t>(longest) - 4, 'n');
    WriteFile(scratch / (stem + ".dae"), CubeDocument());
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

TEST(OutputSafety, ASignalRemovesTheTemporaryFileAndEndsTheProgramUnlessItIsIgnored) {
    ScratchDirectory scratch;
    WriteFile(scratch / "many.dae", ManyNodes(100000));
    // Each signal that ends a conversion, then the three that nohup, or a
    // background job of a shell without job control, ignores (0).
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU, SIGALRM, SIGUSR1, SIGUSR2, 0}) {
        WriteFile(scratch / "many.x3d", "earlier");
        // The progress marks fill a pipe that nobody reads yet, so the
        // writing waits with its temporary file in place.
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        test::Launch launch{
            .Directory = scratch.Path(), .Args = {"many.dae"}, .Stdout = ends[1], .TimeoutSeconds = 120};
        if (signal == 0) launch.IgnoredSignals = {SIGHUP, SIGINT, SIGQUIT};
        std::size_t marks = 0;
        launch.WhileRunning = [&](int pid) {
            const bool waiting = AwaitTemporaryFile(scratch.Path());
            EXPECT_TRUE(waiting) << "no temporary file";
            if (!waiting || signal != 0) {
                kill(pid, waiting ? signal : SIGKILL);
                return;
            }
            for (int ignored : launch.IgnoredSignals) kill(pid, ignored);
            // Time for a signal that is not ignored to end it; then the marks
            // are read, and the writing goes on.
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            char buffer[65536];
            close(std::exchange(ends[1], -1));
            for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
                marks += static_cast<std::size_t>(std::count(buffer, buffer + got, '+'));
            }
        };
        const auto ending = test::Execute(launch);
        close(ends[1]);
        close(ends[0]);
        EXPECT_EQ(ending.signal, signal) << strsignal(signal);
        EXPECT_EQ(ending.exitCode, signal == 0 ? 0 : -1) << strsignal(signal);
        EXPECT_EQ(ending.err, "") << strsignal(signal);
        const std::string output = ReadFile(scratch / "many.x3d");
        EXPECT_TRUE(signal == 0 ? output.find("</X3D>") != std::string::npos : output == "earlier") << strsignal(signal);
        EXPECT_EQ(marks, signal == 0 ? 100001u : 0u);
        EXPECT_TRUE(HiddenEntries(scratch.Path()).empty()) << strsignal(signal);
    }
}

TEST(OutputSafety, AReaderOfStandardOutputThatLeavesCostsNoConversion) {
    ScratchDirectory scratch;
    // morvane '*.dae' | head -c1: the reader is gone before the first mark.
    for (const char* name : {"a.dae", "b.dae", "c.dae"}) WriteFile(scratch / name, CubeDocument());
    WriteFile(scratch / "d.dae", ManyNodes(20000));
    WriteFile(scratch / "log.x3d", "earlier");
    auto intoAGonePipe = [&](std::vector<std::string> args) {
        int ends[2];
        if (pipe(ends) != 0) return test::Ending{};
        close(ends[0]);
        return MorvaneInto(scratch.Path(), std::move(args), ends[1]);
    };
    const auto batch = intoAGonePipe({"*.dae"});
    EXPECT_EQ(batch.signal, 0);
    EXPECT_EQ(batch.exitCode, 0);
    EXPECT_EQ(batch.err, "");
    for (const char* name : {"a.x3d", "b.x3d", "c.x3d", "d.x3d"}) {
        EXPECT_NE(ReadFile(scratch / name).find("</X3D>"), std::string::npos) << name;
    }

    // An output that is that pipe fails like a full disk.
    const auto piped = intoAGonePipe({"a.dae", "/dev/stdout"});
    EXPECT_EQ(piped.signal, 0);
    EXPECT_EQ(piped.exitCode, 0);
    EXPECT_EQ(piped.err, "morvane: a.dae: cannot write /dev/stdout: Broken pipe\n");
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());
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
    // SIGXFSZ at its default action, as a shell with "ulimit -f" leaves it.
    test::Launch launch{.Directory = scratch.Path(), .Args = {"many.dae"}, .FileSizeLimit = 1 << 16};
    const auto limited = test::Execute(launch);
    EXPECT_EQ(limited.signal, 0);
    EXPECT_EQ(limited.exitCode, 0);
    EXPECT_EQ(limited.err, "morvane: many.dae: cannot write many.x3d: File too large\n");
    EXPECT_LT(static_cast<std::size_t>(std::ranges::count(limited.out, '+')), 10000u);
    EXPECT_EQ(ReadFile(scratch / "many.x3d"), "earlier");
    EXPECT_TRUE(HiddenEntries(scratch.Path()).empty());

    // One byte short: only the last write, when the file is closed, fails.
    WriteFile(scratch / "cube.dae", CubeDocument());
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
    EXPECT_LT(static_cast<std::size_t>(std::ranges::count(full.out, '+')), 10000u);
    EXPECT_EQ(ReadFile(scratch / "disk" / "many.x3d"), "earlier");
    EXPECT_TRUE(HiddenEntries(scratch / "disk").empty());
}

}  // namespace
}  // namespace morvane
