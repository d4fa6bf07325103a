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
using Box = std::array<double, 3>;

// Inches to metres as the mesh applies it: the float widened, multiplied
// in 64 bits.
double In(float value) { return static_cast<double>(value) * 0.0254; }

// Parses `body` as the mesh of a document, keeping its meshes; returns
// what the console got.
std::string Parse(MeshKeeper& keeper, const std::string& body) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(test::ParseDocument(keeper, GeometryDocument(body)), kResultOk);
    return testing::internal::GetCapturedStdout();
}

const std::string kThreePoints = FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") + PositionsElement("pos");

std::string Triangles(const std::string& attributes, const std::string& inputs, const std::string& list) {
    return "<triangles " + attributes + "><input semantic='VERTEX' source='#v' offset='0'/>" + inputs + "<p>" + list +
           "</p></triangles>";
}

// Five positions and two stray values, two normals, three texture
// coordinates; two of the three triangles in the list are counted.
const std::string kTriangles =
    FloatArrayElement("pos", "0 0 0  100 0 0\n0 100 0\t0 0 100  1000 1000 -1000  -9999 -9999") +
    FloatArrayElement("nrm", "0 0 1 0 1 0") + FloatArrayElement("tex", "0 0 1 0 0 1") + PositionsElement("pos") +
    Triangles("count='2' material='mat'",
              "<input semantic='NORMAL' source='#nrm' offset='1'/>"
              "<input semantic='TEXCOORD' source='#tex' offset='2' set='0'/>",
              "0 0 0 1 0 1 2 1 2 1 1 1 3 0 0 2 1 2 4 0 0 4 0 0 4 0 0");

TEST(TrianglesWalk, WeldsEachChannelAndBoundsTheWholeArray) {
    MeshKeeper keeper;
    EXPECT_EQ(Parse(keeper, kTriangles), "..");  // one mark of the triangles, one of the welding
    ASSERT_EQ(keeper.MeshCount(), 1u);
    const MeshNode& mesh = keeper.Mesh(0);
    EXPECT_EQ(mesh.GeometryName, "g");
    EXPECT_EQ(mesh.MaterialName, "mat");
    ASSERT_EQ(mesh.Coordinates.size(), 4u) << Describe(mesh);
    EXPECT_EQ(mesh.Coordinates[3].Z, In(100));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{1, 3, 2}));
    ASSERT_EQ(mesh.Normals.size(), 2u);
    EXPECT_EQ(mesh.Normals[1].Y, 1.0);  // normals are not scaled
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 1), (IntList{1, 0, 1}));
    ASSERT_EQ(mesh.TexCoords.size(), 3u);
    EXPECT_EQ(FaceOf(mesh.TexCoordIndex, 1), (IntList{1, 0, 2}));
    // The fifth point is in no counted triangle, yet in the bounds; the
    // two stray values make no point.
    EXPECT_EQ(keeper.BoundsMin, (Box{0, 0, In(-1000)}));
    EXPECT_EQ(keeper.BoundsMax, (Box{In(1000), In(1000), In(100)}));

    MeshKeeper plain;
    plain.SmoothMeshes = false;
    EXPECT_EQ(Parse(plain, kTriangles), ".");
    EXPECT_EQ(plain.Mesh(0).Coordinates.size(), 6u);
    EXPECT_EQ(FaceOf(plain.Mesh(0).CoordIndex, 1), (IntList{3, 4, 5}));
}

