#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "geometry/geometry_fixtures.h"

namespace morvane {
namespace {

using test::Describe;
using test::FaceOf;
using test::FloatArrayElement;
using test::GeometryDocument;
using test::MeshKeeper;
using test::PositionsElement;
using IntList = std::vector<std::int32_t>;

// Inches to metres, as the mesh applies it: the 32-bit value widened and
// multiplied in 64 bits.
double Scaled(float value) { return static_cast<double>(value) * 0.0254; }

void ExpectPoint(const Point3& point, double x, double y, double z) {
    EXPECT_EQ(point.X, x);
    EXPECT_EQ(point.Y, y);
    EXPECT_EQ(point.Z, z);
}

// Parses `xml`, keeping its meshes; returns what the console got.
std::string Parse(MeshKeeper& keeper, const std::string& xml, std::size_t chunkSize = 0) {
    testing::internal::CaptureStdout();
    const ResultCode result = test::ParseDocument(keeper, xml, chunkSize);
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_EQ(result, kResultOk);
    return console;
}

// Five positions and two stray values, two normals, three texture
// coordinates; two triangles of three that the list holds are counted.
const std::string kTriangles = GeometryDocument(
    FloatArrayElement("pos", "0 0 0  100 0 0\n0 100 0\t0 0 100  1000 1000 -1000  -9999 -9999") +
    FloatArrayElement("nrm", "0 0 1 0 1 0") + FloatArrayElement("tex", "0 0 1 0 0 1") + PositionsElement("pos") +
    "<triangles count='2' material='mat'>"
    "<input semantic='VERTEX' source='#v' offset='0'/>"
    "<input semantic='NORMAL' source='#nrm' offset='1'/>"
    "<input semantic='TEXCOORD' source='#tex' offset='2' set='0'/>"
    "<p>0 0 0 1 0 1 2 1 2 1 1 1 3 0 0 2 1 2 4 0 0 4 0 0 4 0 0</p></triangles>");

TEST(TrianglesWalk, WeldsEachChannelByItself) {
    MeshKeeper keeper;
    const std::string console = Parse(keeper, kTriangles);
    ASSERT_EQ(keeper.MeshCount(), 1u);
    const MeshNode& mesh = keeper.Mesh(0);
    EXPECT_EQ(mesh.GeometryName, "g");
    EXPECT_EQ(mesh.MaterialName, "mat");
    EXPECT_EQ(mesh.NormalSourceId, "nrm");
    EXPECT_EQ(mesh.TexcoordSourceId, "tex");

    ASSERT_EQ(mesh.Coordinates.size(), 4u) << Describe(mesh);
    ExpectPoint(mesh.Coordinates[1], Scaled(100), 0, 0);
    ExpectPoint(mesh.Coordinates[3], 0, 0, Scaled(100));
    ASSERT_EQ(mesh.CoordIndex.FaceCount(), 2u) << Describe(mesh);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 1, 2}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{1, 3, 2}));
    // Normals are neither scaled nor normalised.
    ASSERT_EQ(mesh.Normals.size(), 2u);
    ExpectPoint(mesh.Normals[1], 0, 1, 0);
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 0), (IntList{0, 0, 1}));
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 1), (IntList{1, 0, 1}));
    ASSERT_EQ(mesh.TexCoords.size(), 3u);
    ExpectPoint(mesh.TexCoords[2], 0, 1, 0);
    EXPECT_EQ(FaceOf(mesh.TexCoordIndex, 1), (IntList{1, 0, 2}));
    // One mark of the triangles, one of the welding.
    EXPECT_EQ(console, "..");
}

TEST(TrianglesWalk, BoundsTakeEveryWholePointOfTheArray) {
    MeshKeeper keeper;
    Parse(keeper, kTriangles);
    // The fifth point is used by no counted triangle; the two stray values
    // make no point.
    EXPECT_EQ(keeper.BoundsMin, (std::array<double, 3>{0, 0, Scaled(-1000)}));
    EXPECT_EQ(keeper.BoundsMax, (std::array<double, 3>{Scaled(1000), Scaled(1000), Scaled(100)}));
}

