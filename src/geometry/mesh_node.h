// The in-memory form of one primitive element: its points, its faces as
// index lists, and the names that tie it to its geometry and material.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nodes/x3d_node.h"

namespace morvane {

class AppearanceNode;

// A coordinate (metres, document axes), a normal (as read) or a texture
// coordinate (s, t, 0).
struct Point3 {
    double X = 0.0;
    double Y = 0.0;
    double Z = 0.0;
};

// Points by value in one contiguous array.
using PointList = std::vector<Point3>;

// One index list per face, kept flat: the indices of all faces one after
// the other, and where each face ends.
class FaceIndexList {
public:
    std::size_t FaceCount() const { return ends_.size(); }
    bool Empty() const { return ends_.empty(); }

    std::vector<std::int32_t> Indices;

private:
    friend class MeshNode;
    std::vector<std::size_t> ends_;
};

class MeshNode : public X3dNode {
public:
    static constexpr int kFaceSet = 0;
    static constexpr int kLineSet = 1;

    MeshNode(ColladaReader* document, std::string geometryName, std::string materialName, int kind,
             float creaseAngleDegrees);

    int Kind = kFaceSet;
    std::string MaterialName;
    // Chosen by the Shape that writes the mesh, just before it does; not owned.
    AppearanceNode* Appearance = nullptr;
    PointList Coordinates;
    PointList Normals;
    PointList TexCoords;
    FaceIndexList CoordIndex;
    FaceIndexList NormalIndex;
    FaceIndexList TexCoordIndex;
    float CreaseAngleRadians = 0.0f;
    std::string NormalSourceId;
    std::string TexcoordSourceId;
    std::string GeometryName;
};

}  // namespace morvane
