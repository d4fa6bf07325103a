#include "geometry/mesh_node.h"

#include <algorithm>
#include <cassert>
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
    GrowCapacity(indices_, std::max(reservedIndices_, count_ + 1));
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
        GrowCapacity(ends_, std::max(reservedFaces_, faces_ + 1));
        for (std::size_t face = 1; face <= faces_; ++face) ends_.push_back(static_cast<std::uint32_t>(face * length_));
    }
    ends_.push_back(static_cast<std::uint32_t>(end));
    ++faces_;
}

void FaceIndexList::Reserve(std::size_t faces, std::size_t indices, bool counting) {
    reservedFaces_ = faces_ + faces;
    reservedIndices_ = count_ + indices;
    if (!ends_.empty()) GrowCapacity(ends_, reservedFaces_);
    if (!counting && counting_) StoreIndices();
    if (!counting_) GrowCapacity(indices_, reservedIndices_);
}

MeshNode::MeshNode(ColladaReader* document, const MeshNames* names, MeshKind kind, float creaseAngleDegrees)
    : X3dNode(document),
      Kind(kind),
      CreaseAngleRadians(static_cast<float>(creaseAngleDegrees * kCreaseDegreesToRadians)),
      names_(names) {
    assert(names != nullptr);
}

const MeshData& MeshNode::Data() const {
    static const MeshData kNoData;
    return data_ ? *data_ : kNoData;
}

MeshData& MeshNode::MutableData() {
    if (!data_) data_ = std::make_unique<MeshData>();
    return *data_;
}

void MeshNode::AddFacet(const Facet& facet) {
    MeshData& d = MutableData();
    AppendPlain(d.Coordinates, facet.Coordinates, facet.Scale, d.CoordIndex);
    AppendPlain(d.TexCoords, facet.TexCoords, 1.0, d.TexCoordIndex);
    AppendPlain(d.Normals, facet.Normals, 1.0, d.NormalIndex);
    d.CoordIndex.CloseFace();
    d.NormalIndex.CloseFace();
    d.TexCoordIndex.CloseFace();
}

void MeshNode::AddFacetOptimized(const Facet& facet) {
    MeshData& d = MutableData();
    std::array<WeldChannel, 3>& w = d.Welding;
    PrefetchWelds(d.Coordinates, facet.Coordinates, facet.Scale, w[0].ByValue, w[0].BySource);
    PrefetchWelds(d.Normals, facet.Normals, 1.0, w[1].ByValue, w[1].BySource);
    PrefetchWelds(d.TexCoords, facet.TexCoords, 1.0, w[2].ByValue, w[2].BySource);
    AppendWelded(d.Coordinates, facet.Coordinates, facet.Scale, w[0].ByValue, w[0].BySource, d.CoordIndex);
    AppendWelded(d.Normals, facet.Normals, 1.0, w[1].ByValue, w[1].BySource, d.NormalIndex);
    AppendWelded(d.TexCoords, facet.TexCoords, 1.0, w[2].ByValue, w[2].BySource, d.TexCoordIndex);
    d.CoordIndex.CloseFace();
    d.NormalIndex.CloseFace();
    d.TexCoordIndex.CloseFace();
}

void MeshNode::BeginWalk(std::size_t faces, const std::array<std::size_t, 3>& corners,
                         const std::array<std::size_t, 3>& arrayPoints, bool welding) {
    if (faces == 0 && !data_) return;
    MeshData& d = MutableData();
    PointList* points[3] = {&d.Coordinates, &d.Normals, &d.TexCoords};
    FaceIndexList* lists[3] = {&d.CoordIndex, &d.NormalIndex, &d.TexCoordIndex};
    for (std::size_t c = 0; c < 3; ++c) {
        lists[c]->Reserve(faces, corners[c], !welding);
        WeldChannel& channel = d.Welding[c];
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
    if (!data_) return;
    for (WeldChannel& channel : data_->Welding) {
        channel.ByValue.Release();
        std::vector<std::uint32_t>().swap(channel.BySource);
    }
}

MeshLibrary::MeshLibrary(ColladaReader* document) : X3dNode(document) {}

MeshLibrary::~MeshLibrary() = default;

MeshNode* MeshLibrary::FindNext(std::string_view name, const MeshNode* after) const {
    auto found = byGeometry_.find(name);
    if (found == byGeometry_.end()) return nullptr;
    const std::vector<MeshNode*>& meshes = found->second;
    if (after == nullptr) return meshes.front();
    // Meshes after `after` in library order, whatever its own geometry.
    auto next = std::upper_bound(meshes.begin(), meshes.end(), after->LibraryPosition,
                                 [](std::uint32_t position, const MeshNode* mesh) {
                                     return position < mesh->LibraryPosition;
                                 });
    return next == meshes.end() ? nullptr : *next;
}

MeshNode& MeshLibrary::AddMesh(const std::string& geometryName, const std::string& materialName, MeshKind kind,
                               float creaseAngleDegrees) {
    if (children_.size() >= 0xFFFFFFFFu) throw ConversionError(ErrorKind::kTooManyEntries, kTooManyEntries);
    // Each pair of names is kept once; the meshes point at it.
    std::string key = geometryName;
    key += '\0';
    key += materialName;
    auto [known, added] = namesByKey_.try_emplace(std::move(key), nullptr);
    if (added) known->second = &names_.emplace_back(MeshNames{geometryName, materialName});
    MeshNode& mesh = children_.emplace_back(Document, known->second, kind, creaseAngleDegrees);
    mesh.LibraryPosition = static_cast<std::uint32_t>(children_.size() - 1);
    NormalSourceId.clear();
    TexcoordSourceId.clear();
    byGeometry_[geometryName].push_back(&mesh);
    return mesh;
}

}  // namespace morvane
