// The X3D element of a mesh: IndexedFaceSet for a face set, IndexedLineSet
// for a line set.
#include "appearance/appearance_node.h"
#include "events/central_object.h"
#include "geometry/mesh_node.h"
#include "support/text_output.h"

namespace morvane {

namespace {

// Document axes go out as they are, or with Z up turned to the viewer's Y
// up: x, z, -y.
void PutPoint(TextOutput& out, const Point3& point, bool zUp) {
    out.PutFixed(point.X);
    out.Put(' ');
    out.PutFixed(zUp ? point.Z : point.Y);
    out.Put(' ');
    out.PutFixed(zUp ? -point.Y : point.Z);
    out.Put(",\n");
}

void PutPoints(TextOutput& out, const PointList& points, bool zUp, int tabs) {
    for (std::size_t i = 0; i < points.size(); ++i) {
        out.PutTabs(tabs);
        PutPoint(out, points[i], zUp);
    }
}

// A child element holding a list of points, such as the Coordinate element;
// `opening` is its text up to the point list.
void PutPointElement(TextOutput& out, const char* opening, const PointList& points, bool zUp, int indent) {
    out.PutTabs(indent);
    out.Put(opening);
    PutPoints(out, points, zUp, indent + 1);
    out.PutTabs(indent);
    out.Put("'/>\n");
}

// One face's indices, each with a blank behind it and a line break behind
// every 16th.
void PutFaceIndices(TextOutput& out, const FaceView& face) {
    for (std::size_t i = 0; i < face.size(); ++i) {
        out.PutInt(face[i]);
        out.Put(' ');
        if ((i + 1) % 16 == 0) out.Put('\n');
    }
}

// The faces of an index field of a face set; the last closes the quote.
void PutIndexField(TextOutput& out, const FaceIndexList& faces, int indent) {
    const std::size_t count = faces.FaceCount();
    if (count == 0) {
        // No face to close it: the quote stands on a line of its own.
        out.PutTabs(indent + 2);
        out.Put("'\n");
        return;
    }
    for (std::size_t face = 0; face < count; ++face) {
        out.PutTabs(indent + 2);
        PutFaceIndices(out, faces.Face(face));
        out.Put(face + 1 == count ? "-1'\n" : "-1\n");
    }
}

}  // namespace

void MeshNode::Write(TextOutput& out, int indent) {
    out.PutTabs(indent);
    // A line set bears no DEF, so a later use writes it in full again.
    if (Written && Kind != MeshKind::kLineSet) {
        out.Put("<IndexedFaceSet USE='");
        out.PutString(GeometryName());
        out.Put("'/>\n");
        return;
    }
    Written = true;
    if (Kind == MeshKind::kFaceSet) {
        WriteFaceSet(out, indent);
    } else if (Kind == MeshKind::kLineSet) {
        WriteLineSet(out, indent);
    }
}

void MeshNode::WriteFaceSet(TextOutput& out, int indent) {
    const MeshData& d = Data();
    const bool zUp = Document != nullptr && Document->State().UpAxisIsZ;
    // Without an appearance the mesh counts as untextured.
    const bool textured = Appearance != nullptr && !Appearance->DiffuseTexture.Texture.empty();

    out.Put("<IndexedFaceSet DEF='");
    out.PutString(GeometryName());
    out.Put("' containerField='geometry' creaseAngle='");
    out.PutFixed(static_cast<double>(CreaseAngleRadians));
    out.Put("' convex='false' solid='true' ccw='true'\n");

    out.PutTabs(indent + 1);
    out.Put("coordIndex='\n");
    PutIndexField(out, d.CoordIndex, indent);
    if (!d.Normals.empty()) {
        out.PutTabs(indent + 1);
        out.Put("normalIndex='\n");
        PutIndexField(out, d.NormalIndex, indent);
    }
    if (textured) {
        out.PutTabs(indent + 1);
        out.Put("texCoordIndex='\n");
        PutIndexField(out, d.TexCoordIndex, indent);
    }
    out.PutTabs(indent);
    out.Put(">\n");

    PutPointElement(out, "<Coordinate containerField='coord' point='\n", d.Coordinates, zUp, indent + 1);

    if (!d.Normals.empty()) {
        PutPointElement(out, "<Normal containerField='normal' vector='\n", d.Normals, zUp, indent + 1);
    }
    if (textured) {
        out.PutTabs(indent + 1);
        out.Put("<TextureCoordinate containerField='texCoord' point='\n");
        // Texture coordinates have no axes to turn.
        for (std::size_t i = 0; i < d.TexCoords.size(); ++i) {
            const Point3 point = d.TexCoords[i];
            out.PutTabs(indent + 2);
            out.PutFixed(point.X);
            out.Put(' ');
            out.PutFixed(point.Y);
            out.Put(",\n");
        }
        out.PutTabs(indent + 1);
        out.Put("'/>\n");
    }
    out.PutTabs(indent);
    out.Put("</IndexedFaceSet>\n");
}

void MeshNode::WriteLineSet(TextOutput& out, int indent) {
    const MeshData& d = Data();
    const bool zUp = Document != nullptr && Document->State().UpAxisIsZ;

    out.Put("<IndexedLineSet  containerField='geometry'\n");
    out.PutTabs(indent + 1);
    out.Put("coordIndex='\n");
    for (std::size_t face = 0; face < d.CoordIndex.FaceCount(); ++face) {
        out.PutTabs(indent + 1);
        PutFaceIndices(out, d.CoordIndex.Face(face));
        out.Put("-1\n");
    }
    out.PutTabs(indent);
    out.Put("'>\n");

    PutPointElement(out, "<Coordinate containerField='coord' point='\n", d.Coordinates, zUp, indent + 1);
    out.PutTabs(indent);
    out.Put("</IndexedLineSet>\n");
}

}  // namespace morvane