TEST(TrianglesWalk, PlainGivesEveryCornerItsOwnPoints) {
    MeshKeeper keeper;
    keeper.SmoothMeshes = false;
    const std::string console = Parse(keeper, kTriangles);
    const MeshNode& mesh = keeper.Mesh(0);
    EXPECT_EQ(mesh.Coordinates.size(), 6u);
    EXPECT_EQ(mesh.Normals.size(), 6u);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{3, 4, 5}));
    ExpectPoint(mesh.Coordinates[4], 0, 0, Scaled(100));
    EXPECT_EQ(console, ".");
}

TEST(TrianglesWalk, TextInPiecesReadsTheSame) {
    MeshKeeper whole;
    MeshKeeper pieces;
    Parse(whole, kTriangles);
    Parse(pieces, kTriangles, 5);
    EXPECT_EQ(Describe(pieces.Mesh(0)), Describe(whole.Mesh(0)));
}

TEST(TrianglesWalk, WidthCountsChannelsNotTheLargestOffset) {
    // Position and normal share offset 0: the tuple is still two wide.
    MeshKeeper keeper;
    Parse(keeper, GeometryDocument(FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") +
                                   FloatArrayElement("nrm", "0 0 1 0 1 0 1 0 0") + PositionsElement("pos") +
                                   "<triangles count='1'><input semantic='VERTEX' source='#v' offset='0'/>"
                                   "<input semantic='NORMAL' source='#nrm' offset='0'/>"
                                   "<p>0 7 1 7 2 7</p></triangles>"));
    const MeshNode& mesh = keeper.Mesh(0);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 1, 2})) << Describe(mesh);
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 0), (IntList{0, 1, 2}));
    ExpectPoint(mesh.Normals[2], 1, 0, 0);
}

TEST(TrianglesWalk, SecondTexcoordInputWinsAndUnknownInputsTakeNoPlace) {
    MeshKeeper keeper;
    Parse(keeper, GeometryDocument(
                      FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") + FloatArrayElement("nrm", "0 0 1") +
                      FloatArrayElement("t1", "9 9 9 9 9 9") + FloatArrayElement("t2", "0.25 0.5 0.75 1 1 0") +
                      "<vertices id='v'><input semantic='POSITION' source='#pos'/>"
                      "<input semantic='NORMAL' source='#nrm'/></vertices>"
                      "<triangles count='1'><input semantic='VERTEX' source='#v' offset='0'/>"
                      "<input semantic='NORMAL' source='#nrm' offset='1'/>"
                      "<input semantic='TEXCOORD' source='#t1' offset='2' set='0'/>"
                      "<input semantic='TEXCOORD' source='#t2' offset='3' set='1'/>"
                      "<input semantic='COLOR' source='#c' offset='4'/>"
                      "<p>0 0 9 1 0 9 2 0 9 0</p></triangles>"));
    const MeshNode& mesh = keeper.Mesh(0);
    EXPECT_EQ(mesh.TexcoordSourceId, "t2");
    // Three channels, so tuples start at 0, 3 and 6; the texture index of
    // each stands three places on, in the next tuple.
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 1, 2})) << Describe(mesh);
    ASSERT_EQ(mesh.TexCoords.size(), 3u) << Describe(mesh);
    ExpectPoint(mesh.TexCoords[0], 0.75, 1, 0);
    ExpectPoint(mesh.TexCoords[1], 1, 0, 0);
    ExpectPoint(mesh.TexCoords[2], 0.25, 0.5, 0);
}

TEST(TrianglesWalk, NormalOfTheVerticesElementIsIgnored) {
    MeshKeeper keeper;
    Parse(keeper, GeometryDocument(FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") + FloatArrayElement("nrm", "0 0 1") +
                                   "<vertices id='v'><input semantic='POSITION' source='#pos'/>"
                                   "<input semantic='NORMAL' source='#nrm'/></vertices>"
                                   "<triangles count='1'><input semantic='VERTEX' source='#v' offset='0'/>"
                                   "<p>0 1 2</p></triangles>"));
    const MeshNode& mesh = keeper.Mesh(0);
    EXPECT_TRUE(mesh.NormalSourceId.empty());
    EXPECT_TRUE(mesh.Normals.empty());
    EXPECT_EQ(mesh.NormalIndex.FaceCount(), 1u);
}

