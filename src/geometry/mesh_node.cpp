#include "geometry/mesh_node.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "support/conversion_error.h"

namespace morvane {

namespace {

// 3.1415926 / 180: the crease angle's own conversion factor, deliberately
// not pi / 180 at full precision.
constexpr double kCreaseDegreesToRadians = 0.017453292222222222;

// Face lists keep 32-bit ends and indices.
constexpr std::size_t kMaxEntries = 0x7FFFFFFFu;

// A walk welds by array number when it reads at least this share of the
// array's points (1 / kSourcesPerCorner): the table of numbers costs one
// entry per array point, which only a walk of comparable length repays.
constexpr std::size_t kSourcesPerCorner = 8;

void AppendPlain(PointList& target, const std::vector<Corner>& corners, double scale, FaceIndexList& faces) {
    if (target.size() + corners.size() > kMaxEntries) throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
    auto next = static_cast<std::int32_t>(target.size());
    for (const Corner& corner : corners) {
        target.Append(corner.Point, scale);
        faces.Push(next++);
    }
}

// A walk's table of array numbers holds this for a number not met yet.
constexpr std::uint32_t kUnknown = 0xFFFFFFFFu;

// Whether the walk's table of array numbers has a place for the corner's.
bool HasSourceSlot(const Corner& corner, const std::vector<std::uint32_t>& bySource) {
    return corner.Source >= 0 && static_cast<std::size_t>(corner.Source) < bySource.size();
}

std::uint32_t WeldCorner(PointList& target, const Corner& corner, double scale, PointIndex& byValue,
                         std::vector<std::uint32_t>& bySource) {
    if (!HasSourceSlot(corner, bySource)) return byValue.Weld(target, corner.Point, scale);
    std::uint32_t& known = bySource[static_cast<std::size_t>(corner.Source)];
    if (known != kUnknown) return known;
    const std::uint32_t index = byValue.Weld(target, corner.Point, scale);
    // A point that is not a number welds with nothing, not even itself.
    const Point3 value = target[index];
    if (PointsEqual(value, value)) known = index;
    return index;
}

// Starts the table reads of the corners that will be looked up by value, so
// that those of the three lists of a face overlap.
void PrefetchWelds(const PointList& target, const std::vector<Corner>& corners, double scale,
                   const PointIndex& byValue, const std::vector<std::uint32_t>& bySource) {
    for (const Corner& corner : corners) {
        if (HasSourceSlot(corner, bySource) && bySource[static_cast<std::size_t>(corner.Source)] != kUnknown) continue;
        byValue.Prefetch(target, corner.Point, scale);
    }
}

void AppendWelded(PointList& target, const std::vector<Corner>& corners, double scale,
                  PointIndex& byValue, std::vector<std::uint32_t>& bySource, FaceIndexList& faces) {
    for (const Corner& corner : corners) {
        faces.Push(static_cast<std::int32_t>(WeldCorner(target, corner, scale, byValue, bySource)));
    }
}

}  // namespace

std::vector<std::int32_t> FaceIndexList::Flat() const {
    if (!counting_) return indices_;
    std::vector<std::int32_t> flat(count_);
    std::iota(flat.begin(), flat.end(), 0);
    return flat;
}

void FaceIndexList::StoreIndices() {
    counting_ = false;
    indices_.reserve(std::max(reservedIndices_, count_ + 1));
    indices_.resize(count_);
    std::iota(indices_.begin(), indices_.end(), 0);
}

void FaceIndexList::CloseFace() {
    if (count_ > kMaxEntries) throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
    const std::size_t end = count_;
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

void FaceIndexList::Reserve(std::size_t faces, std::size_t indices, bool counting) {
    reservedFaces_ = faces_ + faces;
    reservedIndices_ = count_ + indices;
    if (!ends_.empty()) ends_.reserve(reservedFaces_);
    if (!counting && counting_) StoreIndices();
    if (!counting_) indices_.reserve(reservedIndices_);
}

MeshNode::MeshNode(ColladaReader* document, std::string geometryName, std::string materialName, MeshKind kind,
                   float creaseAngleDegrees)
    : X3dNode(document),
      Kind(kind),
      MaterialName(std::move(materialName)),
      CreaseAngleRadians(static_cast<float>(creaseAngleDegrees * kCreaseDegreesToRadians)),
      GeometryName(std::move(geometryName)) {}

void MeshNode::AddFacet(const Facet& facet) {
    AppendPlain(Coordinates, facet.Coordinates, facet.Scale, CoordIndex);
    AppendPlain(TexCoords, facet.TexCoords, 1.0, TexCoordIndex);
    AppendPlain(Normals, facet.Normals, 1.0, NormalIndex);
    CoordIndex.CloseFace();
    NormalIndex.CloseFace();
    TexCoordIndex.CloseFace();
}

void MeshNode::AddFacetOptimized(const Facet& facet) {
    PrefetchWelds(Coordinates, facet.Coordinates, facet.Scale, welding_[0].ByValue, welding_[0].BySource);
    PrefetchWelds(Normals, facet.Normals, 1.0, welding_[1].ByValue, welding_[1].BySource);
    PrefetchWelds(TexCoords, facet.TexCoords, 1.0, welding_[2].ByValue, welding_[2].BySource);
    AppendWelded(Coordinates, facet.Coordinates, facet.Scale, welding_[0].ByValue, welding_[0].BySource, CoordIndex);
    AppendWelded(Normals, facet.Normals, 1.0, welding_[1].ByValue, welding_[1].BySource, NormalIndex);
    AppendWelded(TexCoords, facet.TexCoords, 1.0, welding_[2].ByValue, welding_[2].BySource, TexCoordIndex);
    CoordIndex.CloseFace();
    NormalIndex.CloseFace();
    TexCoordIndex.CloseFace();
}

void MeshNode::BeginWalk(std::size_t faces, const std::array<std::size_t, 3>& corners,
                         const std::array<std::size_t, 3>& arrayPoints, bool welding) {
    PointList* points[3] = {&Coordinates, &Normals, &TexCoords};
    FaceIndexList* lists[3] = {&CoordIndex, &NormalIndex, &TexCoordIndex};
    for (std::size_t c = 0; c < 3; ++c) {
        lists[c]->Reserve(faces, corners[c], !welding);
        WeldChannel& channel = welding_[c];
        // A number of the last walk may stand for another point in this one.
        std::vector<std::uint32_t>().swap(channel.BySource);
        if (!welding) {
            points[c]->reserve(points[c]->size() + corners[c]);
            continue;
        }
        // A walk adds at most as many points as it has corners, and as the
        // array has points.
        const std::size_t most = std::min(corners[c], arrayPoints[c]);
        points[c]->reserve(points[c]->size() + most);
        channel.ByValue.Reserve(*points[c], most);
        if (corners[c] >= arrayPoints[c] / kSourcesPerCorner) channel.BySource.assign(arrayPoints[c], kUnknown);
    }
}

void MeshNode::ReleaseWeldIndex() {
    for (WeldChannel& channel : welding_) {
        channel.ByValue.Release();
        std::vector<std::uint32_t>().swap(channel.BySource);
    }
}

MeshNode& MeshLibrary::AddMesh(const std::string& geometryName, const std::string& materialName, MeshKind kind,
                               float creaseAngleDegrees) {
    auto& mesh = children_.emplace_back(
        std::make_unique<MeshNode>(Document, geometryName, materialName, kind, creaseAngleDegrees));
    mesh->LibraryPosition = children_.size() - 1;
    // The name is the mesh's own, which stays as it is.
    byGeometry_[mesh->GeometryName].push_back(mesh.get());
    return *mesh;
}

}  // namespace morvane
