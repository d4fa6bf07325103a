#include "driver/command_line.h"

#include <gtest/gtest.h>

#include "events/central_object.h"
#include "test_support.h"

namespace morvane {
namespace {

CommandLine Apply(ColladaReader& options, std::vector<std::string> args) {
    args.insert(args.begin(), "morvane");
    return ApplyArguments(args, options);
}

TEST(CommandLine, OptionLettersMayBeOfEitherCase) {
    for (const char* spelling : {"-sy", "-SY", "-Sy", "-sY"}) {
        X3dConverter options;
        Apply(options, {spelling});
        EXPECT_FALSE(options.WritePolygons) << spelling;
        EXPECT_TRUE(options.WriteLines) << spelling;
    }
}

TEST(CommandLine, EachSuppressingOptionClearsItsOwnFlag) {
    X3dConverter options;
    Apply(options, {"-sl", "-sp", "-sv", "-sb", "-sn", "-se", "-ss"});
    EXPECT_TRUE(options.WritePolygons);
    EXPECT_FALSE(options.WriteLines);
    EXPECT_FALSE(options.WritePoints);
    EXPECT_FALSE(options.AutoViewpoint);
    EXPECT_FALSE(options.AutoBackground);
    EXPECT_FALSE(options.AutoNavigation);
    EXPECT_FALSE(options.ExamineNavigation);
    EXPECT_FALSE(options.SmoothMeshes);
    EXPECT_FALSE(options.GzipOutput);
    EXPECT_FALSE(options.ProtoLibraries);
}

TEST(CommandLine, OnlyTheThirdCharacterSelectsTheFlag) {
    X3dConverter options;
    Apply(options, {"-syl"});
    EXPECT_FALSE(options.WritePolygons);
    EXPECT_TRUE(options.WriteLines);

    X3dConverter unknown;
    Apply(unknown, {"-sq", "-s", "-q", "-"});
    EXPECT_TRUE(unknown.WritePolygons);
    EXPECT_TRUE(unknown.SmoothMeshes);
    EXPECT_TRUE(unknown.AutoViewpoint);
}

TEST(CommandLine, LaterOptionsOverrideEarlierOnes) {
    X3dConverter smoothOn;
    Apply(smoothOn, {"-ss", "-fs"});
    EXPECT_TRUE(smoothOn.SmoothMeshes);

    X3dConverter smoothOff;
    Apply(smoothOff, {"-fs", "-ss"});
    EXPECT_FALSE(smoothOff.SmoothMeshes);

    X3dConverter materials;
    Apply(materials, {"-fm", "-sm"});
    EXPECT_FALSE(materials.ForceMaterials);
    Apply(materials, {"-FM"});
    EXPECT_TRUE(materials.ForceMaterials);
}

TEST(CommandLine, ForcingOtherFlagsDoesNotUndoTheirSuppression) {
    X3dConverter options;
    Apply(options, {"-sy", "-fy", "-sv", "-fv", "-sb", "-fb", "-sn", "-fn", "-se", "-fe", "-sl", "-fl"});
    EXPECT_FALSE(options.WritePolygons);
    EXPECT_FALSE(options.AutoViewpoint);
    EXPECT_FALSE(options.AutoBackground);
    EXPECT_FALSE(options.AutoNavigation);
    EXPECT_FALSE(options.ExamineNavigation);
    EXPECT_FALSE(options.WriteLines);
}

TEST(CommandLine, ForcedSmoothingSwitchesTheSizePromptOff) {
    X3dConverter options;
    EXPECT_TRUE(Apply(options, {"-ss"}).WarnOnLargeFile);
    EXPECT_FALSE(Apply(options, {"-fs"}).WarnOnLargeFile);
    EXPECT_FALSE(Apply(options, {"-fs", "-ss"}).WarnOnLargeFile);
}

TEST(CommandLine, CreaseAngleIsScannedLikeAFloat) {
    struct Case {
        const char* arg;
        float expected;
    };
    for (const Case& c : {Case{"-a45", 45.0f}, Case{"-A45.5abc", 45.5f}, Case{"-a1e2", 100.0f},
                          Case{"-a", 60.0f}, Case{"-axyz", 60.0f}, Case{"-a-30", -30.0f}}) {
        X3dConverter options;
        Apply(options, {c.arg});
        EXPECT_FLOAT_EQ(options.CreaseAngle, c.expected) << c.arg;
    }
}

TEST(CommandLine, AnAngleInItsOwnArgumentIsPositional) {
    X3dConverter options;
    const CommandLine line = Apply(options, {"-a", "30"});
    EXPECT_FLOAT_EQ(options.CreaseAngle, 60.0f);
    ASSERT_EQ(line.Positional.size(), 1u);
    EXPECT_EQ(line.Positional[0], "30");
}

TEST(CommandLine, PositionalArgumentsKeepTheirOrderAmongOptions) {
    X3dConverter options;
    const CommandLine line = Apply(options, {"-l", "in.dae", "-z", "out.x3d", "third", "-sv"});
    EXPECT_EQ(line.Positional, (std::vector<std::string>{"in.dae", "out.x3d", "third"}));
    EXPECT_TRUE(options.ProtoLibraries);
    EXPECT_TRUE(options.GzipOutput);
    // An option after the input still applies.
    EXPECT_FALSE(options.AutoViewpoint);
}

TEST(CommandLine, LibraryAndGzipLettersIgnoreWhatFollows) {
    X3dConverter options;
    Apply(options, {"-Lxyz", "-zip"});
    EXPECT_TRUE(options.ProtoLibraries);
    EXPECT_TRUE(options.GzipOutput);
}

TEST(CommandLine, UsageTextIsPrintedRowByRow) {
    const std::string text = test::CaptureOutput([](std::FILE* out) { PrintUsage(out); });
    const std::string expected =
        "\nUsage: Morvane [options] <inputfile or url> <output file name>\n"
        "\nYou need to pass an argument on the command-line which is\ta URL or filename for the GoogleEarth "
        "filename to be parsed.\n"
        "-sy : supress polygons\n"
        "-sl : supress lines\n"
        "-sp : supress points\n"
        "-sv : supress auto-viewpoint\n"
        "-sb : supress auto-background\n"
        "-sn : supress auto-navigation info\n"
        "-se : supress EXAMINE navigation\n"
        "-ss : supress mesh smoothing & optimization\n"
        "-fy : force polygons (default)\n"
        "-fl : force lines (default)\n"
        "-fp : force points (default)\n"
        "-fv : force auto-viewpoint (default)\n"
        "-fb : force auto-background (default)\n"
        "-fm : force materials if textures exist\n"
        "-fn : force auto-navigation info (default)\n"
        "-fe : force EXAMINE navigation (default)\n"
        "-fs : force mesh smoothing & optimization (no warnings) This may take a long time!\n"
        "-a  : set crease angle (default is 60.0)\n"
        "-l  : use 'proto libraries'\n\n"
        "-z  : gzip output\n\n"
        " Sample usage - don't generate polylines, force smooth output (no warnings), gzip the result, put result "
        "in specific path\n"
        " Morvane -sl -fs -z model.kmz c:\\models\\model.x3d\n\n"
        " Sample usage - don't generate anything but the model, smooth (but warn on big files), put result in "
        "same directory\n"
        " Morvane -sv -sn -sb model.kmz\n";
    EXPECT_EQ(text, expected);
}

}  // namespace
}  // namespace morvane
