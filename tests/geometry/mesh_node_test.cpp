#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "geometry/geometry_fixtures.h"
#include "geometry/mesh_node.h"

namespace morvane {
namespace {

using test::Describe;
using test::FaceOf;
using IntList = std::vector<std::int32_t>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

MeshNode NewMesh() { return MeshNode(nullptr, "g", "m", MeshNode::kFaceSet, 60.0f); }

// The marks that welding prints go to the console; these tests drop them.
void Weld(MeshNode& mesh, const Facet& facet) {
    testing::internal::CaptureStdout();
    mesh.AddFacetOptimized(facet);
    testing::internal::GetCapturedStdout();
}

TEST(MeshWelding, CubeSharesCornersAndSideNormalsOnlyWhenOptimised) {
    const Point3 corners[8] = {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1},
                               {-1, -1, 1},  {1, -1, 1},  {1, 1, 1},  {-1, 1, 1}};
    const Point3 sides[6] = {{0, 0, -1}, {0, 0, 1}, {0, -1, 0}, {0, 1, 0}, {-1, 0, 0}, {1, 0, 0}};
    const int triangles[12][3] = {{0, 2, 1}, {0, 3, 2}, {4, 5, 6}, {4, 6, 7}, {0, 1, 5}, {0, 5, 4},
                                  {3, 7, 6}, {3, 6, 2}, {0, 4, 7}, {0, 7, 3}, {1, 2, 6}, {1, 6, 5}};
    MeshNode optimised = NewMesh();
    MeshNode plain = NewMesh();
    for (int t = 0; t < 12; ++t) {
        Facet facet;
        for (int c : triangles[t]) {
            facet.Coordinates.push_back(corners[c]);
            facet.Normals.push_back(sides[t / 2]);
        }
        Weld(optimised, facet);
        plain.AddFacet(facet);
    }
    ASSERT_EQ(optimised.Coordinates.size(), 8u) << Describe(optimised);
    ASSERT_EQ(optimised.Normals.size(), 6u);
    // Points are stored in order of first use: corners 0 2 1 3 4 5 6 7.
    EXPECT_EQ(FaceOf(optimised.CoordIndex, 1), (IntList{0, 3, 1}));
    EXPECT_EQ(FaceOf(optimised.CoordIndex, 11), (IntList{2, 6, 5}));
    EXPECT_EQ(FaceOf(optimised.NormalIndex, 11), (IntList{5, 5, 5}));
    EXPECT_EQ(optimised.TexCoordIndex.FaceCount(), 12u);

    EXPECT_EQ(plain.Coordinates.size(), 36u);
    EXPECT_EQ(plain.Normals.size(), 36u);
    EXPECT_EQ(FaceOf(plain.CoordIndex, 11), (IntList{33, 34, 35}));
    EXPECT_EQ(FaceOf(plain.NormalIndex, 5), (IntList{15, 16, 17}));
}

TEST(MeshWelding, ZerosWeldKeepingTheFirstFormAndNaNNeverWelds) {
    MeshNode mesh = NewMesh();
    Facet facet;
    facet.Coordinates = {{-0.0, 1, 0.0}, {0.0, 1, -0.0}, {kNaN, 0, 0}, {kNaN, 0, 0}, {0, 0, kNaN}, {0.0, 1, 0.0}};
    Weld(mesh, facet);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 0, 1, 2, 3, 0})) << Describe(mesh);
    EXPECT_TRUE(std::signbit(mesh.Coordinates[0].X));
    EXPECT_FALSE(std::signbit(mesh.Coordinates[0].Z));
}

TEST(MeshWelding, LowestIndexWinsOverPointsAddedPlainly) {
    MeshNode mesh = NewMesh();
    Facet facet;
    facet.Coordinates = {{5, 5, 5}, {5, 5, 5}, {6, 6, 6}};
    mesh.AddFacet(facet);
    Weld(mesh, facet);
    mesh.ReleaseWeldIndex();
    Weld(mesh, facet);
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{0, 0, 2}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 2), (IntList{0, 0, 2}));
    EXPECT_EQ(mesh.Coordinates.size(), 3u);
}

TEST(MeshWelding, EveryFaceCountsAndIsMarkedEvery128) {
    MeshNode mesh = NewMesh();
    testing::internal::CaptureStdout();
    for (int i = 0; i < 129; ++i) mesh.AddFacetOptimized(Facet());
    mesh.AddFacet(Facet());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "..");
    EXPECT_EQ(mesh.CoordIndex.FaceCount(), 130u);
    EXPECT_EQ(mesh.NormalIndex.FaceCount(), 130u);
    EXPECT_EQ(mesh.TexCoordIndex.FaceCount(), 130u);
}

// Welding as a plain scan from index 0 does it.
struct ScanReference {
    PointList points;
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
    // NaN among them; releasing the index now and then changes nothing.
    const double values[] = {0.0, -0.0, 1.0, -1.0, 0.5, kNaN, 1e-300, 3.25};
    std::mt19937 random(7);
    MeshNode mesh = NewMesh();
    ScanReference coordinates;
    ScanReference texCoords;
    for (int face = 0; face < 3000; ++face) {
        Facet facet;
        for (int c = static_cast<int>(random() % 5); c > 0; --c) {
            facet.Coordinates.push_back({values[random() % 8], values[random() % 8], values[random() % 8]});
            coordinates.Add(facet.Coordinates.back());
            facet.TexCoords.push_back({values[random() % 4], values[random() % 4], 0.0});
            texCoords.Add(facet.TexCoords.back());
        }
        Weld(mesh, facet);
        if (face % 700 == 0) mesh.ReleaseWeldIndex();
    }
    ASSERT_EQ(mesh.CoordIndex.Indices, coordinates.indices);
    ASSERT_EQ(mesh.TexCoordIndex.Indices, texCoords.indices);
    ASSERT_EQ(mesh.Coordinates.size(), coordinates.points.size());
    for (std::size_t i = 0; i < coordinates.points.size(); ++i) {
        EXPECT_EQ(std::signbit(mesh.Coordinates[i].X), std::signbit(coordinates.points[i].X)) << i;
    }
}

TEST(FaceIndexList, FacesKeepTheirLengthsWhetherUniformOrNot) {
    const std::vector<IntList> faces = {{}, {}, {1, 2, 3}, {4, 5, 6}, {7}, {}, {8, 9, 10}};
    FaceIndexList list;
    for (std::size_t n = 0; n < faces.size(); ++n) {
        for (std::int32_t index : faces[n]) list.Push(index);
        list.CloseFace();
        for (std::size_t f = 0; f <= n; ++f) ASSERT_EQ(FaceOf(list, f), faces[f]) << "after " << n << ", face " << f;
    }
    EXPECT_EQ(list.FaceCount(), faces.size());
}

}  // namespace
}  // namespace morvane
