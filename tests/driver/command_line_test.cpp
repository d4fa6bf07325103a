// The command line: options and their flags, output names derived from the
// input, file patterns, the long options and -z.
#include "driver/command_line.h"

#include <gtest/gtest.h>

#include <cctype>

#include "driver/conversion.h"
#include "events/conversion_options.h"
#include "test_support.h"

namespace morvane {
namespace {

namespace fs = std::filesystem;

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
    fs::create_directory(scratch / "dir.dae");
    const std::string dir = scratch.Path().string() + "/";
    EXPECT_EQ(FindMatchingFiles(dir + "*.dae"),
              (std::vector<std::string>{dir + "C.dae", dir + "a.dae", dir + "b.dae", dir + "dir.dae"}));
    EXPECT_EQ(FindMatchingFiles(dir + ".*.dae"), (std::vector<std::string>{dir + ".hidden.dae"}));
    EXPECT_TRUE(FindMatchingFiles(dir + "*.obj").empty());
    EXPECT_TRUE(FindMatchingFiles(dir + "missing/*.dae").empty());
}

// The long options: --faithful, --help, --version, and what an unknown one
// does, through ApplyArguments and through runs of the built program.
TEST(LongOptions, SetTheirFlagsAndLeaveTheClassicOptionsAlone) {
    ConversionOptions options;
    const CommandLine line =
        ApplyArguments({"morvane", "--faithful", "--sy", "--help", "--version", "--x", "in.dae"}, options);
    EXPECT_TRUE(options.Faithful);
    // "--sy" is no -sy: polygons stay on.
    EXPECT_TRUE(options.WritePolygons);
    EXPECT_TRUE(line.Help);
    EXPECT_TRUE(line.Version);
    EXPECT_EQ(line.UnknownLongOptions, (std::vector<std::string>{"--sy", "--x"}));
    EXPECT_EQ(line.Positional, std::vector<std::string>{"in.dae"});

    ConversionOptions classic;
    ApplyArguments({"morvane", "-sy", "in.dae"}, classic);
    EXPECT_FALSE(classic.Faithful);
}

TEST(LongOptions, HelpAndVersionWithoutAnInput) {
    test::ScratchDirectory dir;
    const test::Ending help = test::RunMorvane(dir.Path(), {"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("\nUsage: Morvane [options]"), std::string::npos);
    EXPECT_NE(help.out.find("--faithful"), std::string::npos);
    EXPECT_EQ(help.err, "");
    const test::Ending version = test::RunMorvane(dir.Path(), {"--version"});
    EXPECT_EQ(version.out, std::string("morvane ") + MORVANE_VERSION + "\n");
    const test::Ending unknown = test::RunMorvane(dir.Path(), {"--shiny"});
    EXPECT_EQ(unknown.err, "morvane: --shiny: unknown option, passed over\n");
    EXPECT_EQ(unknown.out.find("--faithful"), std::string::npos);
    EXPECT_NE(unknown.out.find("\nUsage: Morvane [options]"), std::string::npos);
}

TEST(LongOptions, FaithfulRunWritesItsOutputAndWarnsOfAMissingImage) {
    test::ScratchDirectory dir;
    test::WriteFile(dir / "m.dae", test::TexturedDocument({"gone.png"}));
    const test::Ending run = test::RunMorvane(dir.Path(), {"--faithful", "m.dae"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "morvane: m.dae: warning: image not found: gone.png\n");
    const std::string output = test::ReadFile(dir / "m.x3d");
    EXPECT_NE(output.find("version='3.3'"), std::string::npos);
    EXPECT_NE(output.find("<ImageTexture url='\"gone.png\"'/>"), std::string::npos);
    EXPECT_EQ(test::XmlErrors(output), "");
}

// -z under --faithful: a gzip-compressed output named .x3dz, the names that
// the faithful output derives from its input, the documents it never
// replaces, and -z without --faithful, which changes nothing.
TEST(FaithfulOutputNames, ReplaceTheLastExtensionOfADocumentOrArchiveElseAppend) {
    const std::pair<const char*, const char*> names[] = {
        {"Model.DAE", "Model.x3d"}, {"city.kmz", "city.x3d"}, {"a/b/c.ZaE", "a/b/c.x3d"},
        {"a.dae.kmz", "a.dae.x3d"}, {"a.dae.bak", "a.dae.bak.x3d"}, {"model", "model.x3d"},
        {"model.daex", "model.daex.x3d"}, {".dae", ".dae.x3d"}, {"proj.dae/model", "proj.dae/model.x3d"},
        // URLs: the last path component, in the working folder; a file URL
        // beside the file it names.
        {"http://h/p/m.zae", "m.x3d"}, {"file:///srv/m/house.Kmz", "/srv/m/house.x3d"},
    };
    for (const auto& [input, output] : names) {
        EXPECT_EQ(DeriveOutputName(input, kOutputExtension, OutputNaming::kFaithful), output) << input;
    }
    EXPECT_EQ(DeriveOutputName("city.KMZ", kCompressedOutputExtension, OutputNaming::kFaithful), "city.x3dz");
    // The classic naming is untouched.
    EXPECT_EQ(DeriveOutputName("proj.dae/model", ".x3d"), "proj.x3d/model");
    EXPECT_EQ(DeriveOutputName("Model.DAE", ".x3d"), "Model.DAE.x3d");

    EXPECT_TRUE(IsProtectedDocumentName("dir/a.Kmz", OutputNaming::kFaithful));
    EXPECT_TRUE(IsProtectedDocumentName("a.ZAE", OutputNaming::kFaithful));
    EXPECT_TRUE(IsProtectedDocumentName("a.DAE", OutputNaming::kClassic));
    EXPECT_FALSE(IsProtectedDocumentName("a.kmz", OutputNaming::kClassic));
    EXPECT_FALSE(IsProtectedDocumentName("a.kmz.x3d", OutputNaming::kFaithful));
}

// The views are named after the output, so each compressed output is
// compared with the plain one of the same name in a folder of its own.
TEST(GzipOutput, InflatesToThePlainFaithfulOutputUnderADerivedOrAGivenName) {
    test::ScratchDirectory dir;
    fs::create_directory(dir / "plain");
    test::WriteFile(dir / "Model.DAE", test::kNestedTriangle);
    ASSERT_EQ(test::RunMorvane(dir.Path(), {"--faithful", "Model.DAE"}).err, "");
    const std::string plain = test::ReadFile(dir / "Model.x3d");
    ASSERT_NE(plain.find("<X3D"), std::string::npos);

    EXPECT_EQ(test::RunMorvane(dir.Path(), {"--faithful", "-z", "Model.DAE"}).err, "");
    EXPECT_EQ(test::Gunzip(test::ReadFile(dir / "Model.x3dz")), plain);

    // A given name is used as it is, whatever its extension.
    ASSERT_EQ(test::RunMorvane(dir.Path(), {"-Z", "--faithful", "Model.DAE", "given.x3d"}).err, "");
    ASSERT_EQ(test::RunMorvane(dir.Path(), {"--faithful", "Model.DAE", "plain/given.x3d"}).err, "");
    EXPECT_EQ(test::Gunzip(test::ReadFile(dir / "given.x3d")), test::ReadFile(dir / "plain" / "given.x3d"));

    // A batch into a folder: each output under its new name.
    fs::create_directory(dir / "out");
    ASSERT_EQ(test::RunMorvane(dir.Path(), {"--faithful", "-z", "*.DAE", "out"}).err, "");
    EXPECT_EQ(test::Gunzip(test::ReadFile(dir / "out" / "Model.x3dz")), plain);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / "out"), fs::directory_iterator()), 1);
}

TEST(GzipOutput, WithoutFaithfulMinusZChangesNothing) {
    test::ScratchDirectory dir;
    test::WriteFile(dir / "m.dae", test::kNestedTriangle);
    fs::create_directory(dir / "plain");
    ASSERT_EQ(test::RunMorvane(dir.Path(), {"m.dae", "plain"}).err, "");
    ASSERT_EQ(test::RunMorvane(dir.Path(), {"-z", "m.dae"}).err, "");
    EXPECT_EQ(test::ReadFile(dir / "m.x3d"), test::ReadFile(dir / "plain" / "m.x3d"));
    EXPECT_FALSE(fs::exists(dir / "m.x3dz"));
    // The library hands X3D text with -z too: compression is the file's.
    const std::vector<std::string> faithful = {"--faithful"};
    const std::vector<std::string> withZ = {"--faithful", "-z"};
    const std::string text = test::ConvertInMemory(test::kNestedTriangle, withZ);
    EXPECT_EQ(text.substr(0, 5), "<?xml");
    EXPECT_EQ(text, test::ConvertInMemory(test::kNestedTriangle, faithful));
}

TEST(GzipOutput, AnExistingArchiveIsNeverReplacedAndAFailedWriteLeavesNoTrace) {
    test::ScratchDirectory dir;
    test::WriteFile(dir / "m.dae", test::kNestedTriangle);
    test::WriteFile(dir / "Earlier.KMZ", "an archive");
    EXPECT_EQ(test::RunMorvane(dir.Path(), {"--faithful", "-z", "m.dae", "Earlier.KMZ"}).err,
              "morvane: m.dae: refused: Earlier.KMZ is an existing .kmz file\n");
    EXPECT_EQ(test::ReadFile(dir / "Earlier.KMZ"), "an archive");
    test::WriteFile(dir / "a.zae", "another");
    EXPECT_EQ(test::RunMorvane(dir.Path(), {"--faithful", "m.dae", "a.zae"}).err,
              "morvane: m.dae: refused: a.zae is an existing .zae file\n");
    EXPECT_EQ(test::ReadFile(dir / "a.zae"), "another");

    // The limit holds standard error's line, not the compressed text.
    constexpr long kLimit = 128;
    ASSERT_EQ(test::RunMorvane(dir.Path(), {"--faithful", "-z", "m.dae", "whole.x3dz"}).err, "");
    ASSERT_GT(static_cast<long>(fs::file_size(dir / "whole.x3dz")), kLimit);
    test::WriteFile(dir / "m.x3dz", "earlier");
    const test::Launch launch{
        .Directory = dir.Path(), .Args = {"--faithful", "-z", "m.dae"}, .FileSizeLimit = kLimit};
    const test::Ending limited = test::Execute(launch);
    EXPECT_EQ(limited.signal, 0);
    EXPECT_EQ(limited.exitCode, 0);
    EXPECT_EQ(limited.err, "morvane: m.dae: cannot write m.x3dz: File too large\n");
    EXPECT_EQ(test::ReadFile(dir / "m.x3dz"), "earlier");
    EXPECT_TRUE(test::HiddenEntries(dir.Path()).empty());
}

}  // namespace
}  // namespace morvane
