#include "geometry/primitive_handlers.h"

#include <algorithm>
#include <array>
#include <vector>

#include "events/central_object.h"
#include "geometry/mesh_node.h"
#include "geometry/source_arrays.h"
#include "support/conversion_error.h"
#include "support/number_text.h"
#include "support/progress.h"

namespace morvane {

namespace {

// How far the triangles counts of a document may run past their p lists,
// summed, before it is taken for a hostile one rather than a sloppy one.
constexpr std::int64_t kMaxMissingTriangles = 1000000;

MeshNode* LastMesh(ColladaReader& owner) {
    if (!owner.State().MeshLibrary || owner.State().MeshLibrary->Children().empty()) return nullptr;
    return &owner.State().MeshLibrary->Children().back();
}

// The list of a p or vcount element, which is then forgotten.
void TakeInts(ColladaReader& owner, const char* element, std::vector<std::int32_t>& out) {
    if (auto* handler = owner.FindHandlerAs<IntListHandler>(element)) {
        handler->TakeInts(out);
    } else {
        TokenizeInts({}, out);
    }
}

void AddFace(ColladaReader& owner, MeshNode& mesh, const Facet& facet) {
    if (owner.Options.SmoothMeshes) {
        // Welding is slow on a large mesh: it marks its progress.
        if (static_cast<std::int64_t>(mesh.Data().CoordIndex.FaceCount()) % kFacesPerMark == 0) {
            owner.MarkProgress(kFacesMark);
        }
        mesh.AddFacetOptimized(facet);
    } else {
        mesh.AddFacet(facet);
    }
}

void ExtendBounds(ColladaReader& owner, const Point3& point) {
    const double values[3] = {point.X, point.Y, point.Z};
    for (int k = 0; k < 3; ++k) {
        // Both tests run: the first point of a document sets both corners.
        if (values[k] < owner.State().BoundsMin[k]) owner.State().BoundsMin[k] = values[k];
        if (values[k] > owner.State().BoundsMax[k]) owner.State().BoundsMax[k] = values[k];
    }
}

// One channel of a primitive: the array its indices point into, and where
// its index stands in a tuple. An array that is absent has no points.
struct Channel {
    const FloatArray* Array = nullptr;
    std::size_t Points = 0;
    std::int64_t Offset = -1;

    bool Readable(std::int64_t slot, std::size_t listSize) const {
        return Array != nullptr && Offset >= 0 && slot < static_cast<std::int64_t>(listSize);
    }
};

// Arrays are found by the convention that a source's array bears its id
// followed by "-array"; a remainder short of a whole point is dropped.
Channel FindChannel(const ColladaReader& owner, const std::string& sourceId, std::int64_t offset,
                    std::size_t pointSize) {
    Channel channel;
    channel.Offset = offset;
    if (const FloatArray* array = FindFloatArray(owner.State().Sources, sourceId + "-array")) {
        channel.Array = array;
        channel.Points = array->Values.size() / pointSize;
    }
    return channel;
}

enum class CornerRead { kRead, kSkipped, kBeyondList };

// Reads the corners of a primitive from its p list. A corner without a
// readable position is skipped whole; a normal or texture coordinate that
// cannot be read only leaves its channel without an entry.
class CornerReader {
public:
    CornerReader(ColladaReader& owner, const std::vector<std::int32_t>& list, const std::string& normalSourceId,
                 const std::string& texcoordSourceId, std::int32_t vertexOffset, std::int32_t normalOffset,
                 std::int32_t texcoordOffset)
        : owner_(owner), list_(list) {
        positions_ = FindChannel(owner, owner.State().PositionSourceId, vertexOffset, 3);
        // A channel without a source id has no array, whatever the ids of the
        // arrays are.
        if (!normalSourceId.empty()) normals_ = FindChannel(owner, normalSourceId, normalOffset, 3);
        if (!texcoordSourceId.empty()) texCoords_ = FindChannel(owner, texcoordSourceId, texcoordOffset, 2);
    }

    bool HasNormals() const { return normals_.Array != nullptr && normals_.Offset >= 0; }
    bool HasTexCoords() const { return texCoords_.Array != nullptr && texCoords_.Offset >= 0; }

    // Extends the bounds by every whole point of the position array.
    void BoundAllPositions() {
        if (positions_.Array == nullptr) return;
        // The same as extending them by each point in turn.
        const PointExtent& extent = positions_.Array->ExtentAt(owner_.State().UnitScale);
        for (int k = 0; k < 3; ++k) {
            if (extent.Min[k] < owner_.State().BoundsMin[k]) owner_.State().BoundsMin[k] = extent.Min[k];
            if (extent.Max[k] > owner_.State().BoundsMax[k]) owner_.State().BoundsMax[k] = extent.Max[k];
        }
    }

