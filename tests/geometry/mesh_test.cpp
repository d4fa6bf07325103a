#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <cstring>
#include <limits>
#include <random>

#include "appearance/appearance_node.h"
#include "document/x3d_converter.h"
#include "geometry/mesh_node.h"
#include "test_support.h"

namespace morvane {
namespace {

using IntList = std::vector<std::int32_t>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// Names that outlive every mesh of the tests.
const MeshNames* Names(const char* geometry, const char* material) {
    static std::deque<MeshNames> names;
    return &names.emplace_back(MeshNames{geometry, material});
}

MeshNode NewMesh() { return MeshNode(nullptr, Names("g", "m"), MeshKind::kFaceSet, 60.0f); }

TEST(MeshWelding, ZerosWeldKeepingTheFirstFormAndNaNNeverWelds) {
    MeshNode mesh = NewMesh();
    Facet facet;
    for (const Float3& point : std::initializer_list<Float3>{
             {-0.0f, 1, 0.0f}, {0.0f, 1, -0.0f}, {kNaN, 0, 0}, {kNaN, 0, 0}, {0, 0, kNaN}, {0.0f, 1, 0.0f}}) {
        facet.Coordinates.push_back({point});
    }
    mesh.AddFacetOptimized(facet);
    EXPECT_EQ(mesh.Data().CoordIndex.Flat(), (IntList{0, 0, 1, 2, 3, 0}));
    EXPECT_TRUE(std::signbit(mesh.Data().Coordinates[0].X));
    EXPECT_FALSE(std::signbit(mesh.Data().Coordinates[0].Z));
}

// Welding as a plain scan from index 0 does it.
struct ScanReference {
    std::vector<Point3> points;
    IntList indices;
    void Add(const Point3& p) {
        std::size_t i = 0;
        while (i < points.size() && !PointsEqual(points[i], p)) ++i;
        if (i == points.size()) points.push_back(p);
        indices.push_back(static_cast<std::int32_t>(i));
    }
};

TEST(MeshWelding, MatchesALinearScan) {
    // Few distinct values, so that points repeat often, with both zeros and
    // NaN among them. Walks read an array of points under scales that
    // change between walks; some walks weld by array number, and releasing
    // the index now and then changes nothing.
    const float values[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, kNaN, 1e-30f, 3.25f};
    const double scales[] = {1.0, 0.0254, 0.0, 2.0};
    std::mt19937 random(7);
    std::vector<Float3> array(12);
    for (Float3& point : array) point = {values[random() % 8], values[random() % 8], values[random() % 8]};

    MeshNode mesh = NewMesh();
    ScanReference coordinates;
    ScanReference texCoords;
    for (int walk = 0; walk < 60; ++walk) {
        const double scale = scales[random() % 4];
        const bool byNumber = walk % 2 == 0;
        if (byNumber) mesh.BeginWalk(50, {200, 0, 200}, {array.size(), 0, array.size()}, true);
        for (int face = 0; face < 50; ++face) {
            Facet facet;
            facet.Scale = scale;
            for (int c = static_cast<int>(random() % 5); c > 0; --c) {
                const auto number = static_cast<std::int32_t>(random() % array.size());
                const Float3& p = array[static_cast<std::size_t>(number)];
                facet.Coordinates.push_back({p, byNumber ? number : -1});
                coordinates.Add({p.X * scale, p.Y * scale, p.Z * scale});
                const Float3 st{values[random() % 4], values[random() % 4], 0.0f};
                facet.TexCoords.push_back({st});
                texCoords.Add({st.X, st.Y, 0.0});
            }
            mesh.AddFacetOptimized(facet);
        }
        if (walk % 7 == 0) mesh.ReleaseWeldIndex();
    }
    ASSERT_EQ(mesh.Data().CoordIndex.Flat(), coordinates.indices);
    ASSERT_EQ(mesh.Data().TexCoordIndex.Flat(), texCoords.indices);
    ASSERT_EQ(mesh.Data().Coordinates.size(), coordinates.points.size());
    for (std::size_t i = 0; i < coordinates.points.size(); ++i) {
        const Point3 p = mesh.Data().Coordinates[i];
        const Point3& q = coordinates.points[i];
        EXPECT_TRUE(std::memcmp(&p, &q, sizeof p) == 0 || (std::isnan(p.X + p.Y + p.Z) && std::isnan(q.X + q.Y + q.Z)))
            << i;
    }
}

// A plain mesh gives each corner its own points, under the scale of its
// face, and its index lists count up.
TEST(MeshPoints, EachCornerHasItsOwnPointsUnderItsFacesScale) {
    MeshNode mesh = NewMesh();
    for (const double scale : {1.0, 1.0, 0.5, 2.0, 1.0}) {
        Facet facet;
        facet.Scale = scale;
        facet.Coordinates = {{{1, 2, 3}}, {{4, 5, 6}}};
        facet.Normals = {{{1, 2, 3}}};
        mesh.AddFacet(facet);
    }
    ASSERT_EQ(mesh.Data().Coordinates.size(), 10u);
    const double expectedX[] = {1, 4, 1, 4, 0.5, 2, 2, 8, 1, 4};
    for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(mesh.Data().Coordinates[i].X, expectedX[i]) << i;
    // Normals keep their values whatever the scale.
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(mesh.Data().Normals[i].Z, 3.0) << i;
    EXPECT_EQ(mesh.Data().CoordIndex.Flat(), (IntList{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(mesh.Data().NormalIndex.Flat(), (IntList{0, 1, 2, 3, 4}));
}

// A primitive such as a polygons element adds its faces one walk at a
// time, each asking for room for one more face: the lists must still grow
// geometrically, or a long primitive costs time with the square of its
// faces. Faces of two lengths make the face ends stored too.
TEST(MeshGrowth, ManyOneFaceWalksGrowEveryListGeometrically) {
    for (const bool welding : {false, true}) {
        MeshNode mesh = NewMesh();
        std::size_t changes[3] = {0, 0, 0};
        std::size_t last[3] = {0, 0, 0};
        const std::size_t walks = 3000;
        for (std::size_t walk = 0; walk < walks; ++walk) {
            const std::size_t corners = 2 + walk % 2;
            mesh.BeginWalk(1, {corners, 0, 0}, {corners, 0, 0}, welding);
            Facet facet;
            // Points never repeat, so welding keeps them all.
            for (std::size_t c = 0; c < corners; ++c) {
                facet.Coordinates.push_back({{static_cast<float>(walk), static_cast<float>(c), 0.0f}});
            }
            if (welding) {
                mesh.AddFacetOptimized(facet);
            } else {
                mesh.AddFacet(facet);
            }
            const MeshData& data = mesh.Data();
            const std::size_t now[3] = {data.Coordinates.capacity(), data.CoordIndex.IndexCapacity(),
                                        data.CoordIndex.EndCapacity()};
            for (int k = 0; k < 3; ++k) {
                if (now[k] != last[k]) ++changes[k];
                last[k] = now[k];
            }
        }
        ASSERT_EQ(mesh.Data().Coordinates.size(), walks / 2 * 5);
        ASSERT_EQ(mesh.Data().CoordIndex.FaceCount(), walks);
        // Growing by half each time, 7500 entries take about 22 steps.
        for (int k = 0; k < 3; ++k) EXPECT_LE(changes[k], 30u) << "list " << k << (welding ? ", welding" : "");
        // The indices are stored only when welding; the plain ones count up.
        EXPECT_EQ(last[1] != 0, welding);
        EXPECT_NE(last[2], 0u);
    }
}

const std::string kFaceSetStart =
    "containerField='geometry' creaseAngle='1.047198' convex='false' solid='true' ccw='true'\n";

std::string WriteMesh(MeshNode& mesh, int indent) {
    return test::WrittenText([&](TextOutput& out) { mesh.Write(out, indent); });
}

void AddFace(FaceIndexList& list, std::initializer_list<std::int32_t> indices) {
    for (std::int32_t index : indices) list.Push(index);
    list.CloseFace();
}

TEST(FaceSetOutput, LongFacesWrapBehindEvery16thIndex) {
    MeshNode mesh(nullptr, Names("fan", ""), MeshKind::kFaceSet, 60.0f);
    AddFace(mesh.MutableData().CoordIndex, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
    AddFace(mesh.MutableData().CoordIndex, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    AddFace(mesh.MutableData().CoordIndex, {});
    AddFace(mesh.MutableData().CoordIndex, {16, 0, 1});
    EXPECT_EQ(WriteMesh(mesh, 0),
              "<IndexedFaceSet DEF='fan' " + kFaceSetStart +
                  "\tcoordIndex='\n"
                  "\t\t0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 \n-1\n"
                  "\t\t0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 \n16 -1\n"
                  "\t\t-1\n"
                  "\t\t16 0 1 -1'\n"
                  ">\n"
                  "\t<Coordinate containerField='coord' point='\n"
                  "\t'/>\n"
                  "</IndexedFaceSet>\n");
}

TEST(FaceSetOutput, TextureCoordinatesFollowTheAppearanceAlone) {
    AppearanceNode plain;
    AppearanceNode textured;
    textured.DiffuseTexture.Texture = "img";

    // Coordinates but no texture in the appearance: none are written.
    MeshNode withCoordinates(nullptr, Names("tri", ""), MeshKind::kFaceSet, 60.0f);
    withCoordinates.MutableData().TexCoords.Append({0, 0, 0}, 1.0);
    AddFace(withCoordinates.MutableData().CoordIndex, {0});
    AddFace(withCoordinates.MutableData().TexCoordIndex, {0});
    withCoordinates.Appearance = &plain;
    EXPECT_EQ(WriteMesh(withCoordinates, 0).find("texCoord"), std::string::npos);

    // A textured appearance on a mesh without them or any face: empty
    // fields, each closing on a line of its own, and an empty node.
    MeshNode empty(nullptr, Names("empty", ""), MeshKind::kFaceSet, 60.0f);
    empty.Appearance = &textured;
    EXPECT_EQ(WriteMesh(empty, 0),
              "<IndexedFaceSet DEF='empty' " + kFaceSetStart +
                  "\tcoordIndex='\n\t\t'\n"
                  "\ttexCoordIndex='\n\t\t'\n"
                  ">\n"
                  "\t<Coordinate containerField='coord' point='\n\t'/>\n"
                  "\t<TextureCoordinate containerField='texCoord' point='\n\t'/>\n"
                  "</IndexedFaceSet>\n");
}

TEST(LineSetOutput, TurnsZUpAndIsWrittenWholeAgainOnASecondUse) {
    X3dConverter document;
    document.State().UpAxisIsZ = true;
    MeshNode mesh(&document, Names("wire", ""), MeshKind::kLineSet, 60.0f);
    mesh.MutableData().Coordinates.Append({0, 0, 0}, 1.0);
    mesh.MutableData().Coordinates.Append({1, 2, 3}, 1.0);
    AddFace(mesh.MutableData().CoordIndex, {0, 1});
    const std::string first = WriteMesh(mesh, 0);
    EXPECT_NE(first.find("\t\t0.000000 0.000000 -0.000000,\n\t\t1.000000 3.000000 -2.000000,\n"), std::string::npos)
        << first;
    EXPECT_EQ(WriteMesh(mesh, 0), first);
}

}  // namespace
}  // namespace morvane
