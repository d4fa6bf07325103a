#include "driver/command_line.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <filesystem>

#include "driver/conversion.h"
#include "events/conversion_options.h"
#include "test_support.h"

namespace morvane {
namespace {

// The options as letters, upper case when set: polygons, lines, points,
// viewpoints, background, navigation, examine, smoothing, materials, proto
// libraries, gzip and the size warning; then the positional arguments and
// the crease angle.
std::string Applied(std::vector<std::string> args) {
    ConversionOptions o;
    args.insert(args.begin(), "morvane");
    const CommandLine line = ApplyArguments(args, o);
    std::string text;
    for (const auto& [on, letter] : {std::pair{o.WritePolygons, 'y'}, {o.WriteLines, 'l'}, {o.WritePoints, 'p'},
                                     {o.AutoViewpoint, 'v'}, {o.AutoBackground, 'b'}, {o.AutoNavigation, 'n'},
                                     {o.ExamineNavigation, 'e'}, {o.SmoothMeshes, 's'}, {o.ForceMaterials, 'm'},
                                     {o.ProtoLibraries, 'o'}, {o.GzipOutput, 'z'}, {line.WarnOnLargeFile, 'w'}}) {
        text += on ? static_cast<char>(std::toupper(letter)) : letter;
    }
    for (const std::string& positional : line.Positional) text += " " + positional;
    char angle[32];
    std::snprintf(angle, sizeof angle, " %g", o.CreaseAngle);
    return text + angle;
}

TEST(CommandLine, OptionsSetTheirFlags) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{}, "YLPVBNESmozW 60"},
        // Letters of either case; only the third character selects the flag.
        {{"-sy"}, "yLPVBNESmozW 60"},
        {{"-SY"}, "yLPVBNESmozW 60"},
        {{"-Sy", "-sY"}, "yLPVBNESmozW 60"},
        {{"-syl"}, "yLPVBNESmozW 60"},
        {{"-sq", "-s", "-q", "-"}, "YLPVBNESmozW 60"},
        {{"-sl", "-sp", "-sv", "-sb", "-sn", "-se", "-ss"}, "YlpvbnesmozW 60"},
        // Later options override earlier ones; forcing smoothing also
        // switches the size prompt off.
        {{"-ss", "-fs"}, "YLPVBNESmozw 60"},
        {{"-fs", "-ss"}, "YLPVBNEsmozw 60"},
        {{"-fm", "-sm"}, "YLPVBNESmozW 60"},
        {{"-fm", "-sm", "-FM"}, "YLPVBNESMozW 60"},
        // Forcing the other flags does not undo their suppression.
        {{"-sy", "-fy", "-sv", "-fv", "-sb", "-fb", "-sn", "-fn", "-se", "-fe", "-sl", "-fl"}, "ylPvbneSmozW 60"},
        {{"-Lxyz", "-zip"}, "YLPVBNESmOZW 60"},
        // Positional arguments keep their order among options.
        {{"-l", "in.dae", "-z", "out.x3d", "third", "-sv"}, "YLPvBNESmOZW in.dae out.x3d third 60"},
        // The crease angle is scanned like a float, and only from its own argument.
        {{"-a45"}, "YLPVBNESmozW 45"},
        {{"-A45.5abc"}, "YLPVBNESmozW 45.5"},
        {{"-a1e2", "-a-30"}, "YLPVBNESmozW -30"},
        {{"-a1e2", "-axyz"}, "YLPVBNESmozW 100"},
        {{"-a", "30"}, "YLPVBNESmozW 30 60"},
    };
    for (const auto& [args, expected] : cases) {
        EXPECT_EQ(Applied(args), expected) << testing::PrintToString(args);
    }
}