    // Reads the corner whose tuple begins at `start`. kBeyondList means
    // that neither this corner nor any later one has a position slot inside
    // the list, so a walk may stop reading there.
    CornerRead Read(std::int64_t start, Facet& facet, bool boundCorner) {
        if (positions_.Offset < 0) return CornerRead::kBeyondList;
        const std::int64_t slot = start + positions_.Offset;
        if (slot >= static_cast<std::int64_t>(list_.size())) return CornerRead::kBeyondList;
        const std::int32_t index = list_[static_cast<std::size_t>(slot)];
        if (index < 0 || static_cast<std::size_t>(index) >= positions_.Points) return CornerRead::kSkipped;

        // Positions are in metres at the unit scale in force now.
        facet.Scale = owner_.State().UnitScale;
        const float* p = positions_.Array->Values.data() + 3 * static_cast<std::size_t>(index);
        if (boundCorner) {
            ExtendBounds(owner_, {static_cast<double>(p[0]) * facet.Scale, static_cast<double>(p[1]) * facet.Scale,
                                  static_cast<double>(p[2]) * facet.Scale});
        }
        facet.Coordinates.push_back({{p[0], p[1], p[2]}, index});

        if (const std::int32_t* normal = ChannelIndex(normals_, start)) {
            const float* v = normals_.Array->Values.data() + 3 * static_cast<std::size_t>(*normal);
            facet.Normals.push_back({{v[0], v[1], v[2]}, *normal});
        }
        if (const std::int32_t* texCoord = ChannelIndex(texCoords_, start)) {
            const float* v = texCoords_.Array->Values.data() + 2 * static_cast<std::size_t>(*texCoord);
            facet.TexCoords.push_back({{v[0], v[1], 0.0f}, *texCoord});
        }
        return CornerRead::kRead;
    }

    // How many whole points the arrays of the three channels hold.
    std::array<std::size_t, 3> ArrayPoints() const { return {positions_.Points, normals_.Points, texCoords_.Points}; }

private:
    // The channel's index for the tuple at `start`, when it lies in the
    // list and points inside the array.
    const std::int32_t* ChannelIndex(const Channel& channel, std::int64_t start) const {
        const std::int64_t slot = start + channel.Offset;
        if (!channel.Readable(slot, list_.size())) return nullptr;
        const std::int32_t& index = list_[static_cast<std::size_t>(slot)];
        if (index < 0 || static_cast<std::size_t>(index) >= channel.Points) return nullptr;
        return &index;
    }

    ColladaReader& owner_;
    const std::vector<std::int32_t>& list_;
    Channel positions_;
    Channel normals_;
    Channel texCoords_;
};

// Prepares the mesh for the walk of a primitive of `faces` faces and at most
// `corners` corners: room, so that a large mesh does not grow by copies, and
// the welding by array number of a long walk.
void BeginWalk(const ColladaReader& owner, MeshNode& mesh, const CornerReader& reader, std::size_t faces,
               std::size_t corners) {
    mesh.BeginWalk(faces, {corners, reader.HasNormals() ? corners : 0, reader.HasTexCoords() ? corners : 0},
                   reader.ArrayPoints(), owner.Options.SmoothMeshes);
}

}  // namespace

// ---- triangles, polygons, polylist ----

bool PrimitiveHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    ColladaReader& owner = Owner();
    if (!owner.Options.WritePolygons || !owner.State().MeshLibrary) return true;
    GetAttributeString(attributes, "count", Count);
    GetAttributeString(attributes, "material", Material);
    owner.State().MeshLibrary->AddMesh(owner.State().CurrentGeometryId, Material, MeshKind::kFaceSet, owner.Options.CreaseAngle);
    return true;
}

int PrimitiveHandler::TupleWidth() const {
    return (VertexOffset >= 0 ? 1 : 0) + (NormalOffset >= 0 ? 1 : 0) + (TexcoordOffset >= 0 ? 1 : 0);
}

MeshNode* PrimitiveHandler::TakeIndexList(std::vector<std::int32_t>& list) {
    ColladaReader& owner = Owner();
    TakeInts(owner, "p", list);
    MeshNode* mesh = LastMesh(owner);
    if (mesh == nullptr) ResetOffsets();
    return mesh;
}

void PrimitiveHandler::ResetOffsets() {
    VertexOffset = -1;
    NormalOffset = -1;
    TexcoordOffset = -1;
}

bool TrianglesHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& owner = Owner();
    if (!owner.Options.WritePolygons) return true;
    const int width = TupleWidth();
    std::vector<std::int32_t> list;
    MeshNode* mesh = TakeIndexList(list);
    if (mesh == nullptr) return true;

    std::int32_t count = 0;
    ScanInt(Count, count);
    const std::int64_t whole = width == 0 ? 0 : static_cast<std::int64_t>(list.size() / (3 * width));
    if (count > whole) owner.State().MissingTriangles += count - whole;
    if (owner.State().MissingTriangles > kMaxMissingTriangles) {
        throw ConversionError(ErrorKind::kCountsBeyondLists, kCountsFarBeyondLists);
    }

    CornerReader reader(owner, list, owner.State().MeshLibrary->NormalSourceId,
                        owner.State().MeshLibrary->TexcoordSourceId, VertexOffset, NormalOffset,
                        TexcoordOffset);
    reader.BoundAllPositions();
    if (count > 0) {
        const std::size_t corners = 3 * static_cast<std::size_t>(std::min<std::int64_t>(count, whole));
        BeginWalk(owner, *mesh, reader, static_cast<std::size_t>(count), corners);
    }

    Facet facet;
    for (std::int64_t t = 0; t < count; ++t) {
        if (t % kFacesPerMark == 0) owner.MarkProgress(kFacesMark);
        facet.Clear();
        for (std::int64_t c = 0; c < 3; ++c) {
            if (reader.Read((3 * t + c) * width, facet, false) == CornerRead::kBeyondList) break;
        }
        AddFace(owner, *mesh, facet);
    }
    mesh->ReleaseWeldIndex();
    ResetOffsets();
    return true;
}