TEST(TrianglesWalk, TupleWidthCountsTheThreeChannelsOnly) {
    // Position and normal share offset 0: still two wide.
    MeshKeeper shared;
    Parse(shared, kThreePoints + FloatArrayElement("nrm", "0 0 1 0 1 0 1 0 0") +
                      Triangles("count='1'", "<input semantic='NORMAL' source='#nrm' offset='0'/>", "0 7 1 7 2 7"));
    EXPECT_EQ(FaceOf(shared.Mesh(0).CoordIndex, 0), (IntList{0, 1, 2})) << Describe(shared.Mesh(0));
    EXPECT_EQ(FaceOf(shared.Mesh(0).NormalIndex, 0), (IntList{0, 1, 2}));

    // Three wide although the second texture input stands at offset 3; it
    // replaces the first, and COLOR takes no place. A normal of the
    // vertices element is no normal of the mesh.
    MeshKeeper replaced;
    Parse(replaced, FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0") + FloatArrayElement("t1", "9 9 9 9 9 9") +
                        FloatArrayElement("t2", "0.25 0.5 0.75 1 1 0") +
                        "<vertices id='v'><input semantic='POSITION' source='#pos'/>"
                        "<input semantic='NORMAL' source='#t1'/></vertices>" +
                        Triangles("count='1'",
                                  "<input semantic='TEXCOORD' source='#t1' offset='2' set='0'/>"
                                  "<input semantic='TEXCOORD' source='#t2' offset='3' set='1'/>"
                                  "<input semantic='COLOR' source='#c' offset='1'/>",
                                  "0 5 1 1 2 0 7"));
    const MeshNode& mesh = replaced.Mesh(0);
    EXPECT_EQ(mesh.TexcoordSourceId, "t2");
    EXPECT_TRUE(mesh.Normals.empty());
    // Tuples are two wide (vertex, texture), so they start at 0, 2 and 4,
    // and each texture index stands three places on: 1, 0, and past the
    // end of the list, which leaves the third corner without one.
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 1, 2})) << Describe(mesh);
    ASSERT_EQ(mesh.TexCoords.size(), 2u) << Describe(mesh);
    EXPECT_EQ(mesh.TexCoords[0].X, 0.75);
    EXPECT_EQ(mesh.TexCoords[1].X, 0.25);
    EXPECT_EQ(FaceOf(mesh.TexCoordIndex, 0), (IntList{0, 1}));
}

TEST(TrianglesWalk, CornersThatCannotBeReadAreDropped) {
    // Triangle 0: index 3 (one past the points) and -1. Triangle 1: normal
    // indices outside their array keep the corner without a normal.
    // Triangle 2 runs past the end of the list after its first corner.
    MeshKeeper keeper;
    Parse(keeper, kThreePoints + FloatArrayElement("nrm", "0 0 1") +
                      Triangles("count='3'", "<input semantic='NORMAL' source='#nrm' offset='1'/>",
                                "0 0 3 0 -1 0 1 0 2 5 0 -2 2 0"));
    const MeshNode& mesh = keeper.Mesh(0);
    ASSERT_EQ(mesh.CoordIndex.FaceCount(), 3u) << Describe(mesh);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{1, 2, 0}));
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 1), (IntList{0}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 2), (IntList{2}));
}