TEST(TrianglesWalk, CornersThatCannotBeReadAreDropped) {
    // Three points. Triangle 0: index 3 (one past the end) and -1. Triangle
    // 1: a normal index outside its array keeps the corner, without normal.
    // Triangle 2 runs past the end of the list after its first corner.
    MeshKeeper keeper;
    Parse(keeper, GeometryDocument(FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") + FloatArrayElement("nrm", "0 0 1") +
                                   PositionsElement("pos") +
                                   "<triangles count='3'><input semantic='VERTEX' source='#v' offset='0'/>"
                                   "<input semantic='NORMAL' source='#nrm' offset='1'/>"
                                   "<p>0 0 3 0 -1 0 1 0 2 5 0 -2 2 0</p></triangles>"));
    const MeshNode& mesh = keeper.Mesh(0);
    ASSERT_EQ(mesh.CoordIndex.FaceCount(), 3u) << Describe(mesh);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0}));
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 0), (IntList{0}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{1, 2, 0}));
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 1), (IntList{0}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 2), (IntList{2}));
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 2), (IntList{0}));
}

TEST(TrianglesWalk, CountDecidesHowManyFaces) {
    const std::string body = FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") + PositionsElement("pos");
    const std::string inputs = "<input semantic='VERTEX' source='#v' offset='0'/><p>0 1 2 2 1 0</p></triangles>";
    {
        MeshKeeper keeper;
        Parse(keeper, GeometryDocument(body + "<triangles>" + inputs));
        ASSERT_EQ(keeper.MeshCount(), 1u);
        EXPECT_EQ(keeper.Mesh(0).CoordIndex.FaceCount(), 0u);
    }
    {
        MeshKeeper keeper;
        Parse(keeper, GeometryDocument(body + "<triangles count='many'>" + inputs));
        EXPECT_EQ(keeper.Mesh(0).CoordIndex.FaceCount(), 0u);
    }
    {
        // Triangles that the list does not hold are faces without corners.
        MeshKeeper keeper;
        Parse(keeper, GeometryDocument(body + "<triangles count='4'>" + inputs));
        const MeshNode& mesh = keeper.Mesh(0);
        ASSERT_EQ(mesh.CoordIndex.FaceCount(), 4u);
        EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{2, 1, 0}));
        EXPECT_TRUE(FaceOf(mesh.CoordIndex, 3).empty());
    }
}

TEST(TrianglesWalk, CountFarBeyondTheListMakesTheDocumentUnreadable) {
    // The list holds 2 whole triangles: up to 1000002 is a sloppy count.
    const std::string body = FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") + PositionsElement("pos");
    const std::string inputs = "<input semantic='VERTEX' source='#v' offset='0'/><p>0 1 2 2 1 0 1</p></triangles>";
    {
        MeshKeeper keeper;
        keeper.SmoothMeshes = false;
        const std::string console = Parse(keeper, GeometryDocument(body + "<triangles count='1000002'>" + inputs));
        ASSERT_EQ(keeper.MeshCount(), 1u);
        EXPECT_EQ(keeper.Mesh(0).CoordIndex.FaceCount(), 1000002u);
        EXPECT_EQ(console.size(), 7813u);  // one mark per 128 triangles
    }
    {
        MeshKeeper keeper;
        testing::internal::CaptureStdout();
        const ResultCode result =
            test::ParseDocument(keeper, GeometryDocument(body + "<triangles count='1000003'>" + inputs));
        const std::string console = testing::internal::GetCapturedStdout();
        EXPECT_NE(result, kResultOk);
        EXPECT_EQ(keeper.MeshCount(), 0u);  // the document never ended
        EXPECT_EQ(console, "");
    }
}

