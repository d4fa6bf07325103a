#include "geometry/mesh_node.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "events/xml_reader.h"

namespace morvane {

namespace {

// 3.1415926 / 180: the crease angle's own conversion factor, deliberately
// not pi / 180 at full precision.
constexpr double kCreaseDegreesToRadians = 0.017453292222222222;

// Face lists keep 32-bit ends and indices.
constexpr std::size_t kMaxEntries = 0x7FFFFFFFu;

void AppendPlain(PointList& target, const PointList& points, FaceIndexList& faces) {
    if (target.size() + points.size() > kMaxEntries) throw UnreadableDocument(kTooManyEntries);
    auto next = static_cast<std::int32_t>(target.size());
    target.insert(target.end(), points.begin(), points.end());
    for (std::size_t i = 0; i < points.size(); ++i) faces.Push(next++);
}

void AppendWelded(PointList& target, const PointList& points, PointIndex& index, FaceIndexList& faces) {
    for (const Point3& point : points) faces.Push(static_cast<std::int32_t>(index.Weld(target, point)));
}

}  // namespace

void FaceIndexList::CloseFace() {
    if (Indices.size() > kMaxEntries) throw UnreadableDocument(kTooManyEntries);
    const std::size_t end = Indices.size();
    if (ends_.empty()) {
        if (faces_ == 0) length_ = end;
        if (end == (faces_ + 1) * length_) {
            ++faces_;
            return;
        }
        // The first face of another length: from now on ends are stored.
        ends_.reserve(std::max(reservedFaces_, faces_ + 1));
        for (std::size_t face = 1; face <= faces_; ++face) ends_.push_back(static_cast<std::uint32_t>(face * length_));
    }
    ends_.push_back(static_cast<std::uint32_t>(end));
    ++faces_;
}

void FaceIndexList::Reserve(std::size_t faces, std::size_t indices) {
    reservedFaces_ = faces_ + faces;
    if (!ends_.empty()) ends_.reserve(reservedFaces_);
    Indices.reserve(Indices.size() + indices);
}

MeshNode::MeshNode(ColladaReader* document, std::string geometryName, std::string materialName, int kind,
                   float creaseAngleDegrees)
    : X3dNode(document),
      Kind(kind),
      MaterialName(std::move(materialName)),
      CreaseAngleRadians(static_cast<float>(creaseAngleDegrees * kCreaseDegreesToRadians)),
      GeometryName(std::move(geometryName)) {}

void MeshNode::AddFacet(const Facet& facet) {
    AppendPlain(Coordinates, facet.Coordinates, CoordIndex);
    AppendPlain(TexCoords, facet.TexCoords, TexCoordIndex);
    AppendPlain(Normals, facet.Normals, NormalIndex);
    CoordIndex.CloseFace();
    NormalIndex.CloseFace();
    TexCoordIndex.CloseFace();
}

void MeshNode::AddFacetOptimized(const Facet& facet) {
    AppendWelded(Coordinates, facet.Coordinates, coordinateIndex_, CoordIndex);
    AppendWelded(Normals, facet.Normals, normalIndex_, NormalIndex);
    AppendWelded(TexCoords, facet.TexCoords, texCoordIndex_, TexCoordIndex);
    if (CoordIndex.FaceCount() % 128 == 0) std::fputc('.', stdout);
    CoordIndex.CloseFace();
    NormalIndex.CloseFace();
    TexCoordIndex.CloseFace();
}

void MeshNode::ReleaseWeldIndex() {
    coordinateIndex_.Release();
    normalIndex_.Release();
    texCoordIndex_.Release();
}

void MeshNode::Reserve(std::size_t faces, std::size_t coordinates, std::size_t normals, std::size_t texCoords,
                       bool pointsPerCorner) {
    CoordIndex.Reserve(faces, coordinates);
    NormalIndex.Reserve(faces, normals);
    TexCoordIndex.Reserve(faces, texCoords);
    if (!pointsPerCorner) return;
    Coordinates.reserve(Coordinates.size() + coordinates);
    Normals.reserve(Normals.size() + normals);
    TexCoords.reserve(TexCoords.size() + texCoords);
}

MeshNode& MeshLibrary::AddMesh(const std::string& geometryName, const std::string& materialName, int kind,
                               float creaseAngleDegrees) {
    Children.push_back(std::make_unique<MeshNode>(Document, geometryName, materialName, kind, creaseAngleDegrees));
    return *Children.back();
}

}  // namespace morvane
