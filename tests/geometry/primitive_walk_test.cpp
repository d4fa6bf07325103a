#include <gtest/gtest.h>

#include "events/central_object.h"
#include "geometry/mesh_node.h"
#include "test_support.h"

namespace morvane {
namespace {

// A converter that keeps its meshes after the end of the document instead
// of writing them.
class MeshKeeper : public ColladaReader {
public:
    void Write() override { Kept = std::move(State().MeshLibrary); }
    MeshNode& Mesh(std::size_t i) { return Kept->Children().at(i); }
    std::unique_ptr<morvane::MeshLibrary> Kept;
};

std::string Array(const std::string& id, const std::string& values) {
    return "<source id='" + id + "'><float_array id='" + id + "-array'>" + values + "</float_array></source>";
}

std::string Positions(const std::string& id) {
    return "<vertices id='v'><input semantic='POSITION' source='#" + id + "'/></vertices>";
}

std::string Input(const std::string& semantic, const std::string& source, int offset) {
    return "<input semantic='" + semantic + "' source='#" + source + "' offset='" + std::to_string(offset) + "'/>";
}

std::string Triangles(const std::string& count, const std::string& inputs, const std::string& list) {
    return "<triangles" + count + ">" + Input("VERTEX", "v", 0) + inputs + "<p>" + list + "</p></triangles>";
}

const std::string kThreePoints = Array("pos", "0 0 0 1 0 0 0 1 0") + Positions("pos");

// Inches, the unit of a document without one, to metres as the mesh
// applies it: the float widened, multiplied in 64 bits.
double In(float value) { return static_cast<double>(value) * 0.0254; }

std::string Faces(const FaceIndexList& list) {
    std::string text;
    for (std::size_t f = 0; f < list.FaceCount(); ++f) {
        text += '[';
        const FaceView face = list.Face(f);
        for (std::size_t i = 0; i < face.size(); ++i) text += (i == 0 ? "" : " ") + std::to_string(face[i]);
        text += ']';
    }
    return text;
}

// Reads a document with one geometry whose mesh holds `body`; gives the
// progress marks, quoted, or says that the document was unreadable.
std::string Read(MeshKeeper& keeper, const std::string& body) {
    test::ProgressMarks marks;
    keeper.Progress = &marks;
    const std::string refusal = test::ParseDocument(
        keeper, "<COLLADA><library_geometries><geometry id='g'><mesh>" + body +
                    "</mesh></geometry></library_geometries></COLLADA>");
    keeper.Progress = nullptr;
    const std::string quoted = "'" + marks.Text + "'";
    return refusal.empty() ? quoted : "unreadable " + quoted;
}

// Each mesh as its faces of coordinate, normal and texture coordinate
// indices, then the bounds in inches and the progress marks.
std::string Walk(MeshKeeper& keeper, const std::string& body) {
    const std::string marks = Read(keeper, body);
    if (keeper.Kept == nullptr) return marks;
    std::string text;
    for (const auto& mesh : keeper.Kept->Children()) {
        text += "c" + Faces(mesh.Data().CoordIndex) + " n" + Faces(mesh.Data().NormalIndex) + " t" +
                Faces(mesh.Data().TexCoordIndex) +
                "; ";
    }
    char bounds[160];
    std::snprintf(bounds, sizeof bounds, "box %g %g %g  %g %g %g; ", keeper.State().BoundsMin[0] / 0.0254,
                  keeper.State().BoundsMin[1] / 0.0254, keeper.State().BoundsMin[2] / 0.0254, keeper.State().BoundsMax[0] / 0.0254,
                  keeper.State().BoundsMax[1] / 0.0254, keeper.State().BoundsMax[2] / 0.0254);
    return text + bounds + marks;
}

std::string Walk(const std::string& body) {
    MeshKeeper keeper;
    return Walk(keeper, body);
}

TEST(TrianglesWalk, WeldsEachChannelAndBoundsTheWholeArray) {
    // Five positions and two stray values, two normals, three texture
    // coordinates; two of the three triangles in the list are counted. The
    // fifth point is in no counted triangle, yet in the bounds. One mark
    // comes from the triangles, one from the welding.
    MeshKeeper keeper;
    EXPECT_EQ(Walk(keeper, Array("pos", "0 0 0  100 0 0\n0 100 0\t0 0 100  1000 1000 -1000  -9999 -9999") +
                               Array("nrm", "0 0 1 0 1 0") + Array("tex", "0 0 1 0 0 1") + Positions("pos") +
                               Triangles(" count='2' material='mat'",
                                         Input("NORMAL", "nrm", 1) + Input("TEXCOORD", "tex", 2),
                                         "0 0 0 1 0 1 2 1 2 1 1 1 3 0 0 2 1 2 4 0 0 4 0 0 4 0 0")),
              "c[0 1 2][1 3 2] n[0 0 1][1 0 1] t[0 1 2][1 0 2]; box 0 0 -1000  1000 1000 100; '..'");
    EXPECT_EQ(keeper.Mesh(0).Data().Coordinates.at(3).Z, In(100));
    EXPECT_EQ(keeper.Mesh(0).Data().Normals.at(1).Y, 1.0);  // normals are not scaled
}

TEST(TrianglesWalk, TupleWidthCountsTheThreeChannelsOnly) {
    // Position and normal share offset 0: still two wide.
    EXPECT_EQ(Walk(kThreePoints + Array("nrm", "0 0 1 0 1 0 1 0 0") +
                   Triangles(" count='1'", Input("NORMAL", "nrm", 0), "0 7 1 7 2 7")),
              "c[0 1 2] n[0 1 2] t[]; box 0 0 0  1 1 0; '..'");

    // Two wide although the second texture input stands at offset 3; it
    // replaces the first, and COLOR takes no place. A normal of the
    // vertices element is no normal of the mesh. Each texture index stands
    // three places on: 1, 0, and past the end of the list, which leaves
    // the third corner without one.
    MeshKeeper keeper;
    EXPECT_EQ(Walk(keeper, Array("pos", "0 0 0 1 0 0 0 1 0") + Array("t1", "9 9 9 9 9 9") +
                               Array("t2", "0.25 0.5 0.75 1 1 0") +
                               "<vertices id='v'><input semantic='POSITION' source='#pos'/>"
                               "<input semantic='NORMAL' source='#t1'/></vertices>" +
                               Triangles(" count='1'",
                                         Input("TEXCOORD", "t1", 2) + Input("TEXCOORD", "t2", 3) +
                                             Input("COLOR", "c", 1),
                                         "0 5 1 1 2 0 7")),
              "c[0 1 2] n[] t[0 1]; box 0 0 0  1 1 0; '..'");
    ASSERT_EQ(keeper.Mesh(0).Data().TexCoords.size(), 2u);
    EXPECT_EQ(keeper.Mesh(0).Data().TexCoords[0].X, 0.75);
    EXPECT_EQ(keeper.Mesh(0).Data().TexCoords[1].X, 0.25);
}

TEST(TrianglesWalk, CountAndListDecideTheFacesAndTheirCorners) {
    const std::pair<std::string, std::string> cases[] = {
        // Triangle 0: index 3 (one past the points) and -1. Triangle 1:
        // normal indices outside their array keep the corner without a
        // normal. Triangle 2 runs past the end of the list after its first
        // corner.
        {kThreePoints + Array("nrm", "0 0 1") +
             Triangles(" count='3'", Input("NORMAL", "nrm", 1), "0 0 3 0 -1 0 1 0 2 5 0 -2 2 0"),
         "c[0][1 2 0][2] n[0][0][0] t[][][]; box 0 0 0  1 1 0; '..'"},
        // Two whole triangles in the list, and counts that miss or exceed it.
        {kThreePoints + Triangles(" count='many'", "", "0 1 2 2 1 0 1"), "c n t; box 0 0 0  1 1 0; ''"},
        {kThreePoints + Triangles(" count='1'", "", "0 1 2 2 1 0 1"), "c[0 1 2] n[] t[]; box 0 0 0  1 1 0; '..'"},
        {kThreePoints + Triangles(" count='4'", "", "0 1 2 2 1 0 1"),
         "c[0 1 2][2 1 0][1][] n[][][][] t[][][][]; box 0 0 0  1 1 0; '..'"},
        // Up to a million triangles missing is a sloppy count; one more
        // makes the document unreadable, before any work or mark.
        {kThreePoints + Triangles(" count='1000003'", "", "0 1 2 2 1 0 1"), "unreadable ''"},
    };
    for (const auto& [body, expected] : cases) EXPECT_EQ(Walk(body), expected) << body;

    MeshKeeper sloppy;
    sloppy.Options.SmoothMeshes = false;
    EXPECT_EQ(Read(sloppy, kThreePoints + Triangles(" count='1000002'", "", "0 1 2 2 1 0 1")).size(), 7813u + 2);
    EXPECT_EQ(sloppy.Mesh(0).Data().CoordIndex.FaceCount(), 1000002u);
}

TEST(TrianglesWalk, ArraysAreFoundByIdOrLeaveTheirChannelEmpty) {
    // The first of two arrays with one id is found; a missing normal array
    // leaves no normals; a missing position array leaves no corners. Two
    // primitives never share points.
    MeshKeeper keeper;
    EXPECT_EQ(Walk(keeper, kThreePoints + Array("pos", "5 5 5 5 5 5 5 5 5") +
                               Triangles(" count='1'", Input("NORMAL", "missing", 1), "0 0 1 0 2 0") +
                               Triangles(" count='1'", "", "0 1 2") + Positions("missing") +
                               Triangles(" count='1'", "", "0 1 2")),
              "c[0 1 2] n[] t[]; c[0 1 2] n[] t[]; c[] n[] t[]; box 0 0 0  1 1 0; '......'");
    EXPECT_EQ(keeper.Mesh(0).Data().Coordinates.at(1).X, In(1));
}

TEST(PolygonPrimitivesWalk, ReadCornersStraightFromTheArrays) {
    // Polylist, width 2: faces of 3 and 4 corners, then 0, a negative count
    // read as 0, a face whose second corner lies past the list, and one
    // past it whole. The seventh position is in no face and not in the
    // bounds. No marks of its own; the welding marks the first face.
    EXPECT_EQ(Walk(Array("pos", "0 0 0 1 0 0 1 1 0 0 1 0 0 0 1 1 0 1 500 500 500") + Array("nrm", "0 0 1 0 0 -1") +
                   Positions("pos") + "<polylist count='99'>" + Input("VERTEX", "v", 0) + Input("NORMAL", "nrm", 1) +
                   "<vcount>3 4 0 -2 2 3</vcount><p>0 0 1 0 2 0 2 1 3 1 4 1 5 1 0 1</p></polylist>"),
              "c[0 1 2][2 3 4 5][][][0][] n[0 0 0][1 1 1 1][][][1][] t[][][][][][]; box 0 0 0  1 1 1; '.'");
    // Faces without corners first, then one with them.
    EXPECT_EQ(Walk(kThreePoints + "<polylist>" + Input("VERTEX", "v", 0) +
                   "<vcount>0 0 3</vcount><p>0 1 2</p></polylist>"),
              "c[][][0 1 2] n[][][] t[][][]; box 0 0 0  1 1 0; '.'");

    // Polygons, width 2: each p is one face, 7 integers make 3 corners, the
    // p of a ph is a face and its hole is dropped. The second polygons has
    // positions only, so width 1; the third no input, so faces without
    // corners.
    MeshKeeper keeper;
    EXPECT_EQ(Walk(keeper, Array("pos", "0 0 0 1 0 0 1 1 0 0 1 0 9 9 9") + Array("tex", "0 0 1 0 1 1 0 1") +
                               Positions("pos") + "<polygons count='1'>" + Input("VERTEX", "v", 0) +
                               Input("TEXCOORD", "tex", 1) +
                               "<p>0 0 1 1 2 2</p><p>2 2 1 1 0 0 3</p><ph><p>0 0 1 1 3 3</p><h>2 2</h></ph></polygons>"
                               "<polygons>" + Input("VERTEX", "v", 0) + "<p>3 2 1</p></polygons>"
                               "<polygons><p>0 0 0</p></polygons>"),
              "c[0 1 2][2 1 0][0 1 3] n[][][] t[0 1 2][2 1 0][0 1 3]; c[0 1 2] n[] t[]; c[] n[] t[]; "
              "box 0 0 0  1 1 0; '...'");
    EXPECT_EQ(keeper.Mesh(1).Data().Coordinates.at(0).Y, In(1));
}

TEST(LinesWalk, ReadsPlainPairsOfPositions) {
    // Seven integers: three segments, and index 7 is past the points. The
    // inputs take no place. The first point alone bears the largest z: it
    // must set both corners of the bounds.
    const std::string body = Array("pos", "0 0 5 1 0 0 1 1 0 -4 -4 -4") + Positions("pos") +
                             "<lines count='1' material='wire'>" + Input("VERTEX", "v", 0) +
                             Input("TEXCOORD", "t", 1) + "<p>0 1 1 2 7 0 2</p></lines>";
    EXPECT_EQ(Walk(body), "c[0 1][1 2][0] n[][][] t[][][]; box -4 -4 -4  1 1 5; '.'");
    MeshKeeper plain;
    plain.Options.SmoothMeshes = false;
    EXPECT_EQ(Walk(plain, body), "c[0 1][2 3][4] n[][][] t[][][]; box -4 -4 -4  1 1 5; ''");
}

// A document may hold a million empty primitives, each of which becomes a
// mesh: an empty one is a small record that points at its names, and gets
// its points and faces only with its first face.
TEST(EmptyPrimitives, AreSmallRecordsWithoutMeshData) {
    EXPECT_LE(sizeof(MeshNode), 64u);
    std::string body = kThreePoints;
    for (int i = 0; i < 500; ++i) body += "<lines/><triangles count='0'/>";
    // Inputs name sources without making data; the last primitive has a face.
    body += "<triangles count='0'>" + Input("VERTEX", "v", 0) + Input("NORMAL", "pos", 1) + "</triangles>";
    body += "<polygons count='0'>" + Input("VERTEX", "v", 0) + "</polygons><lines material='m'><p>0 1</p></lines>";
    MeshKeeper keeper;
    Read(keeper, body);
    ASSERT_NE(keeper.Kept, nullptr);
    const auto& meshes = keeper.Kept->Children();
    ASSERT_EQ(meshes.size(), 1003u);
    for (std::size_t i = 0; i + 1 < meshes.size(); ++i) EXPECT_FALSE(meshes[i].HasData()) << i;
    EXPECT_TRUE(meshes.back().HasData());
    EXPECT_EQ(Faces(meshes.back().Data().CoordIndex), "[0 1]");
    // Every mesh points at one copy of its pair of names.
    EXPECT_EQ(&meshes[0].GeometryName(), &meshes[1001].GeometryName());
    EXPECT_EQ(&meshes[0].MaterialName(), &meshes[1001].MaterialName());
    EXPECT_EQ(meshes.back().GeometryName(), "g");
    EXPECT_EQ(meshes.back().MaterialName(), "m");
    EXPECT_NE(&meshes.back().GeometryName(), &meshes[0].GeometryName());
    EXPECT_EQ(meshes[7].LibraryPosition, 7u);
}

}  // namespace
}  // namespace morvane
