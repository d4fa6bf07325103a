// A document that gives no output says why, in one line on standard error,
// and the user can tell the reasons apart; standard output and the exit
// code stay as they were.
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>

#include "test_support.h"

namespace morvane {
namespace {

using test::RunMorvane;
using test::ScratchDirectory;
using test::WriteFile;

TEST(Diagnostics, EachDocumentWithoutOutputGetsOneLineSayingWhy) {
    ScratchDirectory scratch;
    std::filesystem::create_directory(scratch / "sub");
    WriteFile(scratch / "bad.dae", "<COLLADA>\n  <asset>\n</COLLADA>");
    WriteFile(scratch / "empty.dae", "<COLLADA><asset/></COLLADA>");
    WriteFile(scratch / "unread.dae",
              "<COLLADA><library_controllers><controller><morph/></controller><controller><skin/></controller>"
              "</library_controllers><library_geometries><geometry><mesh><trifans/><tristrips/></mesh></geometry>"
              "</library_geometries></COLLADA>");
    WriteFile(scratch / "lines.dae", "<COLLADA><library_geometries><geometry><mesh><lines/></mesh></geometry>"
                                     "</library_geometries></COLLADA>");
    test::LocalHttpServer server({});
    const std::string missingUrl = server.Url("/missing.dae");

    const struct {
        std::vector<std::string> args;
        std::string line;
    } cases[] = {
        {{"missing.dae"}, "morvane: missing.dae: cannot open: No such file or directory\n"},
        {{"sub"}, "morvane: sub: cannot open: Is a directory\n"},
        // expat places a mismatched end tag at its name, and counts columns from 0.
        {{"bad.dae"}, "morvane: bad.dae: not well-formed XML at line 3, column 3: mismatched tag\n"},
        {{"empty.dae"}, "morvane: empty.dae: nothing to convert (no triangles, polylist, polygons or lines)\n"},
        // The kinds in a fixed order, whatever the document's.
        {{"unread.dae"},
         "morvane: unread.dae: nothing to convert (no triangles, polylist, polygons or lines; it has tristrips, "
         "trifans, skins, morphs)\n"},
        {{"-sl", "lines.dae"}, "morvane: lines.dae: nothing to convert (its primitives are left out by -sy or -sl)\n"},
        {{missingUrl}, "morvane: " + missingUrl + ": download failed: HTTP status 404\n"},
    };
    for (const auto& c : cases) {
        const auto result = RunMorvane(scratch.Path(), c.args);
        EXPECT_EQ(result.exitCode, 0) << c.line;
        EXPECT_EQ(result.out, "") << c.line;
        EXPECT_EQ(result.err, c.line);
    }
    // Lines are read unless left out.
    EXPECT_EQ(RunMorvane(scratch.Path(), {"-sy", "lines.dae"}).err, "");
}

TEST(Diagnostics, APatternThatFindsNothingSaysWhy) {
    ScratchDirectory scratch;
    std::filesystem::create_directory(scratch / "locked");
    WriteFile(scratch / "locked" / "a.dae", "<COLLADA/>");
    WriteFile(scratch / "model.obj", "");
    const struct {
        std::string pattern;
        std::string reason;
    } cases[] = {
        {"*.dae", "no file matches"},
        {"100%model.dae", "no file matches"},
        {"missing/*.dae", "cannot read directory missing/: No such file or directory"},
        // A percent-escaped URL is a pattern like any name that holds a '%'.
        {"http://example.org/a%20b.dae",
         "no file matches (an input that holds % or * is read as a pattern, even one that starts like a URL)"},
        {"FILE:///models/*.dae",
         "no file matches (an input that holds % or * is read as a pattern, even one that starts like a URL)"},
    };
    for (const auto& c : cases) {
        const auto result = RunMorvane(scratch.Path(), {c.pattern});
        EXPECT_EQ(result.exitCode, 0) << c.pattern;
        EXPECT_EQ(result.out, "No\tmatching files found\n") << c.pattern;
        EXPECT_EQ(result.err, "morvane: " + c.pattern + ": " + c.reason + "\n");
    }

    // Root reads any directory; another user does not read this one.
    const passwd* nobody = getpwnam("nobody");
    if (geteuid() != 0 || nobody == nullptr) GTEST_SKIP() << "needs root and the user nobody";
    ASSERT_EQ(chmod((scratch / "locked").c_str(), 0700), 0);
    ASSERT_EQ(chmod(scratch.Path().c_str(), 0755), 0);
    const auto locked = test::Execute({.Directory = scratch.Path(),
                                       .Args = {"locked/*.dae"},
                                       .User = static_cast<int>(nobody->pw_uid),
                                       .Group = static_cast<int>(nobody->pw_gid)});
    EXPECT_EQ(locked.exitCode, 0);
    EXPECT_EQ(locked.out, "No\tmatching files found\n");
    EXPECT_EQ(locked.err, "morvane: locked/*.dae: cannot read directory locked/: Permission denied\n");
}

TEST(Diagnostics, ControlCharactersInNamesAndReasonsAreShownEscaped) {
    ScratchDirectory scratch;
    WriteFile(scratch / "bad\nname.dae", "<COLLADA>");
    WriteFile(scratch / "esc\x1b[2J.dae", "<COLLADA/>");
    WriteFile(scratch / "tab\there.dae", "<COLLADA/>");
    const auto batch = RunMorvane(scratch.Path(), {"*.dae"});
    EXPECT_EQ(batch.exitCode, 0);
    EXPECT_EQ(batch.out, "");
    // One line each, in byte order of the names.
    EXPECT_EQ(batch.err,
              "morvane: bad\\nname.dae: not well-formed XML at line 1, column 10: no element found\n"
              "morvane: esc\\x1b[2J.dae: nothing to convert (no triangles, polylist, polygons or lines)\n"
              "morvane: tab\\there.dae: nothing to convert (no triangles, polylist, polygons or lines)\n");

    // The output's name, in the reason.
    WriteFile(scratch / "keep\r.dae", "another document");
    const auto refused = RunMorvane(scratch.Path(), {"tab\there.dae", "keep\r.dae"});
    EXPECT_EQ(refused.err, "morvane: tab\\there.dae: refused: keep\\r.dae is an existing .dae file\n");
    EXPECT_EQ(test::ReadFile(scratch / "keep\r.dae"), "another document");
}

// A download that crawls is given up, so that a batch is never held for
// ever by a server that sends a byte now and then.
TEST(Download, ATransferSlowerThanOneKibibyteASecondForAMinuteIsGivenUp) {
    test::ScratchDirectory scratch;
    test::WriteFile(scratch / "m.x3d", "earlier");
    // A 200 response of no stated length: a start tag, then white space
    // inside the element at two bytes a second, until the client leaves.
    std::atomic<std::size_t> sent{0};
    test::LocalHttpServer server({}, [&sent](int client, const std::string&) {
        const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: model/vnd.collada+xml\r\n\r\n<COLLADA>";
        for (bool open = send(client, head.data(), head.size(), MSG_NOSIGNAL) > 0; open; sent += 2) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            open = send(client, "  ", 2, MSG_NOSIGNAL) == 2;
        }
    });
    const std::string url = server.Url("/m.dae");
    const auto started = std::chrono::steady_clock::now();
    const auto ending = test::Execute({.Directory = scratch.Path(), .Args = {url}, .TimeoutSeconds = 150});
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - started).count();
    EXPECT_FALSE(ending.hung);
    EXPECT_EQ(ending.exitCode, 0);
    EXPECT_EQ(ending.out, "");
    EXPECT_EQ(ending.err, "morvane: " + url +
                              ": download failed: Operation too slow. Less than 1024 bytes/sec transferred the last "
                              "60 seconds\n");
    // Given up after a minute of crawling, not at the first slow second.
    EXPECT_GE(seconds, 59);
    EXPECT_GE(sent, 100u);
    EXPECT_EQ(test::ReadFile(scratch / "m.x3d"), "earlier");
    EXPECT_TRUE(test::HiddenEntries(scratch.Path()).empty());
}

}  // namespace
}  // namespace morvane
