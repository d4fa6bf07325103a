// Whole faithful conversions of small documents, each checked against the
// X3D that the rules give by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "document/document_converter.h"
#include "driver/image_files.h"
#include "faithful/affine.h"
#include "faithful/effect_look.h"
#include "test_support.h"

namespace morvane {
namespace {

using faithful::Opacity;
using faithful::Rgba;

struct Outcome {
    std::string Text;
    std::vector<ConversionError> Warnings;
    std::string Refusal;
};

Outcome Convert(const std::string& document, ConversionOptions options = {}, std::size_t chunkSize = 0) {
    options.Faithful = true;
    MemorySink sink;
    ConversionJob job{DocumentInput::Memory(document, chunkSize), options, "model.x3d", {}};
    ConversionResult result = ConvertDocument(job, sink);
    return {sink.TakeText(), std::move(result.Warnings), result.Refusal ? result.Refusal->Message() : ""};
}

std::vector<double> Numbers(const std::string& text) {
    std::vector<double> numbers;
    std::istringstream in(text);
    for (double value; in >> value;) numbers.push_back(value);
    return numbers;
}

// A geometry "id" of the points `points`, its vertices "id-vtx" holding
// `primitives`; `asset`, if any, is the geometry's own.
std::string Geometry(const std::string& id, const std::string& points, const std::string& primitives,
                     const std::string& asset = "") {
    const std::size_t floats = Numbers(points).size();
    return "<geometry id=\"" + id + "\">" + (asset.empty() ? "" : "<asset>" + asset + "</asset>") +
           "<mesh><source id=\"" + id + "-pos\"><float_array id=\"" + id + "-pos-array\" count=\"" +
           std::to_string(floats) + "\">" + points + "</float_array><technique_common><accessor source=\"#" + id +
           "-pos-array\" count=\"" + std::to_string(floats / 3) + "\" stride=\"3\"><param name=\"X\" type=\"float\"/>"
           "<param name=\"Y\" type=\"float\"/><param name=\"Z\" type=\"float\"/></accessor></technique_common></source>"
           "<vertices id=\"" + id + "-vtx\"><input semantic=\"POSITION\" source=\"#" + id + "-pos\"/></vertices>" +
           primitives + "</mesh></geometry>";
}

// The first three points of geometry `id` as one triangle of material symbol "m".
std::string Triangle(const std::string& id) {
    return R"(<triangles count="1" material="m"><input semantic="VERTEX" source="#)" + id +
           R"(-vtx" offset="0"/><p>0 1 2</p></triangles>)";
}

// The triangle (0 0 0) (1 0 0) (0 0 2) as geometry "tri"; `nodes` is the
// visual scene, `libraries` goes before it.
std::string Document(const std::string& nodes, const std::string& asset = "", const std::string& libraries = "") {
    return R"(<?xml version="1.0"?><COLLADA xmlns="http://www.collada.org/2005/11/COLLADASchema" version="1.4.1"><asset>)" +
           asset + "</asset><library_geometries>" + Geometry("tri", "0 0 0 1 0 0 0 0 2", Triangle("tri")) +
           "</library_geometries>" + libraries + R"(<library_visual_scenes><visual_scene id="scene">)" + nodes +
           R"(</visual_scene></library_visual_scenes><scene><instance_visual_scene url="#scene"/></scene></COLLADA>)";
}

const std::string kTriangle = R"(<instance_geometry url="#tri"/>)";

// The value of the first `attribute` of the first element that holds `marker`.
std::string AttributeNear(const std::string& text, const std::string& marker, const std::string& attribute) {
    const std::size_t at = text.find(marker);
    if (at == std::string::npos) return "(no " + marker + ")";
    const std::size_t start = text.rfind('<', at);
    const std::size_t end = text.find('>', at);
    const std::string element = text.substr(start, end - start);
    const std::size_t found = element.find(" " + attribute + "='");
    if (found == std::string::npos) return "";
    const std::size_t value = found + attribute.size() + 3;
    return element.substr(value, element.find('\'', value) - value);
}

TEST(FaithfulOutput, IsValidX3dWithItsHeader) {
    const Outcome outcome = Convert(Document("<node id=\"n\">" + kTriangle + "</node>"));
    ASSERT_EQ(outcome.Refusal, "");
    EXPECT_TRUE(outcome.Text.starts_with(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<X3D profile='Immersive' version='3.3' "
        "xmlns:xsd='http://www.w3.org/2001/XMLSchema-instance' "
        "xsd:noNamespaceSchemaLocation='http://www.web3d.org/specifications/x3d-3.3.xsd'>\n"));
    EXPECT_EQ(test::XmlErrors(outcome.Text), "");
    EXPECT_NE(outcome.Text.find("coordIndex='0 1 2 -1'"), std::string::npos);
    EXPECT_NE(outcome.Text.find("<Coordinate DEF='tri-pos' point='0 0 0 1 0 0 0 0 2'/>"), std::string::npos);
    // No animation is written, so no ROUTE either.
    EXPECT_EQ(outcome.Text.find("ROUTE"), std::string::npos);
}

TEST(FaithfulOutput, NumbersCutBetweenPiecesOfTextAreReadWhole) {
    const std::string document = Document(kTriangle);
    const std::string whole = Convert(document).Text;
    ASSERT_NE(whole.find("point='0 0 0 1 0 0 0 0 2'"), std::string::npos);
    for (const std::size_t chunk : {1, 2, 3, 7}) EXPECT_EQ(Convert(document, {}, chunk).Text, whole) << chunk;
}

TEST(FaithfulOutput, ThreeRotationsMakeOneTurn) {
    // Z by 90 degrees after X by 90 (document order applies the last one
    // first): x goes to y, y to z, z to x, a third of a turn about (1 1 1).
    const Outcome outcome = Convert(Document(R"(<node id="n"><rotate>0 0 1 90</rotate><rotate>0 1 0 0</rotate>
        <rotate>1 0 0 90</rotate>)" + kTriangle + "</node>"));
    EXPECT_EQ(AttributeNear(outcome.Text, "DEF='n'", "rotation"), "0.5773503 0.5773503 0.5773503 2.094395");
    EXPECT_EQ(AttributeNear(outcome.Text, "DEF='n'", "scale"), "");
}

TEST(FaithfulOutput, ASheardMatrixIsReproducedByOneTransform) {
    // x' = x + y: the translation is the fourth column, the rest needs a
    // scale orientation.
    const Outcome outcome = Convert(Document(R"(<node id="n"><matrix>1 1 0 5 0 1 0 6 0 0 1 7 0 0 0 1</matrix>)" +
                                             kTriangle + "</node>"));
    EXPECT_EQ(AttributeNear(outcome.Text, "DEF='n'", "translation"), "5 6 7");
    // The fields, composed again, give the matrix back.
    const auto field = [&](const char* name) { return Numbers(AttributeNear(outcome.Text, "DEF='n'", name)); };
    const std::vector<double> r = field("rotation"), s = field("scale"), o = field("scaleOrientation");
    ASSERT_EQ(r.size() + s.size() + o.size(), 11u);
    const faithful::Matrix4 back =
        faithful::Compose({{5, 6, 7}, {r[0], r[1], r[2], r[3]}, {s[0], s[1], s[2]}, {o[0], o[1], o[2], o[3]}});
    const double expected[12] = {1, 1, 0, 5, 0, 1, 0, 6, 0, 0, 1, 7};
    for (int i = 0; i < 12; ++i) EXPECT_NEAR(back.M[i], expected[i], 1e-5) << i;
}

TEST(FaithfulOutput, UpAxisAndUnitAreOneTurnAndOneScaleAtTheRoot) {
    // -90 degrees about X, written as +90 degrees about -X.
    const Outcome zUp = Convert(Document(kTriangle, "<up_axis>Z_UP</up_axis>"));
    EXPECT_NE(zUp.Text.find("\t<Transform rotation='-1 0 0 1.570796'>\n"), std::string::npos);
    // The points stay as written.
    EXPECT_NE(zUp.Text.find("point='0 0 0 1 0 0 0 0 2'"), std::string::npos);
    // In Y-up the triangle spans x 0..1, y 0..2, z 0: the viewpoints look at
    // (0.5 1 0), the front one from 1.5 x 2 in front of it.
    EXPECT_EQ(AttributeNear(zUp.Text, "Front View", "centerOfRotation"), "0.5 1 0");
    EXPECT_EQ(AttributeNear(zUp.Text, "Front View", "position"), "0.5 1 3");
    EXPECT_EQ(AttributeNear(zUp.Text, "Front View", "DEF"), "model_Front");

    const Outcome inches = Convert(Document(kTriangle, R"(<unit name="inch" meter="0.0254"/>)"));
    EXPECT_NE(inches.Text.find("\t<Transform scale='0.0254 0.0254 0.0254'>\n"), std::string::npos);
    EXPECT_EQ(AttributeNear(inches.Text, "Front View", "centerOfRotation"), "0.0127 0 0.0254");

    // No unit: metres, and Y_UP: no turn.
    const Outcome plain = Convert(Document(kTriangle, "<up_axis>Y_UP</up_axis>"));
    EXPECT_NE(plain.Text.find("\t<Transform>\n"), std::string::npos);
}

// The descriptions of the Viewpoints, in the order written.
std::vector<std::string> ViewOrder(const std::string& text) {
    std::vector<std::string> order;
    for (std::size_t at = text.find("<Viewpoint "); at != std::string::npos; at = text.find("<Viewpoint ", at + 1)) {
        order.push_back(AttributeNear(text.substr(at), "<Viewpoint ", "description"));
    }
    return order;
}

TEST(FaithfulViews, TheFirstViewFacesTheModelsLargestSide) {
    // Y-up, the triangle lies flat: x 0..1, z 0..2, no height. From the
    // front it shows 1 x 0.002 (heights below a thousandth of 2 count as
    // 0.002), from above 1 x 2: the top view comes first.
    const std::vector<std::string> flat = {"model Top View",  "model Front View", "model Left View",
                                           "model Back View", "model Right View", "model Bottom View"};
    EXPECT_EQ(ViewOrder(Convert(Document(kTriangle)).Text), flat);
    // Z-up, it stands facing the front: x 0..1, y 0..2.
    const std::vector<std::string> standing = {"model Front View", "model Left View",  "model Top View",
                                               "model Back View",  "model Right View", "model Bottom View"};
    EXPECT_EQ(ViewOrder(Convert(Document(kTriangle, "<up_axis>Z_UP</up_axis>")).Text), standing);
    // Squeezed to a line along z: side and top show 0.002 x 2 alike, front
    // 0.002 x 0.002; the side view wins the tie.
    const std::vector<std::string> line = {"model Left View",  "model Front View", "model Top View",
                                           "model Back View",  "model Right View", "model Bottom View"};
    EXPECT_EQ(ViewOrder(Convert(Document("<node><scale>0.001 1 1</scale>" + kTriangle + "</node>")).Text), line);
}

TEST(FaithfulViews, NearAndFarPlanesFollowTheScenesSize) {
    // The triangle scaled to x 0..30, z 0..40: a diagonal of 50. Far: 100 x
    // 50; the default avatar (near plane 0.125) suits it and is not written.
    const std::string big = "<node><scale>30 1 20</scale>" + kTriangle + "</node>";
    const Outcome alone = Convert(Document(big));
    EXPECT_EQ(AttributeNear(alone.Text, "<NavigationInfo", "avatarSize"), "");
    EXPECT_EQ(AttributeNear(alone.Text, "<NavigationInfo", "visibilityLimit"), "5000");
    // A camera at (6000 0 -7960) widens the box to 6000 x 8000: a diagonal of
    // 10000 and a far limit of 1e6, which raises the near plane to 1e6 / 1e6,
    // half the avatar's width (2, then 6.4 and 3 times that).
    const Outcome watched = Convert(Document(big + R"(<node><translate>6000 0 -7960</translate>
        <instance_camera url="#cam"/></node>)", "", R"(<library_cameras><camera id="cam"><optics><technique_common>
        <perspective><yfov>30</yfov></perspective></technique_common></optics></camera></library_cameras>)"));
    EXPECT_EQ(AttributeNear(watched.Text, "<NavigationInfo", "avatarSize"), "2 12.8 6");
    EXPECT_EQ(AttributeNear(watched.Text, "<NavigationInfo", "visibilityLimit"), "1000000");
    // Scaled to x 0..0.3, z 0..0.4: a diagonal of 0.5, a near plane of 0.05
    // and a far limit of 50.
    const std::string small = "<node><scale>0.3 1 0.2</scale>" + kTriangle + "</node>";
    EXPECT_EQ(AttributeNear(Convert(Document(small)).Text, "<NavigationInfo", "avatarSize"), "0.1 0.64 0.3");
    // The walking navigation gets them too.
    ConversionOptions walk;
    walk.ExamineNavigation = false;
    const Outcome walked = Convert(Document(small), walk);
    EXPECT_EQ(AttributeNear(walked.Text, "<NavigationInfo", "visibilityLimit"), "50");
}

// A document whose visual scene places `camera` (optics' technique_common
// content) under a node, beside the triangle.
std::string WithCamera(const std::string& optics) {
    return Document("<node>" + kTriangle + R"(</node><node><instance_camera url="#cam"/></node>)", "",
                    R"(<library_cameras><camera id="cam" name="Lens"><optics><technique_common>)" + optics +
                        "</technique_common></optics></camera></library_cameras>");
}

TEST(FaithfulCameras, OrthographicCamerasAreOrthoViewpoints) {
    // Half width 100 and an aspect of 5: half height 20.
    const Outcome wide = Convert(WithCamera("<orthographic><xmag>100</xmag><aspect_ratio>5</aspect_ratio>"
                                            "<znear>0.1</znear><zfar>5000</zfar></orthographic>"));
    EXPECT_NE(wide.Text.find("<OrthoViewpoint description='Lens' position='0 0 0' fieldOfView='-100 -20 100 20'/>"),
              std::string::npos);
    // The profile's Navigation level does not have it: the head asks for more.
    EXPECT_NE(wide.Text.find("<head>\n\t<component name='Navigation' level='3'/>\n</head>\n<Scene>"),
              std::string::npos);
    EXPECT_EQ(test::XmlErrors(wide.Text), "");
    // ymag alone: a square view.
    const Outcome square = Convert(WithCamera("<orthographic><ymag>50</ymag></orthographic>"));
    EXPECT_EQ(AttributeNear(square.Text, "<OrthoViewpoint", "fieldOfView"), "-50 -50 50 50");
    // A perspective camera is a Viewpoint, and needs no component.
    const Outcome lens = Convert(WithCamera("<perspective><yfov>20</yfov><aspect_ratio>5</aspect_ratio></perspective>"));
    EXPECT_EQ(lens.Text.find("<component"), std::string::npos);
    EXPECT_EQ(lens.Text.find("<OrthoViewpoint"), std::string::npos);
}

TEST(FaithfulCameras, FieldOfViewIsTheAngleAcrossTheSmallerSide) {
    const auto fov = [](const std::string& perspective) {
        return AttributeNear(Convert(WithCamera("<perspective>" + perspective + "</perspective>")).Text,
                             "description='Lens'", "fieldOfView");
    };
    // Wider than high: the height's angle, 20 degrees.
    EXPECT_EQ(fov("<yfov>20</yfov><aspect_ratio>5</aspect_ratio>"), "0.3490659");
    // 90 degrees across, twice as wide as high: tan(h / 2) = tan(45) / 2,
    // h = 2 atan(0.5).
    EXPECT_EQ(fov("<xfov>90</xfov><aspect_ratio>2</aspect_ratio>"), "0.9272952");
    // Higher than wide: the width's angle, from the same tangents.
    EXPECT_EQ(fov("<yfov>90</yfov><aspect_ratio>0.5</aspect_ratio>"), "0.9272952");
    // Both angles: the smaller; one angle alone: a square view.
    EXPECT_EQ(fov("<xfov>90</xfov><yfov>60</yfov>"), "1.047198");
    EXPECT_EQ(fov("<xfov>60</xfov>"), "1.047198");
}

TEST(FaithfulFrames, ALocalUnitOrUpAxisAppliesToWhatItsElementHolds) {
    const std::string centimetres = R"(<unit meter="0.01"/>)";
    // A node in units of 10 m inside a document in centimetres: a scale of
    // 1000 outside its own translation, which moves 5, -2 and -10 cm.
    const Outcome unit = Convert(Document(R"(<node id="n"><asset><unit meter="10"/></asset>
        <translate>0.05 -0.02 -0.1</translate>)" + kTriangle + "</node>", centimetres));
    EXPECT_EQ(AttributeNear(unit.Text, "DEF='n'", "translation"), "50 -20 -100");
    EXPECT_EQ(AttributeNear(unit.Text, "DEF='n'", "scale"), "1000 1000 1000");
    EXPECT_EQ(AttributeNear(unit.Text, "DEF='n'", "rotation"), "");
    // The geometry it instances has no asset of its own: it is in the units
    // of the document, where it is written, a thousandth of the node's.
    EXPECT_NE(unit.Text.find("scale='1000 1000 1000'>\n\t\t\t<Transform scale='0.001 0.001 0.001'>\n\t\t\t\t<Shape>"),
              std::string::npos);
    // A skin's bind shape is in its library's units: 100 cm.
    const Outcome skin = Convert(Document(R"(<node><instance_controller url="#s"/></node>)", "",
                                          R"(<library_controllers><asset><unit meter="0.01"/></asset><controller id="s">
        <skin source="#tri"><bind_shape_matrix>1 0 0 100 0 1 0 0 0 0 1 0 0 0 0 1</bind_shape_matrix></skin>
        </controller></library_controllers>)"));
    EXPECT_NE(skin.Text.find("<Transform translation='1 0 0'>\n\t\t\t\t<Shape>"), std::string::npos);
    // A Z-up node in a Y-up document: its (x y z) is the document's
    // (x z -y), a quarter turn backwards about X.
    const Outcome up = Convert(Document(R"(<node id="n"><asset><up_axis>Z_UP</up_axis></asset>
        <translate>50 100 -20</translate>)" + kTriangle + "</node>", "<up_axis>Y_UP</up_axis>"));
    EXPECT_EQ(AttributeNear(up.Text, "DEF='n'", "translation"), "50 -20 -100");
    EXPECT_EQ(AttributeNear(up.Text, "DEF='n'", "rotation"), "-1 0 0 1.570796");
    // Its contents keep their own frame: a child node without an asset is
    // placed as written.
    const Outcome nested = Convert(Document(R"(<node id="n"><asset><up_axis>Z_UP</up_axis></asset>
        <node id="child"><translate>1 2 3</translate>)" + kTriangle + "</node></node>"));
    EXPECT_EQ(AttributeNear(nested.Text, "DEF='child'", "translation"), "1 2 3");
    EXPECT_EQ(AttributeNear(nested.Text, "DEF='child'", "rotation"), "");
    // A geometry in millimetres inside a document in centimetres: a tenth.
    const Outcome geometry = Convert(Document(R"(<node id="n"><instance_geometry url="#tri2"/></node>)", centimetres,
                                              "<library_geometries>" + Geometry("tri2", "0 0 0 1 0 0 0 0 2", Triangle("tri2"), R"(<unit meter="0.001"/>)") +
                                                  "</library_geometries>"));
    EXPECT_NE(geometry.Text.find("<Transform DEF='n'>\n\t\t\t<Transform scale='0.1 0.1 0.1'>\n\t\t\t\t<Shape>"),
              std::string::npos);
    // A camera in centimetres and Z-up: its view is turned and scaled like
    // the contents of a node of that frame; so is a light's.
    const Outcome camera = Convert(Document(R"(<node><instance_camera url="#c"/><instance_light url="#l"/></node><node>)" +
                                                kTriangle + "</node>",
                                            "",
                                            R"(<library_cameras><camera id="c"><asset><unit meter="0.01"/>
        <up_axis>Z_UP</up_axis></asset><optics><technique_common><orthographic><ymag>50</ymag></orthographic>
        </technique_common></optics></camera></library_cameras><library_lights><asset><up_axis>Z_UP</up_axis></asset>
        <light id="l"><technique_common><directional/></technique_common></light></library_lights>)"));
    EXPECT_NE(camera.Text.find("\t\t\t<Transform rotation='-1 0 0 1.570796' scale='0.01 0.01 0.01'>\n"
                               "\t\t\t\t<OrthoViewpoint description='c' position='0 0 0' fieldOfView='-50 -50 50 50'/>"),
              std::string::npos);
    EXPECT_NE(camera.Text.find("\t\t\t<Transform rotation='-1 0 0 1.570796'>\n\t\t\t\t<DirectionalLight"),
              std::string::npos);
    // A visual scene's unit replaces the document's at the root.
    std::string inches = Document(kTriangle, centimetres);
    inches.replace(inches.find("<visual_scene id=\"scene\">"), 25,
                   R"(<visual_scene id="scene"><asset><unit meter="0.0254"/></asset>)");
    EXPECT_NE(Convert(inches).Text.find("\t<Transform scale='0.0254 0.0254 0.0254'>\n"), std::string::npos);
}

TEST(FaithfulOpacity, EachModeCombinesColourAndTransparency) {
    const Rgba half{0.2, 0.4, 0.6, 0.5};
    EXPECT_DOUBLE_EQ(Opacity(half, "A_ONE", 0.8), 0.4);
    EXPECT_DOUBLE_EQ(Opacity(half, "", 0.8), 0.4);
    EXPECT_DOUBLE_EQ(Opacity(half, "A_ONE", std::nullopt), 0.5);
    EXPECT_DOUBLE_EQ(Opacity(Rgba{0, 0, 0, 0.25}, "A_ZERO", 1.0), 0.75);
    // Luminance of white is 1.
    EXPECT_NEAR(Opacity(Rgba{1, 1, 1, 1}, "RGB_ZERO", 0.3), 0.7, 1e-12);
    // (0.2 0.4 0.6): 0.212671 x 0.2 + 0.715160 x 0.4 + 0.072169 x 0.6 = 0.3718996.
    EXPECT_NEAR(Opacity(half, "RGB_ONE", 1.0), 0.3718996, 1e-7);
    // No <transparent>: opaque whatever the factor says.
    EXPECT_DOUBLE_EQ(Opacity(std::nullopt, "A_ONE", 0.0), 1.0);
    // Nothing would show: taken as an exporter's opaque material.
    EXPECT_DOUBLE_EQ(Opacity(Rgba{0, 0, 0, 1}, "A_ONE", 0.0), 1.0);
}

std::string Material(const std::string& shading) {
    return R"(<library_effects><effect id="fx"><profile_COMMON><technique sid="common"><phong>)" + shading +
           R"(</phong></technique></profile_COMMON></effect></library_effects>
<library_materials><material id="mat"><instance_effect url="#fx"/></material></library_materials>)";
}

const std::string kBoundTriangle = R"(<node id="n"><instance_geometry url="#tri"><bind_material><technique_common>
    <instance_material symbol="m" target="#mat"/></technique_common></bind_material></instance_geometry></node>)";

TEST(FaithfulOutput, MaterialsAreWrittenWithX3dTransparency) {
    // What one exporter writes for every solid material: opaque.
    Outcome solid = Convert(Document(kBoundTriangle, "",
                                     Material(R"(<diffuse><color>0.1 0.2 0.3 1</color></diffuse>
        <shininess><float>64</float></shininess>
        <transparent opaque="A_ONE"><color>0 0 0 1</color></transparent><transparency><float>1</float></transparency>)")));
    EXPECT_EQ(AttributeNear(solid.Text, "<Material", "transparency"), "0");
    EXPECT_EQ(AttributeNear(solid.Text, "<Material", "diffuseColor"), "0.1 0.2 0.3");
    EXPECT_EQ(AttributeNear(solid.Text, "<Material", "shininess"), "0.5");
    EXPECT_EQ(AttributeNear(solid.Text, "<Appearance", "DEF"), "mat");

    Outcome glass = Convert(Document(kBoundTriangle, "",
                                     Material(R"(<transparent opaque="RGB_ZERO"><color>1 1 1 1</color></transparent>
        <transparency><float>0.25</float></transparency>)")));
    EXPECT_EQ(AttributeNear(glass.Text, "<Material", "transparency"), "0.25");
}

TEST(FaithfulOutput, NamesAndTextsAreEscaped) {
    const Outcome outcome = Convert(Document(R"(<node id="a&amp;b'c">)" + kTriangle + "</node>",
                                             "<contributor><author>Tom &amp; Jerry &lt;x&gt;</author></contributor>"));
    EXPECT_NE(outcome.Text.find("<Transform DEF='a_b_c'>"), std::string::npos);
    EXPECT_NE(outcome.Text.find("<meta name='author' content='Tom &amp; Jerry &lt;x&gt;'/>"), std::string::npos);
    EXPECT_EQ(test::XmlErrors(outcome.Text), "");
}

TEST(FaithfulOutput, AnInstanceOfAnAncestorIsLeftOutWithAWarning) {
    const std::string library = R"(<library_nodes>
        <node id="A"><instance_node url="#B"/></node>
        <node id="B">)" + kTriangle + R"(<instance_node url="#A"/></node></library_nodes>)";
    const Outcome outcome = Convert(Document(R"(<node id="top"><instance_node url="#A"/><instance_node url="#B"/></node>)",
                                             "", library));
    ASSERT_EQ(outcome.Refusal, "");
    // A holds B, whose instance of A is left out; the second instance of B
    // is a USE of the one already written.
    const std::size_t a = outcome.Text.find("<Transform DEF='A'>");
    const std::size_t b = outcome.Text.find("<Transform DEF='B'>");
    ASSERT_NE(a, std::string::npos);
    ASSERT_NE(b, std::string::npos);
    EXPECT_LT(a, b);
    EXPECT_EQ(outcome.Text.find("USE='A'"), std::string::npos);
    EXPECT_NE(outcome.Text.find("<Transform USE='B'/>"), std::string::npos);
    ASSERT_EQ(outcome.Warnings.size(), 1u);
    EXPECT_EQ(outcome.Warnings[0].Message(), "instance_node #A left out: it would instance one of its own ancestors");
}

// Geometry "g" of five points holding `primitive`, alone in the scene.
std::string Strips(const std::string& primitive) {
    return Document(R"(<node><instance_geometry url="#g"/></node>)", "",
                    "<library_geometries>" + Geometry("g", "0 0 0 1 0 0 0 1 0 1 1 0 0 2 0", primitive) +
                        "</library_geometries>");
}

TEST(FaithfulGeometry, StripsFansAndPolygonsBecomeFaces) {
    // Every other triangle of a strip turns round to keep the winding.
    EXPECT_NE(Convert(Strips(R"(<tristrips count="1"><input semantic="VERTEX" source="#g-vtx" offset="0"/><p>0 1 2 3 4</p></tristrips>)"))
                  .Text.find("coordIndex='0 1 2 -1 2 1 3 -1 2 3 4 -1'"),
              std::string::npos);
    EXPECT_NE(Convert(Strips(R"(<trifans count="1"><input semantic="VERTEX" source="#g-vtx" offset="0"/><p>0 1 3 2</p></trifans>)"))
                  .Text.find("coordIndex='0 1 3 -1 0 3 2 -1'"),
              std::string::npos);
    // A polylist: faces of 3 and 4; an index past the list drops its face.
    const Outcome list = Convert(Strips(R"(<polylist count="3"><input semantic="VERTEX" source="#g-vtx" offset="0"/>
        <vcount>3 4 3</vcount><p>0 1 2 0 1 3 2 1 9 4</p></polylist>)"));
    EXPECT_NE(list.Text.find("convex='false' creaseAngle='1.047198' coordIndex='0 1 2 -1 0 1 3 2 -1'"),
              std::string::npos);
    // Polygons with a hole keep their outline.
    EXPECT_NE(Convert(Strips(R"(<polygons count="1"><input semantic="VERTEX" source="#g-vtx" offset="0"/>
        <ph><p>0 1 3 4</p><h>2 2 2</h></ph></polygons>)"))
                  .Text.find("coordIndex='0 1 3 4 -1'"),
              std::string::npos);
    const Outcome strips = Convert(Strips(R"(<linestrips count="1"><input semantic="VERTEX" source="#g-vtx" offset="0"/><p>0 1 3</p></linestrips>)"));
    EXPECT_NE(strips.Text.find("<IndexedLineSet DEF='g_linestrips' coordIndex='0 1 3 -1'>"), std::string::npos);
    // -sl leaves the lines out, and then there is nothing to convert.
    ConversionOptions noLines;
    noLines.WriteLines = false;
    EXPECT_EQ(Convert(Strips(R"(<lines count="1"><input semantic="VERTEX" source="#g-vtx" offset="0"/><p>0 1</p></lines>)"),
                      noLines)
                  .Refusal,
              "nothing to convert (its primitives are left out by -sy or -sl)");
}

// A morph of `base` with one target and its weight.
std::string Morph(const std::string& id, const std::string& base, const std::string& method,
                  const std::string& target, const std::string& weight) {
    return "<controller id=\"" + id + "\"><morph source=\"#" + base + "\"" + method + "><source id=\"" + id +
           "-t\"><IDREF_array id=\"" + id + "-ta\" count=\"1\"> " + target + " </IDREF_array></source><source id=\"" +
           id + "-w\"><float_array id=\"" + id + "-wa\" count=\"1\">" + weight +
           "</float_array><technique_common><accessor source=\"#" + id +
           "-wa\" count=\"1\"><param name=\"MORPH_WEIGHT\" type=\"float\"/></accessor></technique_common></source>"
           "<targets><input semantic=\"MORPH_TARGET\" source=\"#" + id + "-t\"/><input semantic=\"MORPH_WEIGHT\" "
           "source=\"#" + id + "-w\"/></targets></morph></controller>";
}

TEST(FaithfulGeometry, MorphsShowTheirWeightedBlend) {
    // m1 (normalized): tri + 0.5 (t1 - tri) moves the first point from
    // (0 0 0) halfway to (0 2 0). m2 (relative) on m1: + 0.25 t2 moves the
    // second point from (1 0 0) by a quarter of (2 0 0). The plain
    // instance keeps the base shape, and the box takes in the blend.
    const std::string libraries = "<library_geometries>" + Geometry("t1", "0 2 0 1 0 0 0 0 2", Triangle("t1")) +
                                  Geometry("t2", "0 0 0 2 0 0 0 0 0", Triangle("t2")) +
                                  "</library_geometries><library_controllers>" +
                                  Morph("m1", "tri", "", "t1", "0.5") +
                                  Morph("m2", "m1", " method=\"RELATIVE\"", "t2", "0.25") +
                                  "</library_controllers>";
    const Outcome outcome =
        Convert(Document(R"(<node id="a"><instance_controller url="#m2"/></node><node id="b">)" + kTriangle +
                             "</node>",
                         "", libraries));
    ASSERT_EQ(outcome.Refusal, "");
    EXPECT_EQ(AttributeNear(outcome.Text, "DEF='tri-pos-m2'", "point"), "0 1 0 1.5 0 0 0 0 2");
    EXPECT_EQ(AttributeNear(outcome.Text, "DEF='tri-pos'", "point"), "0 0 0 1 0 0 0 0 2");
    // Two shapes of their own: the morphed one does not USE the plain one.
    EXPECT_EQ(outcome.Text.find("<IndexedFaceSet USE="), std::string::npos);
    // The box runs from (0 0 0) to (1.5 1 2).
    EXPECT_EQ(AttributeNear(outcome.Text, "description='model Front View'", "centerOfRotation"), "0.75 0.5 1");
}

TEST(FaithfulGeometry, TexCoordSetIsTheOneTheMaterialBinds) {
    // Two sets, interleaved at offsets 1 and 2; the texture asks for "UV",
    // which bind_vertex_input maps to set 1: the indices at offset 2.
    const std::string document = R"(<?xml version="1.0"?><COLLADA>
<library_images><image id="img"><init_from>http://example.org/a.png</init_from></image></library_images>
<library_effects><effect id="fx"><profile_COMMON>
 <newparam sid="surf"><surface type="2D"><init_from>img</init_from></surface></newparam>
 <newparam sid="samp"><sampler2D><source>surf</source></sampler2D></newparam>
 <technique sid="t"><lambert><diffuse><texture texture="samp" texcoord="UV"/></diffuse></lambert></technique>
</profile_COMMON></effect></library_effects>
<library_materials><material id="mat"><instance_effect url="#fx"/></material></library_materials>
<library_geometries><geometry id="g"><mesh>
 <source id="s"><float_array id="f" count="9">0 0 0 1 0 0 0 1 0</float_array>
  <technique_common><accessor source="#f" count="3" stride="3"><param name="X"/><param name="Y"/><param name="Z"/></accessor></technique_common></source>
 <source id="uv0"><float_array id="f0" count="6">0 0 1 0 0 1</float_array>
  <technique_common><accessor source="#f0" count="3" stride="2"><param name="S"/><param name="T"/></accessor></technique_common></source>
 <source id="uv1"><float_array id="f1" count="9">0.5 0.5 9 1 1 9 0 0 9</float_array>
  <technique_common><accessor source="#f1" count="3" stride="3"><param name="S"/><param name="T"/><param name="P"/></accessor></technique_common></source>
 <vertices id="v"><input semantic="POSITION" source="#s"/></vertices>
 <triangles count="1" material="m"><input semantic="VERTEX" source="#v" offset="0"/>
  <input semantic="TEXCOORD" source="#uv0" offset="1" set="0"/><input semantic="TEXCOORD" source="#uv1" offset="2" set="1"/>
  <p>0 0 2 1 1 1 2 2 0</p></triangles>
</mesh></geometry></library_geometries>
<library_visual_scenes><visual_scene id="vs"><node><instance_geometry url="#g"><bind_material><technique_common>
 <instance_material symbol="m" target="#mat"><bind_vertex_input semantic="UV" input_semantic="TEXCOORD" input_set="1"/></instance_material>
</technique_common></bind_material></instance_geometry></node></visual_scene></library_visual_scenes>
<scene><instance_visual_scene url="#vs"/></scene></COLLADA>)";
    const Outcome outcome = Convert(document);
    EXPECT_NE(outcome.Text.find("texCoordIndex='2 1 0 -1'"), std::string::npos) << outcome.Text;
    // Three numbers an entry: s and t are read.
    EXPECT_NE(outcome.Text.find("<TextureCoordinate DEF='uv1' point='0.5 0.5 1 1 0 0'/>"), std::string::npos);
    EXPECT_NE(outcome.Text.find("<ImageTexture url='\"http://example.org/a.png\"'/>"), std::string::npos);
}

// A 1 x 1 uncompressed TGA of one blue-green-red pixel.
std::string Tga() {
    const unsigned char bytes[] = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 24, 0, 10, 20, 30};
    return std::string(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

std::string WithImages(const std::vector<std::string>& references) {
    std::string images;
    std::string effects;
    std::string materials;
    std::string binds;
    for (std::size_t i = 0; i < references.size(); ++i) {
        const std::string n = std::to_string(i);
        images += "<image id=\"img" + n + "\"><init_from>" + references[i] + "</init_from></image>";
        effects += "<effect id=\"fx" + n + "\"><profile_COMMON><technique sid=\"t\"><lambert><diffuse><texture texture=\"img" +
                   n + "\" texcoord=\"UV\"/></diffuse></lambert></technique></profile_COMMON></effect>";
        materials += "<material id=\"mat" + n + "\"><instance_effect url=\"#fx" + n + "\"/></material>";
        binds += "<node><instance_geometry url=\"#tri\"><bind_material><technique_common><instance_material symbol=\"m\" "
                 "target=\"#mat" + n + "\"/></technique_common></bind_material></instance_geometry></node>";
    }
    return Document(binds, "",
                    "<library_images>" + images + "</library_images><library_effects>" + effects +
                        "</library_effects><library_materials>" + materials + "</library_materials>");
}

std::vector<std::string> Urls(const std::string& text) {
    std::vector<std::string> urls;
    const std::string open = "<ImageTexture url='\"";
    for (std::size_t at = text.find(open); at != std::string::npos; at = text.find(open, at)) {
        at += open.size();
        const std::size_t end = text.find('"', at);
        if (end == std::string::npos) break;
        if (text.compare(end, 4, "\"'/>") == 0) urls.push_back(text.substr(at, end - at));
    }
    return urls;
}

TEST(FaithfulImages, EachKindOfReferenceIsFoundAndNamedFromTheOutput) {
    test::ScratchDirectory dir;
    std::filesystem::create_directories(dir / "models/textures");
    std::filesystem::create_directories(dir / "out");
    test::WriteFile(dir / "models/textures/wood grain.png", "\x89PNG\r\n\x1a\n....");
    test::WriteFile(dir / "models/brick.jpg", "\xFF\xD8\xFF\xE0....");
    test::WriteFile(dir / "models/stone.tga", Tga());
    // A different file already has the name the converted image wants.
    test::WriteFile(dir / "out/stone.png", "not this one");
    const std::string absolute = (dir / "models/brick.jpg").string();
    const std::string document = WithImages({
        "textures/wood%20grain.png",          // relative, percent-encoded
        "C:\\Users\\someone\\maps\\brick.jpg",  // another machine's path: found beside the document
        "file://" + absolute,                 // a file URL
        "stone.tga",                          // converted to PNG beside the output
        "textures/missing.png",               // not found: a warning, the output still comes
    });
    test::WriteFile(dir / "models/model.dae", document);

    ConversionOptions options;
    options.Faithful = true;
    MemorySink sink;
    const std::string output = (dir / "out/model.x3d").string();
    ImageFiles images(output);
    const ConversionResult result =
        ConvertDocument({DocumentInput::File((dir / "models/model.dae").string()), options, output, {}}, sink,
                        nullptr, &images);
    ASSERT_TRUE(result.Written());
    const std::vector<std::string> expected = {"../models/textures/wood%20grain.png", "../models/brick.jpg",
                                               "../models/brick.jpg", "stone-1.png", "../models/textures/missing.png"};
    EXPECT_EQ(Urls(sink.TakeText()), expected);
    ASSERT_EQ(result.Warnings.size(), 1u);
    EXPECT_EQ(result.Warnings[0].Message(), "image not found: textures/missing.png");
    EXPECT_EQ(test::ReadFile(dir / "out/stone.png"), "not this one");
    const std::string png = test::ReadFile(dir / "out/stone-1.png");
    EXPECT_TRUE(png.starts_with("\x89PNG")) << png.size();
}

TEST(FaithfulImages, TheImageFilesReuseTheSameBytesAndNeverReplaceAFile) {
    test::ScratchDirectory dir;
    test::WriteFile(dir / "a.png", "same");
    test::WriteFile(dir / "b.png", "other");
    test::WriteFile(dir / "b-1.png", "other too");
    ImageFiles images((dir / "out.x3d").string());
    std::string reason;
    std::string name = "a.png";
    EXPECT_TRUE(images.PlaceImage(name, "same", reason));
    EXPECT_EQ(name, "a.png");
    name = "b.png";
    EXPECT_TRUE(images.PlaceImage(name, "new", reason));
    EXPECT_EQ(name, "b-2.png");
    EXPECT_EQ(test::ReadFile(dir / "b.png"), "other");
    EXPECT_EQ(test::ReadFile(dir / "b-2.png"), "new");
    // PutImage keeps to the name it is given.
    EXPECT_FALSE(images.PutImage("b.png", "newer", reason));
    EXPECT_EQ(test::ReadFile(dir / "b.png"), "other");
}

TEST(FaithfulOutput, ClassicOptionsKeepTheirMeaning) {
    ConversionOptions options;
    options.AutoViewpoint = false;
    options.AutoBackground = false;
    options.ExamineNavigation = false;
    options.CreaseAngle = 90.0f;
    const Outcome outcome = Convert(Document(kTriangle), options);
    EXPECT_EQ(outcome.Text.find("<Viewpoint"), std::string::npos);
    EXPECT_EQ(outcome.Text.find("<Background"), std::string::npos);
    EXPECT_NE(outcome.Text.find("<NavigationInfo type='\"WALK\" \"FLY\" \"EXAMINE\" \"LOOKAT\"' speed='0.25' "),
              std::string::npos);
    EXPECT_NE(outcome.Text.find("creaseAngle='1.570796'"), std::string::npos);
    options.WritePolygons = false;
    EXPECT_EQ(Convert(Document(kTriangle), options).Refusal,
              "nothing to convert (its primitives are left out by -sy or -sl)");
}

}  // namespace
}  // namespace morvane
