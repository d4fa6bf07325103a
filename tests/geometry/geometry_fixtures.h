// Documents for the geometry tests, and a converter that keeps its meshes
// after the end of the document instead of writing them.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "events/central_object.h"
#include "events/xml_reader.h"
#include "geometry/mesh_node.h"
#include "test_support.h"

namespace morvane::test {

class MeshKeeper : public ColladaReader {
public:
    void Write() override { Kept = std::move(MeshLibrary); }

    MeshNode& Mesh(std::size_t i) { return *Kept->Children.at(i); }
    std::size_t MeshCount() const { return Kept ? Kept->Children.size() : 0; }

    std::unique_ptr<morvane::MeshLibrary> Kept;
};

// A document with one geometry "g" whose mesh holds `meshBody`. Without a
// unit in `asset`, lengths are in inches (0.0254 metres).
inline std::string GeometryDocument(const std::string& meshBody,
                                    const std::string& asset = "") {
    return "<?xml version='1.0'?>\n<COLLADA><asset>" + asset +
           "</asset><library_geometries><geometry id='g'><mesh>" + meshBody +
           "</mesh></geometry></library_geometries></COLLADA>";
}

inline std::string FloatArrayElement(const std::string& id, const std::string& values) {
    return "<source id='" + id + "'><float_array id='" + id + "-array'>" + values + "</float_array></source>";
}

inline std::string PositionsElement(const std::string& id) {
    return "<vertices id='v'><input semantic='POSITION' source='#" + id + "'/></vertices>";
}

inline std::vector<std::int32_t> FaceOf(const FaceIndexList& list, std::size_t face) {
    const auto span = list.Face(face);
    return {span.begin(), span.end()};
}

// Everything a mesh holds, one face a line, for comparisons that show the
// whole mesh when they fail.
std::string Describe(const MeshNode& mesh);

}  // namespace morvane::test