TEST(TrianglesWalk, CountDecidesHowManyFaces) {
    const std::string list = "0 1 2 2 1 0 1";  // two whole triangles
    const std::vector<std::pair<std::string, std::size_t>> cases = {
        {"", 0}, {"count='many'", 0}, {"count='1'", 1}, {"count='4'", 4}};
    for (const auto& [count, faces] : cases) {
        MeshKeeper keeper;
        Parse(keeper, kThreePoints + Triangles(count, "", list));
        ASSERT_EQ(keeper.MeshCount(), 1u);
        EXPECT_EQ(keeper.Mesh(0).CoordIndex.FaceCount(), faces) << count;
        if (faces == 4) {
            EXPECT_TRUE(FaceOf(keeper.Mesh(0).CoordIndex, 3).empty());
        }
    }

    // Up to a million triangles missing is a sloppy count; one more makes
    // the document unreadable, before any work or mark.
    MeshKeeper sloppy;
    sloppy.SmoothMeshes = false;
    EXPECT_EQ(Parse(sloppy, kThreePoints + Triangles("count='1000002'", "", list)).size(), 7813u);
    EXPECT_EQ(sloppy.Mesh(0).CoordIndex.FaceCount(), 1000002u);
    MeshKeeper hostile;
    testing::internal::CaptureStdout();
    EXPECT_NE(test::ParseDocument(hostile, GeometryDocument(kThreePoints + Triangles("count='1000003'", "", list))),
              kResultOk);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(TrianglesWalk, ArraysAreFoundByIdOrLeaveTheirChannelEmpty) {
    MeshKeeper keeper;
    // The first of two arrays with one id is found; a missing normal array
    // leaves no normals; a missing position array leaves no corners. Two
    // primitives never share points.
    Parse(keeper, kThreePoints + FloatArrayElement("pos", "5 5 5 5 5 5 5 5 5") +
                      Triangles("count='1'", "<input semantic='NORMAL' source='#missing' offset='1'/>",
                                "0 0 1 0 2 0") +
                      Triangles("count='1'", "", "0 1 2") + PositionsElement("missing") +
                      Triangles("count='1'", "", "0 1 2"));
    ASSERT_EQ(keeper.MeshCount(), 3u);
    EXPECT_EQ(FaceOf(keeper.Mesh(0).CoordIndex, 0), (IntList{0, 1, 2}));
    EXPECT_EQ(keeper.Mesh(0).Coordinates[1].X, In(1));
    EXPECT_TRUE(keeper.Mesh(0).Normals.empty());
    EXPECT_EQ(keeper.Mesh(1).Coordinates.size(), 3u);
    EXPECT_EQ(keeper.Mesh(2).CoordIndex.FaceCount(), 1u);
    EXPECT_TRUE(keeper.Mesh(2).Coordinates.empty());
}

TEST(PolylistWalk, EachFaceTakesItsVcountOfTuples) {
    // Width 2. Faces of 3 and 4 corners, then 0, a negative count read as
    // 0, a face whose second corner lies past the list, and one past it
    // whole. The seventh position is in no face.
    MeshKeeper keeper;
    EXPECT_EQ(Parse(keeper, FloatArrayElement("pos", "0 0 0 1 0 0 1 1 0 0 1 0 0 0 1 1 0 1 500 500 500") +
                                FloatArrayElement("nrm", "0 0 1 0 0 -1") + PositionsElement("pos") +
                                "<polylist count='99'><input semantic='VERTEX' source='#v' offset='0'/>"
                                "<input semantic='NORMAL' source='#nrm' offset='1'/><vcount>3 4 0 -2 2 3</vcount>"
                                "<p>0 0 1 0 2 0 2 1 3 1 4 1 5 1 0 1</p></polylist>"),
              ".");  // no marks of its own; the welding marks the first face
    const MeshNode& mesh = keeper.Mesh(0);
    ASSERT_EQ(mesh.CoordIndex.FaceCount(), 6u) << Describe(mesh);
    const std::vector<IntList> faces = {{0, 1, 2}, {2, 3, 4, 5}, {}, {}, {0}, {}};
    for (std::size_t f = 0; f < faces.size(); ++f) EXPECT_EQ(FaceOf(mesh.CoordIndex, f), faces[f]) << f;
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 1), (IntList{1, 1, 1, 1}));
    // Only corners in use reach the bounds.
    EXPECT_EQ(keeper.BoundsMax, (Box{In(1), In(1), In(1)}));
}

TEST(PolygonsWalk, EachPIsOneFace) {
    // Width 2; 7 integers make 3 corners; the p of a ph is a face, its hole
    // is dropped. The second polygons has positions only, so width 1.
    MeshKeeper keeper;
    Parse(keeper, FloatArrayElement("pos", "0 0 0 1 0 0 1 1 0 0 1 0 9 9 9") +
                      FloatArrayElement("tex", "0 0 1 0 1 1 0 1") + PositionsElement("pos") +
                      "<polygons count='1'><input semantic='VERTEX' source='#v' offset='0'/>"
                      "<input semantic='TEXCOORD' source='#tex' offset='1'/>"
                      "<p>0 0 1 1 2 2</p><p>2 2 1 1 0 0 3</p><ph><p>0 0 1 1 3 3</p><h>2 2</h></ph></polygons>"
                      "<polygons><input semantic='VERTEX' source='#v' offset='0'/><p>3 2 1</p></polygons>"
                      "<polygons><p>0 0 0</p></polygons>");
    ASSERT_EQ(keeper.MeshCount(), 3u);
    const MeshNode& first = keeper.Mesh(0);
    ASSERT_EQ(first.CoordIndex.FaceCount(), 3u) << Describe(first);
    EXPECT_EQ(FaceOf(first.CoordIndex, 1), (IntList{2, 1, 0}));
    EXPECT_EQ(FaceOf(first.CoordIndex, 2), (IntList{0, 1, 3}));
    EXPECT_EQ(FaceOf(first.TexCoordIndex, 2), (IntList{0, 1, 3}));
    EXPECT_EQ(keeper.BoundsMax, (Box{In(1), In(1), 0}));
    EXPECT_EQ(FaceOf(keeper.Mesh(1).CoordIndex, 0), (IntList{0, 1, 2}));
    EXPECT_EQ(keeper.Mesh(1).Coordinates[0].Y, In(1));
    // Without any input the width is 0: one face without corners.
    EXPECT_EQ(keeper.Mesh(2).CoordIndex.FaceCount(), 1u);
    EXPECT_TRUE(keeper.Mesh(2).Coordinates.empty());
}