TEST(TrianglesWalk, TwoTrianglesElementsNeverSharePoints) {
    const std::string triangles =
        "<triangles count='1'><input semantic='VERTEX' source='#v' offset='0'/><p>0 1 2</p></triangles>";
    MeshKeeper keeper;
    Parse(keeper,
          GeometryDocument(FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") + PositionsElement("pos") + triangles + triangles));
    ASSERT_EQ(keeper.MeshCount(), 2u);
    EXPECT_EQ(keeper.Mesh(0).Coordinates.size(), 3u);
    EXPECT_EQ(keeper.Mesh(1).Coordinates.size(), 3u);
    EXPECT_EQ(FaceOf(keeper.Mesh(1).CoordIndex, 0), (IntList{0, 1, 2}));
}

TEST(TrianglesWalk, ArraysThatAreNotFoundLeaveNoCorners) {
    MeshKeeper keeper;
    Parse(keeper, GeometryDocument(
                      // The first of two arrays with one id is the one found.
                      FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") + FloatArrayElement("pos", "5 5 5 5 5 5 5 5 5") +
                      "<vertices id='v'><input semantic='POSITION' source='#pos'/></vertices>"
                      "<triangles count='1'><input semantic='VERTEX' source='#v' offset='0'/>"
                      "<input semantic='NORMAL' source='#missing' offset='1'/><p>0 0 1 0 2 0</p></triangles>"
                      "<vertices id='w'><input semantic='POSITION' source='missing'/></vertices>"
                      "<triangles count='1'><input semantic='VERTEX' source='#w' offset='0'/><p>0 1 2</p></triangles>"));
    ASSERT_EQ(keeper.MeshCount(), 2u);
    const MeshNode& first = keeper.Mesh(0);
    EXPECT_EQ(FaceOf(first.CoordIndex, 0), (IntList{0, 1, 2}));
    ExpectPoint(first.Coordinates[1], Scaled(1), 0, 0);
    EXPECT_TRUE(first.Normals.empty());
    EXPECT_TRUE(FaceOf(first.NormalIndex, 0).empty());
    const MeshNode& second = keeper.Mesh(1);
    EXPECT_EQ(second.CoordIndex.FaceCount(), 1u);
    EXPECT_TRUE(second.Coordinates.empty());
}

TEST(PolylistWalk, EachFaceTakesItsVcountOfTuples) {
    // Width 2. Faces of 3 and 4 corners, then 0, a negative count read as 0,
    // a face whose second corner lies past the list, and one past it whole.
    // The seventh position is used by no corner.
    MeshKeeper keeper;
    const std::string console = Parse(
        keeper, GeometryDocument(FloatArrayElement("pos", "0 0 0 1 0 0 1 1 0 0 1 0 0 0 1 1 0 1 500 500 500") +
                                 FloatArrayElement("nrm", "0 0 1 0 0 -1") + PositionsElement("pos") +
                                 "<polylist count='99' material='m'><input semantic='VERTEX' source='#v' offset='0'/>"
                                 "<input semantic='NORMAL' source='#nrm' offset='1'/>"
                                 "<vcount>3 4 0 -2 2 3</vcount>"
                                 "<p>0 0 1 0 2 0 2 1 3 1 4 1 5 1 0 1</p></polylist>"));
    ASSERT_EQ(keeper.MeshCount(), 1u);
    const MeshNode& mesh = keeper.Mesh(0);
    ASSERT_EQ(mesh.CoordIndex.FaceCount(), 6u) << Describe(mesh);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 1, 2}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{2, 3, 4, 5}));
    EXPECT_TRUE(FaceOf(mesh.CoordIndex, 2).empty());
    EXPECT_TRUE(FaceOf(mesh.CoordIndex, 3).empty());
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 4), (IntList{0}));
    EXPECT_TRUE(FaceOf(mesh.CoordIndex, 5).empty());
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 1), (IntList{1, 1, 1, 1}));
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 4), (IntList{1}));
    // Only corners in use reach the bounds.
    EXPECT_EQ(keeper.BoundsMin, (std::array<double, 3>{0, 0, 0}));
    EXPECT_EQ(keeper.BoundsMax, (std::array<double, 3>{Scaled(1), Scaled(1), Scaled(1)}));
    // Polylists have no marks of their own; welding marks the first face.
    EXPECT_EQ(console, ".");
}

