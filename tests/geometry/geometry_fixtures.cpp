#include "geometry/geometry_fixtures.h"

#include <sstream>

namespace morvane::test {

namespace {

void DescribePoints(std::ostringstream& out, const char* name, const PointList& points) {
    out << name << ':';
    for (const Point3& p : points) out << " (" << p.X << ' ' << p.Y << ' ' << p.Z << ')';
    out << '\n';
}

void DescribeFaces(std::ostringstream& out, const char* name, const FaceIndexList& faces) {
    out << name << ':';
    for (std::size_t f = 0; f < faces.FaceCount(); ++f) {
        out << " [";
        for (std::int32_t i : faces.Face(f)) out << ' ' << i;
        out << " ]";
    }
    out << '\n';
}

}  // namespace

std::string Describe(const MeshNode& mesh) {
    std::ostringstream out;
    DescribePoints(out, "coordinates", mesh.Coordinates);
    DescribePoints(out, "normals", mesh.Normals);
    DescribePoints(out, "texcoords", mesh.TexCoords);
    DescribeFaces(out, "coordIndex", mesh.CoordIndex);
    DescribeFaces(out, "normalIndex", mesh.NormalIndex);
    DescribeFaces(out, "texCoordIndex", mesh.TexCoordIndex);
    return out.str();
}

}  // namespace morvane::test
