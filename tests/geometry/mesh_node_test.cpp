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

// The cube of 8 corners, 12 triangles, and one normal for each of its 6 sides.
const Point3 kCorners[8] = {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1},
                            {-1, -1, 1},  {1, -1, 1},  {1, 1, 1},  {-1, 1, 1}};
const Point3 kSides[6] = {{0, 0, -1}, {0, 0, 1}, {0, -1, 0}, {0, 1, 0}, {-1, 0, 0}, {1, 0, 0}};
const int kTriangles[12][3] = {{0, 2, 1}, {0, 3, 2}, {4, 5, 6}, {4, 6, 7}, {0, 1, 5}, {0, 5, 4},
                               {3, 7, 6}, {3, 6, 2}, {0, 4, 7}, {0, 7, 3}, {1, 2, 6}, {1, 6, 5}};

void AddCube(MeshNode& mesh, bool optimized) {
    Facet facet;
    for (int t = 0; t < 12; ++t) {
        facet.Clear();
        for (int c : kTriangles[t]) {
            facet.Coordinates.push_back(kCorners[c]);
            facet.Normals.push_back(kSides[t / 2]);
        }
        if (optimized) {
            mesh.AddFacetOptimized(facet);
        } else {
            mesh.AddFacet(facet);
        }
    }
}

TEST(MeshWelding, CubeSharesCornersAndSideNormals) {
    MeshNode mesh = NewMesh();
    testing::internal::CaptureStdout();
    AddCube(mesh, true);
    testing::internal::GetCapturedStdout();

    ASSERT_EQ(mesh.Coordinates.size(), 8u) << Describe(mesh);
    ASSERT_EQ(mesh.Normals.size(), 6u) << Describe(mesh);
    ASSERT_EQ(mesh.CoordIndex.FaceCount(), 12u);
    EXPECT_EQ(mesh.NormalIndex.FaceCount(), 12u);
    EXPECT_EQ(mesh.TexCoordIndex.FaceCount(), 12u);
    // Points are stored in order of first use: 0 2 1 3 4 5 6 7.
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 1, 2}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{0, 3, 1}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 2), (IntList{4, 5, 6}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 11), (IntList{2, 6, 5}));
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 0), (IntList{0, 0, 0}));
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 11), (IntList{5, 5, 5}));
    EXPECT_TRUE(FaceOf(mesh.TexCoordIndex, 3).empty());
}

TEST(MeshWelding, PlainCubeGivesEveryCornerItsOwnPoints) {
    MeshNode mesh = NewMesh();
    AddCube(mesh, false);
    ASSERT_EQ(mesh.Coordinates.size(), 36u);
    ASSERT_EQ(mesh.Normals.size(), 36u);
    EXPECT_TRUE(mesh.TexCoords.empty());
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 1, 2}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 11), (IntList{33, 34, 35}));
    EXPECT_EQ(FaceOf(mesh.NormalIndex, 5), (IntList{15, 16, 17}));
    EXPECT_EQ(mesh.TexCoordIndex.FaceCount(), 12u);
}

TEST(MeshWelding, BothZerosWeldAndTheFirstFormStays) {
    MeshNode mesh = NewMesh();
    Facet facet;
    facet.Coordinates = {{-0.0, 1, 0.0}, {0.0, 1, -0.0}, {0.0, 1, 0.0}};
    testing::internal::CaptureStdout();
    mesh.AddFacetOptimized(facet);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(mesh.Coordinates.size(), 1u);
    EXPECT_TRUE(std::signbit(mesh.Coordinates[0].X));
    EXPECT_FALSE(std::signbit(mesh.Coordinates[0].Z));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 0, 0}));
}

TEST(MeshWelding, PointsWithNaNNeverWeld) {
    MeshNode mesh = NewMesh();
    Facet facet;
    facet.Coordinates = {{kNaN, 0, 0}, {1, 2, 3}, {kNaN, 0, 0}, {1, 2, 3}, {0, 0, kNaN}};
    testing::internal::CaptureStdout();
    mesh.AddFacetOptimized(facet);
    mesh.AddFacetOptimized(facet);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 0), (IntList{0, 1, 2, 1, 3}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{4, 1, 5, 1, 6}));
    EXPECT_EQ(mesh.Coordinates.size(), 7u);
}

TEST(MeshWelding, LowestIndexWinsOverPointsAddedPlainly) {
    MeshNode mesh = NewMesh();
    Facet facet;
    facet.Coordinates = {{5, 5, 5}, {5, 5, 5}, {6, 6, 6}};
    mesh.AddFacet(facet);
    testing::internal::CaptureStdout();
    mesh.AddFacetOptimized(facet);
    mesh.ReleaseWeldIndex();
    mesh.AddFacetOptimized(facet);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1), (IntList{0, 0, 2}));
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 2), (IntList{0, 0, 2}));
    EXPECT_EQ(mesh.Coordinates.size(), 3u);
}

TEST(MeshWelding, FaceWithoutCornersStillAddsAFaceToEveryList) {
    MeshNode mesh = NewMesh();
    testing::internal::CaptureStdout();
    mesh.AddFacetOptimized(Facet());
    const std::string marks = testing::internal::GetCapturedStdout();
    mesh.AddFacet(Facet());
    EXPECT_EQ(marks, ".");
    EXPECT_EQ(mesh.CoordIndex.FaceCount(), 2u);
    EXPECT_EQ(mesh.NormalIndex.FaceCount(), 2u);
    EXPECT_EQ(mesh.TexCoordIndex.FaceCount(), 2u);
    EXPECT_TRUE(mesh.Coordinates.empty());
}

