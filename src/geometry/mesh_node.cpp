#include "geometry/mesh_node.h"

#include <utility>

namespace morvane {

namespace {
// 3.1415926 / 180: the crease angle's own conversion factor, deliberately
// not pi / 180 at full precision.
constexpr double kCreaseDegreesToRadians = 0.017453292222222222;
}  // namespace

MeshNode::MeshNode(ColladaReader* document, std::string geometryName, std::string materialName, int kind,
                   float creaseAngleDegrees)
    : X3dNode(document),
      Kind(kind),
      MaterialName(std::move(materialName)),
      CreaseAngleRadians(static_cast<float>(creaseAngleDegrees * kCreaseDegreesToRadians)),
      GeometryName(std::move(geometryName)) {}

MeshNode& MeshLibrary::AddMesh(const std::string& geometryName, const std::string& materialName, int kind,
                               float creaseAngleDegrees) {
    Children.push_back(std::make_unique<MeshNode>(Document, geometryName, materialName, kind, creaseAngleDegrees));
    return *Children.back();
}

}  // namespace morvane