TEST(OutputName, DerivedFromTheInput) {
    const std::pair<const char*, const char*> cases[] = {
        // The first ".dae" from the second character on becomes the extension.
        {"model.dae", "model.x3d"}, {"dir/model.dae", "dir/model.x3d"}, {"a.dae.dae", "a.x3d.dae"},
        {"my.daemon.txt", "my.x3dmon.txt"}, {".dae", ".dae.x3d"}, {".dae.dae", ".dae.x3d"},
        // Without one the extension is appended.
        {"model.DAE", "model.DAE.x3d"}, {"model.kmz", "model.kmz.x3d"}, {"", ".x3d"},
        // Names that begin with "http" land in the working directory.
        {"http://host/models/house.dae", "house.x3d"}, {"https://host/a\\b/m.kmz", "m.kmz.x3d"},
        {"http://host/dir\\x.dae", "x.x3d"},
        // A file URL's output lands beside the file it names: the path
        // decoded, without query or fragment, with its dot segments resolved.
        {"file:///data/m.dae", "/data/m.x3d"}, {"file://localhost/data/m.kmz", "/data/m.kmz.x3d"},
        {"file:///data/m.kmz?v=2", "/data/m.kmz.x3d"}, {"file://LOCALHOST/data/m.dae#top", "/data/m.x3d"},
        {"file://127.0.0.1/data/sub/../m.dae", "/data/m.x3d"}, {"file:///data/a%20b.dae", "/data/a b.x3d"}};
    for (const auto& [input, output] : cases) EXPECT_EQ(DeriveOutputName(input, ".x3d"), output) << input;
}

TEST(OutputName, AnExistingDirectoryReceivesTheDerivedName) {
    test::ScratchDirectory scratch;
    const std::string dir = scratch.Path().string();
    EXPECT_EQ(ResolveOutputName("in/model.dae", ".x3d", dir), dir + "/model.x3d");
    EXPECT_EQ(ResolveOutputName("in/model.dae", ".x3d", dir + "/"), dir + "/model.x3d");
    EXPECT_EQ(ResolveOutputName("http://h/p/q.dae", ".x3d", dir), dir + "/q.x3d");
    EXPECT_EQ(ResolveOutputName("in/model.dae", ".x3d", dir + "/new.x3d"), dir + "/new.x3d");
    EXPECT_EQ(ResolveOutputName("in/model.dae", ".x3d", ""), "in/model.x3d");
}

TEST(FilePattern, StarAndQuestionMarkAreTheOnlyWildcards) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"*.dae", "a.dae", true},        {"*.dae", ".dae", true},        {"*.dae", "a.DAE", false},
        {"a*b*c", "aXbYbZc", true},      {"a*b*c", "aXbYbZ", false},     {"?.dae", "x.dae", true},
        {"?.dae", "xy.dae", false},      {"**", "", true},               {"100%.dae", "100%.dae", true},
        {"100%.dae", "1000.dae", false}, {"[a].dae", "[a].dae", true},   {"[a].dae", "a.dae", false},
        {"a\\*", "a\\bc", true}};
    for (const auto& [pattern, name, matches] : cases) {
        EXPECT_EQ(MatchesPattern(pattern, name), matches) << pattern << " " << name;
    }
}

TEST(FilePattern, MatchesAreSortedAndKeepThePatternsDirectory) {
    test::ScratchDirectory scratch;
    for (const char* name : {"b.dae", "a.dae", "C.dae", ".hidden.dae", "a.x3d"}) test::WriteFile(scratch / name, "");
    std::filesystem::create_directory(scratch / "dir.dae");
    const std::string dir = scratch.Path().string() + "/";
    EXPECT_EQ(FindMatchingFiles(dir + "*.dae"),
              (std::vector<std::string>{dir + "C.dae", dir + "a.dae", dir + "b.dae", dir + "dir.dae"}));
    EXPECT_EQ(FindMatchingFiles(dir + ".*.dae"), (std::vector<std::string>{dir + ".hidden.dae"}));
    EXPECT_TRUE(FindMatchingFiles(dir + "*.obj").empty());
    EXPECT_TRUE(FindMatchingFiles(dir + "missing/*.dae").empty());
}

}  // namespace
}  // namespace morvane
