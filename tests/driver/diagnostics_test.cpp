// A document that gives no output says why, in one line on standard error,
// and the user can tell the reasons apart; standard output and the exit
// code stay as they were.
#include <gtest/gtest.h>

#include <filesystem>

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

}  // namespace
}  // namespace morvane
