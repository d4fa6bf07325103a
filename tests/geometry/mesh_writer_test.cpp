#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

#include "appearance/appearance_node.h"
#include "geometry/geometry_fixtures.h"
#include "geometry/mesh_node.h"
#include "geometry/text_output.h"

namespace morvane {
namespace {

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

// One triangle, no normals, no texture coordinates.
MeshNode Triangle(ColladaReader* document) {
    MeshNode mesh(document, "tri", "m", MeshNode::kFaceSet, 60.0f);
    mesh.Coordinates = {{1, 0, 2}, {0.5, -1, 0}, {0, 0, 0}};
    AddFace(mesh.CoordIndex, {0, 1, 2});
    AddFace(mesh.NormalIndex, {});
    AddFace(mesh.TexCoordIndex, {});
    return mesh;
}

TEST(FaceSetOutput, TriangleInFullThenAsUse) {
    MeshNode mesh = Triangle(nullptr);
    EXPECT_EQ(WriteMesh(mesh, 1),
              "\t<IndexedFaceSet DEF='tri' " + kFaceSetStart +
                  "\t\tcoordIndex='\n"
                  "\t\t\t0 1 2 -1'\n"
                  "\t>\n"
                  "\t\t<Coordinate containerField='coord' point='\n"
                  "\t\t\t1.000000 0.000000 2.000000,\n"
                  "\t\t\t0.500000 -1.000000 0.000000,\n"
                  "\t\t\t0.000000 0.000000 0.000000,\n"
                  "\t\t'/>\n"
                  "\t</IndexedFaceSet>\n");
    EXPECT_EQ(WriteMesh(mesh, 3), "\t\t\t<IndexedFaceSet USE='tri'/>\n");
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

TEST(FaceSetOutput, ZUpTurnsCoordinatesAndNormalsButNotTextureCoordinates) {
    test::MeshKeeper document;
    document.UpAxisIsZ = true;
    AppearanceNode appearance;
    appearance.DiffuseTexture.Texture = "wood-sampler";
    MeshNode mesh(&document, "z", "m", MeshNode::kFaceSet, 60.0f);
    mesh.Appearance = &appearance;
    mesh.Coordinates = {{1, 0, 2}, {-3.5, 4, 0.25}};
    mesh.Normals = {{0, 1, 0}};
    mesh.TexCoords = {{0.25, 0.75, 0}};
    AddFace(mesh.CoordIndex, {0, 1});
    AddFace(mesh.NormalIndex, {0, 0});
    AddFace(mesh.TexCoordIndex, {0, 0});
    EXPECT_EQ(WriteMesh(mesh, 0),
              "<IndexedFaceSet DEF='z' " + kFaceSetStart +
                  "\tcoordIndex='\n\t\t0 1 -1'\n"
                  "\tnormalIndex='\n\t\t0 0 -1'\n"
                  "\ttexCoordIndex='\n\t\t0 0 -1'\n"
                  ">\n"
                  "\t<Coordinate containerField='coord' point='\n"
                  "\t\t1.000000 2.000000 -0.000000,\n"
                  "\t\t-3.500000 0.250000 -4.000000,\n"
                  "\t'/>\n"
                  "\t<Normal containerField='normal' vector='\n"
                  "\t\t0.000000 0.000000 -1.000000,\n"
                  "\t'/>\n"
                  "\t<TextureCoordinate containerField='texCoord' point='\n"
                  "\t\t0.250000 0.750000,\n"
                  "\t'/>\n"
                  "</IndexedFaceSet>\n");
}

TEST(FaceSetOutput, TextureCoordinatesFollowTheAppearanceAlone) {
    AppearanceNode plain;
    AppearanceNode textured;
    textured.DiffuseTexture.Texture = "img";

    // Coordinates but no texture in the appearance, or no appearance: none.
    MeshNode withCoordinates = Triangle(nullptr);
    withCoordinates.TexCoords = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    withCoordinates.Appearance = &plain;
    EXPECT_EQ(WriteMesh(withCoordinates, 0).find("texCoord"), std::string::npos);

    // A textured appearance on a mesh without them: empty faces, empty node.
    MeshNode without = Triangle(nullptr);
    without.Appearance = &textured;
    const std::string text = WriteMesh(without, 0);
    EXPECT_NE(text.find("\t\t0 1 2 -1'\n\ttexCoordIndex='\n\t\t-1'\n>\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\t<TextureCoordinate containerField='texCoord' point='\n\t'/>\n</IndexedFaceSet>\n"),
              std::string::npos)
        << text;

    // Without faces each written index field closes on a line of its own.
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

TEST(LineSetOutput, WritesPlainSegmentsAndWholeAgainOnASecondUse) {
    test::MeshKeeper document;
    document.UpAxisIsZ = true;
    MeshNode mesh(&document, "wire", "", MeshNode::kLineSet, 60.0f);
    mesh.Coordinates = {{0, 0, 0}, {1, 2, 3}};
    AddFace(mesh.CoordIndex, {0, 1});
    AddFace(mesh.CoordIndex, {1});
    const std::string expected =
        "\t\t<IndexedLineSet  containerField='geometry'\n"
        "\t\t\tcoordIndex='\n"
        "\t\t\t0 1 -1\n"
        "\t\t\t1 -1\n"
        "\t\t'>\n"
        "\t\t\t<Coordinate containerField='coord' point='\n"
        "\t\t\t\t0.000000 0.000000 -0.000000,\n"
        "\t\t\t\t1.000000 3.000000 -2.000000,\n"
        "\t\t\t'/>\n"
        "\t\t</IndexedLineSet>\n";
    EXPECT_EQ(WriteMesh(mesh, 2), expected);
    EXPECT_EQ(WriteMesh(mesh, 2), expected);
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
