#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "appearance/appearance_node.h"
#include "events/central_object.h"
#include "geometry/mesh_node.h"
#include "geometry/text_output.h"
#include "test_support.h"

namespace morvane {
namespace {

using IntList = std::vector<std::int32_t>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

MeshNode NewMesh() { return MeshNode(nullptr, "g", "m", MeshNode::kFaceSet, 60.0f); }

// The marks that welding prints go to the console; these tests drop them.
void Weld(MeshNode& mesh, const Facet& facet) {
    testing::internal::CaptureStdout();
    mesh.AddFacetOptimized(facet);
    testing::internal::GetCapturedStdout();
}

TEST(MeshWelding, ZerosWeldKeepingTheFirstFormAndNaNNeverWelds) {
    MeshNode mesh = NewMesh();
    Facet facet;
    facet.Coordinates = {{-0.0, 1, 0.0}, {0.0, 1, -0.0}, {kNaN, 0, 0}, {kNaN, 0, 0}, {0, 0, kNaN}, {0.0, 1, 0.0}};
    Weld(mesh, facet);
    EXPECT_EQ(mesh.CoordIndex.Indices, (IntList{0, 0, 1, 2, 3, 0}));
    EXPECT_TRUE(std::signbit(mesh.Coordinates[0].X));
    EXPECT_FALSE(std::signbit(mesh.Coordinates[0].Z));
}

TEST(MeshWelding, EveryFaceCountsAndIsMarkedEvery128) {
    MeshNode mesh = NewMesh();
    testing::internal::CaptureStdout();
    for (int i = 0; i < 129; ++i) mesh.AddFacetOptimized(Facet());
    mesh.AddFacet(Facet());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "..");
    EXPECT_EQ(mesh.CoordIndex.FaceCount() + mesh.NormalIndex.FaceCount() + mesh.TexCoordIndex.FaceCount(), 390u);
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

using test::CaptureOutput;

const std::string kFaceSetStart =
    "containerField='geometry' creaseAngle='1.047198' convex='false' solid='true' ccw='true'\n";

std::string WriteMesh(MeshNode& mesh, int indent) {
    return CaptureOutput([&](std::FILE* stream) { mesh.Write(stream, indent); });
}

void AddFace(FaceIndexList& list, std::initializer_list<std::int32_t> indices) {
    for (std::int32_t index : indices) list.Push(index);
    list.CloseFace();
}

TEST(FaceSetOutput, LongFacesWrapBehindEvery16thIndex) {
    MeshNode mesh(nullptr, "fan", "", MeshNode::kFaceSet, 60.0f);
    AddFace(mesh.CoordIndex, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
    AddFace(mesh.CoordIndex, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    AddFace(mesh.CoordIndex, {});
    AddFace(mesh.CoordIndex, {16, 0, 1});
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
    MeshNode withCoordinates(nullptr, "tri", "", MeshNode::kFaceSet, 60.0f);
    withCoordinates.TexCoords = {{0, 0, 0}};
    AddFace(withCoordinates.CoordIndex, {0});
    AddFace(withCoordinates.TexCoordIndex, {0});
    withCoordinates.Appearance = &plain;
    EXPECT_EQ(WriteMesh(withCoordinates, 0).find("texCoord"), std::string::npos);

    // A textured appearance on a mesh without them or any face: empty
    // fields, each closing on a line of its own, and an empty node.
    MeshNode empty(nullptr, "empty", "", MeshNode::kFaceSet, 60.0f);
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
    document.UpAxisIsZ = true;
    MeshNode mesh(&document, "wire", "", MeshNode::kLineSet, 60.0f);
    mesh.Coordinates = {{0, 0, 0}, {1, 2, 3}};
    AddFace(mesh.CoordIndex, {0, 1});
    const std::string first = WriteMesh(mesh, 0);
    EXPECT_NE(first.find("\t\t0.000000 0.000000 -0.000000,\n\t\t1.000000 3.000000 -2.000000,\n"), std::string::npos)
        << first;
    EXPECT_EQ(WriteMesh(mesh, 0), first);
}

TEST(TextOutput, NumbersAndTextMatchPrintfByteForByte) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    std::vector<double> values = {0.0, -0.0, -1e-10, 0.0078125, 0.0234375, 2.5e-7, 1e300, INFINITY, -INFINITY, nan, -nan};
    std::vector<std::int32_t> integers = {0, -1, 2147483647, -2147483647 - 1};
    std::mt19937_64 random(5);
    for (int i = 0; i < 100000; ++i) {
        integers.push_back(static_cast<std::int32_t>(random()));
        values.push_back(std::bit_cast<double>(random()));
        values.push_back(static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(random()))) * 0.0254);
        // Multiples of 1/128 end in exact halves at the seventh decimal.
        values.push_back(static_cast<double>(static_cast<std::int64_t>(random() % 2000001) - 1000000) / 128.0);
    }
    const std::string longName(100000, 'n');
    std::string expected;
    char buffer[400];
    for (double value : values) {
        std::snprintf(buffer, sizeof buffer, "%lf|", value);
        expected += buffer;
    }
    for (std::int32_t value : integers) expected += std::to_string(value) + ' ';
    expected += longName + "\t\t";
    const std::string actual = CaptureOutput([&](std::FILE* stream) {
        TextOutput out(stream);
        for (double value : values) {
            out.PutFixed(value);
            out.Put('|');
        }
        for (std::int32_t value : integers) {
            out.PutInt(value);
            out.Put(' ');
        }
        out.Put(longName);
        out.PutTabs(2);
        out.PutTabs(-1);
    });
    ASSERT_EQ(actual.size(), expected.size());
    EXPECT_TRUE(actual == expected);
}

}  // namespace
}  // namespace morvane
