// The in-memory form of one primitive element: its points, its faces as
// index lists, and the names that tie it to its geometry and material.
#pragma once

#include <array>
#include <cassert>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "geometry/point3.h"
#include "geometry/point_index.h"
#include "nodes/x3d_node.h"
#include "support/name_index.h"

namespace morvane {

class AppearanceNode;

// One corner's point of one channel: its numbers, and the number of the
// point in the array it was read from (-1 when it came from nowhere), by
// which a walk over a large array welds it again quickly.
struct Corner {
    Float3 Point;
    std::int32_t Source = -1;
};

// The corners of one face while it is being assembled; the mesh copies what
// it keeps. Its coordinates were read under the unit scale `Scale`.
struct Facet {
    std::vector<Corner> Coordinates;
    std::vector<Corner> TexCoords;
    std::vector<Corner> Normals;
    double Scale = 1.0;

    void Clear() {
        Coordinates.clear();
        TexCoords.clear();
        Normals.clear();
    }
};

// The indices of one face.
class FaceView {
public:
    FaceView(const std::int32_t* indices, std::int32_t first, std::size_t size)
        : indices_(indices), first_(first), size_(size) {}
    std::size_t size() const { return size_; }
    std::int32_t operator[](std::size_t i) const {
        return indices_ != nullptr ? indices_[i] : first_ + static_cast<std::int32_t>(i);
    }

private:
    const std::int32_t* indices_;  // null: the face counts up from first_
    std::int32_t first_;
    std::size_t size_;
};

// One index list per face, kept flat: the indices of all faces one after
// the other, and where each face ends. While every face has the same
// length, as in a triangle mesh, the ends are implied and not stored; while
// every index equals the number of indices before it, as when each corner
// has points of its own, the indices are implied too.
class FaceIndexList {
public:
    std::size_t FaceCount() const { return faces_; }
    bool Empty() const { return faces_ == 0; }
    FaceView Face(std::size_t face) const {
        assert(face < faces_);
        const std::size_t begin = ends_.empty() ? face * length_ : (face == 0 ? 0 : ends_[face - 1]);
        const std::size_t end = ends_.empty() ? begin + length_ : ends_[face];
        // Lists stop short of 2^31 entries, so a face's first index fits.
        assert(begin <= static_cast<std::size_t>(INT32_MAX));
        const std::int32_t* stored = counting_ ? nullptr : indices_.data() + begin;
        return {stored, static_cast<std::int32_t>(begin), end - begin};
    }
    // Every index of every face, in order.
    std::vector<std::int32_t> Flat() const;

    // Indices pushed since the last face was closed form the next face.
    void Push(std::int32_t index) {
        if (counting_ && index >= 0 && static_cast<std::size_t>(index) == count_) {
            ++count_;
            return;
        }
        if (counting_) StoreIndices();
        indices_.push_back(index);
        ++count_;
    }
    void CloseFace();
    // Room for `faces` more faces and `indices` more indices, unless the
    // indices are expected to count up.
    void Reserve(std::size_t faces, std::size_t indices, bool counting);
    // The room of the stored indices and of the stored face ends.
    std::size_t IndexCapacity() const { return indices_.capacity(); }
    std::size_t EndCapacity() const { return ends_.capacity(); }

private:
    void StoreIndices();

    std::size_t faces_ = 0;
    std::size_t count_ = 0;
    bool counting_ = true;
    std::vector<std::int32_t> indices_;
    // The common length while faces are uniform; ends_ is empty until then.
    std::size_t length_ = 0;
    std::size_t reservedFaces_ = 0;
    std::size_t reservedIndices_ = 0;
    std::vector<std::uint32_t> ends_;
};

// The welding state of one channel while faces are added: the index by
// value, and for a long walk the welded index of each array point met so far.
struct WeldChannel {
    PointIndex ByValue;
    std::vector<std::uint32_t> BySource;
};

// What a mesh holds once a primitive gives it a face: its points, its
// faces and the welding state.
struct MeshData {
    PointList Coordinates{true};
    PointList Normals;
    PointList TexCoords;
    FaceIndexList CoordIndex;
    FaceIndexList NormalIndex;
    FaceIndexList TexCoordIndex;
    std::array<WeldChannel, 3> Welding;
};

// The names that a mesh goes by: its geometry's id and its material symbol.
struct MeshNames {
    std::string Geometry;
    std::string Material;
};

// A mesh is created for every primitive element, and many of them are empty
// (a document can hold a million `<lines/>`), so the mesh itself keeps only
// what names and places it: its names live in its library, its data is
// allocated with its first face.
class MeshNode : public X3dNode {
public:
    // The names are not copied: they must outlive the mesh (a library keeps
    // them for its meshes, each pair once).
    MeshNode(ColladaReader* document, const MeshNames* names, MeshKind kind, float creaseAngleDegrees);