TEST(PolylistWalk, VcountSplitsAtBlanksOnly) {
    MeshKeeper keeper;
    Parse(keeper, GeometryDocument(FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") + PositionsElement("pos") +
                                   "<polylist><input semantic='VERTEX' source='#v' offset='0'/>"
                                   "<vcount>3\n3</vcount><p>0 1 2 2 1 0</p></polylist>"));
    const MeshNode& mesh = keeper.Mesh(0);
    ASSERT_EQ(mesh.CoordIndex.FaceCount(), 1u);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 1, 2}));
}

TEST(PolygonsWalk, EachPIsOneFace) {
    // Width 2; the second p has 7 integers, so 3 corners; the p of a ph
    // is a face of its own, its hole dropped. The second polygons has
    // positions only.
    MeshKeeper keeper;
    Parse(keeper,
          GeometryDocument(FloatArrayElement("pos", "0 0 0 1 0 0 1 1 0 0 1 0 9 9 9") +
                           FloatArrayElement("tex", "0 0 1 0 1 1 0 1") + PositionsElement("pos") +
                           "<polygons count='1' material='a'><input semantic='VERTEX' source='#v' offset='0'/>"
                           "<input semantic='TEXCOORD' source='#tex' offset='1'/>"
                           "<p>0 0 1 1 2 2</p><p>2 2 1 1 0 0 3</p>"
                           "<ph><p>0 0 1 1 3 3</p><h>2 2</h></ph></polygons>"
                           "<polygons material='b'><input semantic='VERTEX' source='#v' offset='0'/>"
                           "<p>3 2 1</p></polygons>"));
    ASSERT_EQ(keeper.MeshCount(), 2u);
    const MeshNode& first = keeper.Mesh(0);
    ASSERT_EQ(first.CoordIndex.FaceCount(), 3u) << Describe(first);
    EXPECT_EQ(FaceOf(first.CoordIndex, 0), (IntList{0, 1, 2}));
    EXPECT_EQ(FaceOf(first.CoordIndex, 1), (IntList{2, 1, 0}));
    EXPECT_EQ(FaceOf(first.CoordIndex, 2), (IntList{0, 1, 3}));
    EXPECT_EQ(FaceOf(first.TexCoordIndex, 2), (IntList{0, 1, 3}));
    ExpectPoint(first.TexCoords[3], 0, 1, 0);
    // The fifth position is in no face and so not in the bounds.
    EXPECT_EQ(keeper.BoundsMax, (std::array<double, 3>{Scaled(1), Scaled(1), 0}));

    const MeshNode& second = keeper.Mesh(1);
    EXPECT_EQ(second.MaterialName, "b");
    EXPECT_EQ(FaceOf(second.CoordIndex, 0), (IntList{0, 1, 2}));
    ExpectPoint(second.Coordinates[0], 0, Scaled(1), 0);
    EXPECT_TRUE(second.TexCoords.empty());
}

TEST(PolygonsWalk, WithoutAnyOffsetEachPIsAnEmptyFace) {
    MeshKeeper keeper;
    Parse(keeper, GeometryDocument(FloatArrayElement("pos", "0 0 0") + PositionsElement("pos") +
                                   "<polygons><p>0 0 0</p><p>0</p></polygons>"));
    const MeshNode& mesh = keeper.Mesh(0);
    EXPECT_EQ(mesh.CoordIndex.FaceCount(), 2u);
    EXPECT_TRUE(mesh.Coordinates.empty());
}

const std::string kLines = FloatArrayElement("pos", "0 0 0 1 0 0 1 1 0 -4 -4 -4") + PositionsElement("pos") +
                           "<lines count='1' material='wire'><input semantic='VERTEX' source='#v' offset='0'/>"
                           "<input semantic='TEXCOORD' source='#t' offset='1'/>"
                           "<p>0 1 1 2 7 0 2</p></lines>";