// The first point alone bears the largest z: it must set both corners.
const std::string kLines = FloatArrayElement("pos", "0 0 5 1 0 0 1 1 0 -4 -4 -4") + PositionsElement("pos") +
                           "<lines count='1' material='wire'><input semantic='VERTEX' source='#v' offset='0'/>"
                           "<input semantic='TEXCOORD' source='#t' offset='1'/><p>0 1 1 2 7 0 2</p></lines>";

TEST(LinesWalk, ReadsPlainPairsOfPositions) {
    MeshKeeper keeper;
    keeper.CreaseAngle = 30.0f;
    EXPECT_EQ(Parse(keeper, kLines), ".");
    const MeshNode& mesh = keeper.Mesh(0);
    EXPECT_EQ(mesh.Kind, MeshNode::kLineSet);
    EXPECT_EQ(mesh.CreaseAngleRadians, static_cast<float>(60.0 * 0.017453292222222222));
    // Seven integers: three segments, and index 7 is past the points.
    ASSERT_EQ(mesh.CoordIndex.FaceCount(), 3u) << Describe(mesh);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{1, 2}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 2), (IntList{0}));
    EXPECT_EQ(mesh.Coordinates.size(), 3u);
    EXPECT_EQ(keeper.BoundsMin, (Box{In(-4), In(-4), In(-4)}));
    EXPECT_EQ(keeper.BoundsMax, (Box{In(1), In(1), In(5)}));

    MeshKeeper plain;
    plain.SmoothMeshes = false;
    Parse(plain, kLines);
    EXPECT_EQ(FaceOf(plain.Mesh(0).CoordIndex, 1), (IntList{2, 3}));
}

TEST(PrimitiveSuppression, OptionsLeaveTheirPrimitivesUnbuilt) {
    const std::string body = FloatArrayElement("pos", "0 0 0 1 0 0 0 1 0 0 0 -2") + PositionsElement("pos") +
                             Triangles("count='1'", "", "0 1 2") +
                             "<lines><input semantic='VERTEX' source='#v' offset='0'/><p>0 3</p></lines>"
                             "<polylist><input semantic='VERTEX' source='#v' offset='0'/>"
                             "<vcount>3</vcount><p>0 1 2</p></polylist>"
                             "<polygons><input semantic='VERTEX' source='#v' offset='0'/><p>0 1 2</p></polygons>";
    MeshKeeper noPolygons;
    noPolygons.WritePolygons = false;
    EXPECT_EQ(Parse(noPolygons, body), ".");
    ASSERT_EQ(noPolygons.MeshCount(), 1u);
    EXPECT_EQ(noPolygons.Mesh(0).Kind, MeshNode::kLineSet);
    EXPECT_EQ(FaceOf(noPolygons.Mesh(0).CoordIndex, 0), (IntList{0, 1}));
    EXPECT_EQ(noPolygons.BoundsMin, (Box{0, 0, In(-2)}));

    MeshKeeper noLines;
    noLines.WriteLines = false;
    Parse(noLines, body);
    ASSERT_EQ(noLines.MeshCount(), 3u);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(noLines.Mesh(i).Kind, MeshNode::kFaceSet);

    MeshKeeper neither;
    neither.WritePolygons = false;
    neither.WriteLines = false;
    EXPECT_EQ(Parse(neither, body), "");
    EXPECT_EQ(neither.MeshCount(), 0u);
    EXPECT_EQ(neither.BoundsMin, (Box{1e10, 1e10, 1e10}));
}

}  // namespace
}  // namespace morvane
