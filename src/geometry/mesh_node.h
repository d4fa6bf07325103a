// The in-memory form of one primitive element: its points, its faces as
// index lists, and the names that tie it to its geometry and material.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "geometry/point3.h"
#include "geometry/point_index.h"
#include "nodes/x3d_node.h"

namespace morvane {

class AppearanceNode;

// The corners of one face while it is being assembled; the mesh copies what
// it keeps.
struct Facet {
    PointList Coordinates;
    PointList TexCoords;
    PointList Normals;

    void Clear() {
        Coordinates.clear();
        TexCoords.clear();
        Normals.clear();
    }
};

// One index list per face, kept flat: the indices of all faces one after
// the other, and where each face ends. While every face has the same
// length, as in a triangle mesh, the ends are implied and not stored.
class FaceIndexList {
public:
    std::size_t FaceCount() const { return faces_; }
    bool Empty() const { return faces_ == 0; }
    std::span<const std::int32_t> Face(std::size_t face) const {
        if (ends_.empty()) return {Indices.data() + face * length_, length_};
        const std::size_t begin = face == 0 ? 0 : ends_[face - 1];
        return {Indices.data() + begin, ends_[face] - begin};
    }

    // Indices pushed since the last face was closed form the next face.
    void Push(std::int32_t index) { Indices.push_back(index); }
    void CloseFace();
    void Reserve(std::size_t faces, std::size_t indices);

    std::vector<std::int32_t> Indices;

private:
    std::size_t faces_ = 0;
    // The common length while faces are uniform; ends_ is empty until then.
    std::size_t length_ = 0;
    std::size_t reservedFaces_ = 0;
    std::vector<std::uint32_t> ends_;
};

class MeshNode : public X3dNode {
public:
    static constexpr int kFaceSet = 0;
    static constexpr int kLineSet = 1;

    MeshNode(ColladaReader* document, std::string geometryName, std::string materialName, int kind,
             float creaseAngleDegrees);

    // Every corner gets points of its own.
    void AddFacet(const Facet& facet);
    // Each point is shared with the first equal point already in the mesh,
    // channel by channel; prints a progress mark every 128 faces.
    void AddFacetOptimized(const Facet& facet);
    // Frees the welding tables once the primitive has all its faces; a
    // later AddFacetOptimized rebuilds them.
    void ReleaseWeldIndex();
    // Room for `faces` more faces and, per channel, that many more corner
    // indices (0 for a channel the primitive lacks); points too when each
    // corner will get its own.
    void Reserve(std::size_t faces, std::size_t coordinates, std::size_t normals, std::size_t texCoords,
                 bool pointsPerCorner);

    // The IndexedFaceSet or IndexedLineSet element; a face set already
    // written gives a USE line.
    void Write(std::FILE* stream, int indent) override;

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
    // Where the mesh stands in its library; set when the library indexes it.
    std::size_t LibraryPosition = 0;

private:
    void WriteFaceSet(std::FILE* stream, int indent);
    void WriteLineSet(std::FILE* stream, int indent);

    PointIndex coordinateIndex_;
    PointIndex normalIndex_;
    PointIndex texCoordIndex_;
};

}  // namespace morvane