TEST(LinesWalk, PairsOfPositionsShareTheirPointsWhenWelded) {
    MeshKeeper keeper;
    keeper.CreaseAngle = 30.0f;
    const std::string console = Parse(keeper, GeometryDocument(kLines));
    ASSERT_EQ(keeper.MeshCount(), 1u);
    const MeshNode& mesh = keeper.Mesh(0);
    EXPECT_EQ(mesh.Kind, MeshNode::kLineSet);
    EXPECT_EQ(mesh.MaterialName, "wire");
    EXPECT_EQ(mesh.CreaseAngleRadians, static_cast<float>(60.0 * 0.017453292222222222));
    // Seven integers: three segments; index 7 is past the points.
    ASSERT_EQ(mesh.CoordIndex.FaceCount(), 3u) << Describe(mesh);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 1}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{1, 2}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 2), (IntList{0}));
    EXPECT_EQ(mesh.Coordinates.size(), 3u);
    EXPECT_TRUE(mesh.TexCoords.empty());
    // Every point of the array is in the bounds, the unused fourth too.
    EXPECT_EQ(keeper.BoundsMin, (std::array<double, 3>{Scaled(-4), Scaled(-4), Scaled(-4)}));
    EXPECT_EQ(console, ".");
}

TEST(LinesWalk, PlainGivesEverySegmentItsOwnPoints) {
    MeshKeeper keeper;
    keeper.SmoothMeshes = false;
    Parse(keeper, GeometryDocument(kLines));
    const MeshNode& mesh = keeper.Mesh(0);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{2, 3}));
    EXPECT_EQ(mesh.Coordinates.size(), 5u);
}

const std::string kTrianglesAndLines =
    FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0 0 0 -2") + PositionsElement("pos") +
    "<triangles count='1'><input semantic='VERTEX' source='#v' offset='0'/><p>0 1 2</p></triangles>"
    "<lines><input semantic='VERTEX' source='#v' offset='0'/><p>0 3</p></lines>";

TEST(PrimitiveSuppression, WithoutPolygonsOnlyLinesRemain) {
    MeshKeeper keeper;
    keeper.WritePolygons = false;
    const std::string console = Parse(keeper, GeometryDocument(kTrianglesAndLines));
    ASSERT_EQ(keeper.MeshCount(), 1u);
    EXPECT_EQ(keeper.Mesh(0).Kind, MeshNode::kLineSet);
    // The vertices input still names the positions the lines read.
    EXPECT_EQ(FaceOf(keeper.Mesh(0).CoordIndex, 0), (IntList{0, 1}));
    EXPECT_EQ(console, ".");
}

TEST(PrimitiveSuppression, WithoutLinesOnlyTrianglesRemain) {
    MeshKeeper keeper;
    keeper.WriteLines = false;
    Parse(keeper, GeometryDocument(kTrianglesAndLines));
    ASSERT_EQ(keeper.MeshCount(), 1u);
    EXPECT_EQ(keeper.Mesh(0).Kind, MeshNode::kFaceSet);
    EXPECT_EQ(FaceOf(keeper.Mesh(0).CoordIndex, 0), (IntList{0, 1, 2}));
}

TEST(PrimitiveSuppression, WithNeitherNothingIsBuiltNorBounded) {
    MeshKeeper keeper;
    keeper.WritePolygons = false;
    keeper.WriteLines = false;
    const std::string console =
        Parse(keeper, GeometryDocument(kTrianglesAndLines + "<polylist><vcount>3</vcount><p>0 1 2</p></polylist>"
                                                           "<polygons><p>0 1 2</p></polygons>"));
    EXPECT_EQ(keeper.MeshCount(), 0u);
    EXPECT_EQ(keeper.BoundsMin, (std::array<double, 3>{1e10, 1e10, 1e10}));
    EXPECT_EQ(keeper.BoundsMax, (std::array<double, 3>{-1e10, -1e10, -1e10}));
    EXPECT_EQ(console, "");
}

}  // namespace
}  // namespace morvane