    const std::string& GeometryName() const { return names_->Geometry; }
    const std::string& MaterialName() const { return names_->Material; }

    // The data of the mesh; an empty one while none was allocated.
    const MeshData& Data() const;
    // The data of the mesh, allocated on the first call.
    MeshData& MutableData();
    bool HasData() const { return data_ != nullptr; }

    // Every corner gets points of its own.
    void AddFacet(const Facet& facet);
    // Each point is shared with the first equal point already in the mesh,
    // channel by channel.
    void AddFacetOptimized(const Facet& facet);
    // Prepares a walk that adds `faces` faces with, per channel (coordinates,
    // normals, texture coordinates), that many corners read from an array
    // of that many points. A long walk welds the corners by their number in
    // the array, which gives the same index as welding by value, since a
    // number stands for the same value throughout one walk. A walk of no
    // faces leaves a mesh without data as it is.
    void BeginWalk(std::size_t faces, const std::array<std::size_t, 3>& corners,
                   const std::array<std::size_t, 3>& arrayPoints, bool welding);
    // Frees the welding tables once the primitive has all its faces; a
    // later AddFacetOptimized rebuilds them.
    void ReleaseWeldIndex();

    // The IndexedFaceSet or IndexedLineSet element; a face set already
    // written gives a USE line.
    void Write(TextOutput& out, int indent) override;

    MeshKind Kind = MeshKind::kFaceSet;
    float CreaseAngleRadians = 0.0f;
    // Where the mesh stands in its library.
    std::uint32_t LibraryPosition = 0;
    // Chosen by the Shape that writes the mesh, just before it does; not owned.
    AppearanceNode* Appearance = nullptr;

private:
    void WriteFaceSet(TextOutput& out, int indent);
    void WriteLineSet(TextOutput& out, int indent);

    const MeshNames* names_;
    std::unique_ptr<MeshData> data_;
};

// All meshes of a document, in the order of their creation. The mesh being
// filled is always the last one. Meshes stay where they were created, so
// that pointers to them hold for the library's life.
class MeshLibrary : public X3dNode {
public:
    explicit MeshLibrary(ColladaReader* document);
    ~MeshLibrary() override;

    // Creates a mesh for a primitive element and appends it. The crease
    // angle is given in degrees.
    MeshNode& AddMesh(const std::string& geometryName, const std::string& materialName, MeshKind kind,
                      float creaseAngleDegrees);
    // The next mesh after `after` (from the first when null) whose
    // GeometryName equals `name`; null when there is none.
    MeshNode* FindNext(std::string_view name, const MeshNode* after) const;

    const std::deque<MeshNode>& Children() const { return children_; }
    std::deque<MeshNode>& Children() { return children_; }

    // The sources that the inputs of the last mesh's primitive name; a new
    // mesh starts without.
    std::string NormalSourceId;
    std::string TexcoordSourceId;

private:
    std::deque<MeshNode> children_;
    // The meshes of each geometry in library order, so that a walk over a
    // geometry's meshes does not rescan the whole library at every step.
    std::unordered_map<std::string, std::vector<MeshNode*>, KeyedNameHash, std::equal_to<>> byGeometry_;
    // The names the meshes point at, each pair once, found by the geometry
    // name, a NUL (which no name holds) and the material name.
    std::deque<MeshNames> names_;
    std::unordered_map<std::string, const MeshNames*, KeyedNameHash, std::equal_to<>> namesByKey_;
};

}  // namespace morvane