bool PolylistHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& owner = Owner();
    if (!owner.Options.WritePolygons) return true;
    const int width = TupleWidth();
    std::vector<std::int32_t> vertexCounts;
    TakeInts(owner, "vcount", vertexCounts);
    std::vector<std::int32_t> list;
    MeshNode* mesh = TakeIndexList(list);
    if (mesh == nullptr) return true;

    CornerReader reader(owner, list, owner.State().MeshLibrary->NormalSourceId,
                        owner.State().MeshLibrary->TexcoordSourceId, VertexOffset, NormalOffset,
                        TexcoordOffset);
    const std::size_t tuples = width == 0 ? 0 : list.size() / static_cast<std::size_t>(width);
    BeginWalk(owner, *mesh, reader, vertexCounts.size(), tuples);

    Facet facet;
    // Past the end of the list every corner is skipped, so the counter
    // need not run further than that.
    const auto limit = static_cast<std::int64_t>(list.size());
    std::int64_t counter = 0;
    for (const std::int32_t vertexCount : vertexCounts) {
        const std::int64_t corners = std::max<std::int32_t>(vertexCount, 0);
        facet.Clear();
        for (std::int64_t j = 0; j < corners; ++j) {
            if (reader.Read((counter + j) * width, facet, true) == CornerRead::kBeyondList) break;
        }
        AddFace(owner, *mesh, facet);
        counter = std::min(counter + corners, limit);
    }
    mesh->ReleaseWeldIndex();
    ResetOffsets();
    return true;
}

bool PolygonsHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    if (MeshNode* mesh = LastMesh(Owner())) mesh->ReleaseWeldIndex();
    ResetOffsets();
    return true;
}

bool PHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& owner = Owner();
    if (!owner.Options.WritePolygons || !owner.IsTagOpen("polygons")) return true;
    auto* polygons = owner.FindHandlerAs<PolygonsHandler>("polygons");
    MeshNode* mesh = LastMesh(owner);
    if (polygons == nullptr || mesh == nullptr) {
        ClearText();
        return true;
    }

    const int width = polygons->TupleWidth();
    std::vector<std::int32_t> list;
    TakeInts(list);
    const std::size_t corners = width == 0 ? 0 : list.size() / static_cast<std::size_t>(width);

    CornerReader reader(owner, list, owner.State().MeshLibrary->NormalSourceId,
                        owner.State().MeshLibrary->TexcoordSourceId, polygons->VertexOffset,
                        polygons->NormalOffset, polygons->TexcoordOffset);
    BeginWalk(owner, *mesh, reader, 1, corners);
    Facet facet;
    for (std::size_t j = 0; j < corners; ++j) {
        const auto start = static_cast<std::int64_t>(j) * width;
        if (reader.Read(start, facet, true) == CornerRead::kBeyondList) break;
    }
    AddFace(owner, *mesh, facet);
    return true;
}

// ---- lines ----

bool LinesHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    ColladaReader& owner = Owner();
    if (!owner.Options.WriteLines) return true;
    if (TagHandler* p = owner.FindHandler("p")) p->ClearText();
    GetAttributeString(attributes, "material", Material);
    // A line set has no use for the crease angle.
    if (owner.State().MeshLibrary) owner.State().MeshLibrary->AddMesh(owner.State().CurrentGeometryId, Material, MeshKind::kLineSet, 60.0f);
    return true;
}

bool LinesHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& owner = Owner();
    if (!owner.Options.WriteLines) return true;
    MeshNode* mesh = LastMesh(owner);
    std::vector<std::int32_t> list;
    TakeInts(owner, "p", list);
    if (mesh == nullptr) return true;

    // Lines read their list as plain pairs of positions, whatever their
    // inputs say.
    CornerReader reader(owner, list, {}, {}, 0, -1, -1);
    reader.BoundAllPositions();
    const std::size_t segments = list.size() / 2;
    BeginWalk(owner, *mesh, reader, segments, 2 * segments);

    Facet facet;
    for (std::size_t s = 0; s < segments; ++s) {
        facet.Clear();
        reader.Read(static_cast<std::int64_t>(2 * s), facet, false);
        reader.Read(static_cast<std::int64_t>(2 * s + 1), facet, false);
        AddFace(owner, *mesh, facet);
    }
    mesh->ReleaseWeldIndex();
    return true;
}

}  // namespace morvane
