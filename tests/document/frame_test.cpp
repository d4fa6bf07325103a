#include <gtest/gtest.h>

#include "events/central_object.h"
#include "geometry/mesh_node.h"
#include "test_support.h"

namespace morvane {
namespace {

// Runs one document through its start and end with the asset texts given,
// a bounding box of a cube of side 2 and, if asked, one mesh.
std::string Convert(X3dConverter& converter, const std::string& output, bool withMesh) {
    converter.OutputFileName = output;
    converter.startDocument();
    converter.FindHandler("author")->Text = "Ann O'Nym";
    converter.FindHandler("authoring_tool")->Text = "tool 1.0";
    converter.FindHandler("comments")->Text = "line one\nline two";
    converter.BoundsMin = {-1.0, -1.0, -1.0};
    converter.BoundsMax = {1.0, 1.0, 1.0};
    if (withMesh) converter.MeshLibrary->AddMesh("geometry", "", 0, 60.0f);
    converter.endDocument();
    return std::filesystem::is_regular_file(output) ? test::ReadFile(output) : std::string();
}

const std::string kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<X3D profile='Immersive'>\n"
    "\t<Scene>\n"
    "\t\t<WorldInfo info='\n"
    "\t\t \"author   : Ann O'Nym\"\n"
    "\t\t \"tool     : tool 1.0\"\n"
    "\t\t \"created  : \"\n"
    "\t\t \"copyright: \"\n"
    "\t\t \"comments : line one\nline two\"\n"
    "\t\t '/>\n";
const std::string kBackground =
    "\t\t<Background DEF='AutoBackground' skyAngle='' skyColor='.35 .35 .35' groundAngle='' "
    "groundColor='.3 .3 .3' />\n";
const std::string kViewpoints =
    "\t\t<Viewpoint DEF='cube model Front' position='0.000000 0.000000 4.000000' jump='true' "
    "centerOfRotation='0.000000 0.000000 0.000000' description='cube model Front View' />\n"
    "\t\t<Viewpoint DEF='cube model Left' position='4.000000 0.000000 0.000000' jump='true' "
    "centerOfRotation='0.000000 0.000000 0.000000' description='cube model Left View' orientation='0 1 0 1.571'/>\n"
    "\t\t<Viewpoint DEF='cube model Top' position='0.000000 4.000000 0.000000' jump='true' "
    "centerOfRotation='0.000000 0.000000 0.000000' description='cube model Top View' orientation='-1 0 0 1.571'/>\n"
    "\t\t<Viewpoint DEF='cube model Back' position='0.000000 0.000000 -4.000000' jump='true' "
    "centerOfRotation='0.000000 0.000000 0.000000' description='cube model Back View' orientation='0 1 0 3.142'/>\n"
    "\t\t<Viewpoint DEF='cube model Right' position='-4.000000 0.000000 0.000000' jump='true' "
    "centerOfRotation='0.000000 0.000000 0.000000' description='cube model Right View' "
    "orientation='0 -1 0 1.571'/>\n"
    "\t\t<Viewpoint DEF='cube model Bottom' position='0.000000 -4.000000 0.000000' jump='true' "
    "centerOfRotation='0.000000 0.000000 0.000000' description='cube model Bottom View' "
    "orientation='1 0 0 1.571'/>\n";
const std::string kExamine = "\t\t<NavigationInfo DEF='ExamineNavInfo' type='\"EXAMINE\",\"LOOKAT\"' />\n";
const std::string kTail = "\t</Scene>\n</X3D>\n";

bool StartsWith(const std::string& text, const std::string& head) { return text.rfind(head, 0) == 0; }
bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

TEST(DocumentFrame, HeadAndTailSurroundTheScene) {
    test::ScratchDirectory scratch;
    X3dConverter converter;
    const std::string text = Convert(converter, (scratch / "cube model.x3d").string(), true);
    EXPECT_TRUE(StartsWith(text, kHead + kBackground)) << text;
    EXPECT_TRUE(EndsWith(text, kViewpoints + kExamine + kTail)) << text;
}

TEST(DocumentFrame, OptionsRemoveTheirLines) {
    test::ScratchDirectory scratch;
    X3dConverter converter;
    converter.AutoBackground = false;
    converter.AutoViewpoint = false;
    converter.ExamineNavigation = false;
    const std::string text = Convert(converter, (scratch / "cube model.x3d").string(), true);
    EXPECT_TRUE(StartsWith(text, kHead)) << text;
    EXPECT_EQ(text.find("<Background"), std::string::npos);
    EXPECT_EQ(text.find("<Viewpoint"), std::string::npos);
    // Without the EXAMINE line the general one takes its place, with a speed of an eighth of the box.
    EXPECT_TRUE(EndsWith(text,
                         "\t\t<NavigationInfo DEF='NavInfo' type='\"WALK\",\"FLY\",\"EXAMINE\",\"LOOKAT\"' "
                         "speed='0.250000'/>\n" + kTail))
        << text;

    converter.AutoNavigation = false;
    const std::string bare = Convert(converter, (scratch / "bare.x3d").string(), true);
    EXPECT_EQ(bare.find("<NavigationInfo"), std::string::npos);
}

TEST(DocumentFrame, BaseNameDropsDirectoryAndExtension) {
    test::ScratchDirectory scratch;
    std::filesystem::create_directory(scratch / "v1.2");
    X3dConverter converter;
    // A dot in a directory name, none in the file name: the cut happens at that dot.
    const std::string text = Convert(converter, (scratch / "v1.2" / "model").string(), true);
    EXPECT_NE(text.find("<Viewpoint DEF='v1 Front'"), std::string::npos) << text;
    const std::string plain = Convert(converter, (scratch / "v1.2" / "model.x3d.x3d").string(), true);
    EXPECT_NE(plain.find("<Viewpoint DEF='model.x3d Front'"), std::string::npos) << plain;
}

TEST(DocumentFrame, NoMeshNoFile) {
    test::ScratchDirectory scratch;
    X3dConverter converter;
    Convert(converter, (scratch / "empty.x3d").string(), false);
    EXPECT_FALSE(std::filesystem::exists(scratch / "empty.x3d"));
    EXPECT_TRUE(std::filesystem::is_empty(scratch.Path()));
}

TEST(DocumentFrame, AnUnopenableOutputIsPassedOverSilently) {
    test::ScratchDirectory scratch;
    X3dConverter converter;
    Convert(converter, (scratch / "missing" / "out.x3d").string(), true);
    Convert(converter, scratch.Path().string(), true);
    EXPECT_TRUE(std::filesystem::is_empty(scratch.Path()));
}

TEST(DocumentFrame, ReplacesAnEarlierFileWholeAndLeavesNoTemporary) {
    test::ScratchDirectory scratch;
    const auto target = scratch / "out.x3d";
    test::WriteFile(target, std::string(100000, 'x'));
    X3dConverter converter;
    const std::string text = Convert(converter, target.string(), true);
    EXPECT_TRUE(StartsWith(text, kHead));
    EXPECT_EQ(text.find('x' + std::string(10, 'x')), std::string::npos);
    int entries = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(scratch.Path())) ++entries;
    EXPECT_EQ(entries, 1);
}

TEST(DocumentFrame, AFailedWriteKeepsTheEarlierFile) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    test::ScratchDirectory scratch;
    // A link to a device is written directly; the device refuses every byte, and nothing is left over.
    std::filesystem::create_symlink("/dev/full", scratch / "full.x3d");
    X3dConverter converter;
    Convert(converter, (scratch / "full.x3d").string(), true);
    EXPECT_TRUE(std::filesystem::is_symlink(scratch / "full.x3d"));
    int entries = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(scratch.Path())) ++entries;
    EXPECT_EQ(entries, 1);
}

}  // namespace
}  // namespace morvane
