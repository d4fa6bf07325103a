// The long options: --faithful, --help, --version, and what an unknown one
// does, through ApplyArguments and through runs of the built program.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/command_line.h"
#include "events/conversion_options.h"
#include "test_support.h"

namespace morvane {
namespace {

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
    test::WriteFile(dir / "m.dae", R"(<?xml version="1.0"?><COLLADA>
<library_images><image id="i"><init_from>gone.png</init_from></image></library_images>
<library_effects><effect id="fx"><profile_COMMON><technique sid="t"><lambert><diffuse><texture texture="i" texcoord="UV"/></diffuse></lambert></technique></profile_COMMON></effect></library_effects>
<library_materials><material id="mat"><instance_effect url="#fx"/></material></library_materials>
<library_geometries><geometry id="g"><mesh>
 <source id="s"><float_array id="f" count="9">0 0 0 1 0 0 0 1 0</float_array>
  <technique_common><accessor source="#f" count="3" stride="3"><param name="X"/><param name="Y"/><param name="Z"/></accessor></technique_common></source>
 <vertices id="v"><input semantic="POSITION" source="#s"/></vertices>
 <triangles count="1" material="m"><input semantic="VERTEX" source="#v" offset="0"/><p>0 1 2</p></triangles>
</mesh></geometry></library_geometries>
<library_visual_scenes><visual_scene id="vs"><node><instance_geometry url="#g"><bind_material><technique_common>
 <instance_material symbol="m" target="#mat"/></technique_common></bind_material></instance_geometry></node></visual_scene></library_visual_scenes>
<scene><instance_visual_scene url="#vs"/></scene></COLLADA>)");
    const test::Ending run = test::RunMorvane(dir.Path(), {"--faithful", "m.dae"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "morvane: m.dae: warning: image not found: gone.png\n");
    const std::string output = test::ReadFile(dir / "m.x3d");
    EXPECT_NE(output.find("version='3.3'"), std::string::npos);
    EXPECT_NE(output.find("<ImageTexture url='\"gone.png\"'/>"), std::string::npos);
    EXPECT_EQ(test::XmlErrors(output), "");
}

}  // namespace
}  // namespace morvane