TEST(MeshWelding, MarksTheFirstFaceAndEvery128thAfterIt) {
    MeshNode mesh = NewMesh();
    testing::internal::CaptureStdout();
    for (int i = 0; i < 128; ++i) mesh.AddFacetOptimized(Facet());
    const std::string first = testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    mesh.AddFacetOptimized(Facet());
    const std::string next = testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    mesh.AddFacet(Facet());
    const std::string plain = testing::internal::GetCapturedStdout();
    EXPECT_EQ(first, ".");
    EXPECT_EQ(next, ".");
    EXPECT_EQ(plain, "");
}

// The welding as a plain scan from index 0 would do it.
struct ScanReference {
    PointList points;
    IntList indices;
    void Add(const Point3& p) {
        for (std::size_t i = 0; i < points.size(); ++i) {
            if (PointsEqual(points[i], p)) {
                indices.push_back(static_cast<std::int32_t>(i));
                return;
            }
        }
        indices.push_back(static_cast<std::int32_t>(points.size()));
        points.push_back(p);
    }
};

TEST(MeshWelding, MatchesALinearScanOverManyPoints) {
    // Few distinct values, so that points repeat often; both zeros and NaN
    // among them. Releasing the index now and then must change nothing.
    const double values[] = {0.0, -0.0, 1.0, -1.0, 0.5, kNaN, 1e-300, 3.25};
    std::mt19937 random(7);
    MeshNode mesh = NewMesh();
    ScanReference coordinates;
    ScanReference texCoords;
    testing::internal::CaptureStdout();
    for (int face = 0; face < 3000; ++face) {
        Facet facet;
        const int corners = static_cast<int>(random() % 5);
        for (int c = 0; c < corners; ++c) {
            const Point3 p{values[random() % 8], values[random() % 8], values[random() % 8]};
            facet.Coordinates.push_back(p);
            coordinates.Add(p);
            const Point3 t{values[random() % 4], values[random() % 4], 0.0};
            facet.TexCoords.push_back(t);
            texCoords.Add(t);
        }
        mesh.AddFacetOptimized(facet);
        if (face % 700 == 0) mesh.ReleaseWeldIndex();
    }
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(mesh.CoordIndex.Indices, coordinates.indices);
    ASSERT_EQ(mesh.TexCoordIndex.Indices, texCoords.indices);
    ASSERT_EQ(mesh.Coordinates.size(), coordinates.points.size());
    for (std::size_t i = 0; i < coordinates.points.size(); ++i) {
        // Same bits, so the first stored form of a zero is the one kept.
        EXPECT_EQ(std::signbit(mesh.Coordinates[i].X), std::signbit(coordinates.points[i].X)) << i;
        EXPECT_EQ(std::signbit(mesh.Coordinates[i].Y), std::signbit(coordinates.points[i].Y)) << i;
    }
    EXPECT_TRUE(mesh.Normals.empty());
}

TEST(MeshWelding, LargeGridWeldsEveryRepeatedCorner) {
    // Enough distinct points to make the index grow several times.
    MeshNode mesh = NewMesh();
    const int n = 300;
    testing::internal::CaptureStdout();
    Facet facet;
    for (int y = 0; y < n; ++y) {
        for (int x = 0; x < n; ++x) {
            facet.Clear();
            facet.Coordinates = {{x * 0.1, y * 0.1, 0}, {(x + 1) * 0.1, y * 0.1, 0}, {x * 0.1, (y + 1) * 0.1, 0}};
            mesh.AddFacetOptimized(facet);
        }
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(mesh.Coordinates.size(), static_cast<std::size_t>((n + 1) * (n + 1) - 1));
    // The corner (x + 1, y) of a face is the corner (x, y) of the next one.
    EXPECT_EQ(FaceOf(mesh.CoordIndex, 1)[0], FaceOf(mesh.CoordIndex, 0)[1]);
}

TEST(FaceIndexList, FacesKeepTheirLengthsWhetherUniformOrNot) {
    // Empty faces first, then a run of one length, then other lengths.
    const std::vector<IntList> faces = {{}, {}, {1, 2, 3}, {4, 5, 6}, {7}, {}, {8, 9, 10}};
    FaceIndexList list;
    list.Reserve(2, 0);
    for (std::size_t n = 0; n < faces.size(); ++n) {
        for (std::int32_t index : faces[n]) list.Push(index);
        list.CloseFace();
        ASSERT_EQ(list.FaceCount(), n + 1);
        for (std::size_t f = 0; f <= n; ++f) ASSERT_EQ(FaceOf(list, f), faces[f]) << "after " << n << ", face " << f;
    }
    FaceIndexList triangles;
    for (std::int32_t i = 0; i < 9; ++i) {
        triangles.Push(i);
        if (i % 3 == 2) triangles.CloseFace();
    }
    EXPECT_EQ(FaceOf(triangles, 2), (IntList{6, 7, 8}));
}

TEST(MeshLibrary, CreaseAngleIsStoredInRadiansAsAFloat) {
    morvane::MeshLibrary library(nullptr);
    MeshNode& mesh = library.AddMesh("geo", "mat", MeshNode::kLineSet, 90.0f);
    EXPECT_EQ(mesh.CreaseAngleRadians, static_cast<float>(90.0 * 0.017453292222222222));
    EXPECT_EQ(mesh.Kind, MeshNode::kLineSet);
    EXPECT_EQ(mesh.GeometryName, "geo");
    EXPECT_EQ(mesh.MaterialName, "mat");
    EXPECT_EQ(mesh.Appearance, nullptr);
    EXPECT_EQ(library.FindNext("geo", nullptr), &mesh);
}

}  // namespace
}  // namespace morvane
