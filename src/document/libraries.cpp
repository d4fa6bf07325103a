// Proto libraries: images, appearances and meshes written once, with DEF,
// ahead of the scene, which then refers to them with USE.
#include "document/x3d_converter.h"
#include "geometry/mesh_node.h"

namespace morvane {

void X3dConverter::WriteLibraries(TextOutput& out) {
    DocumentState& state = State();
    out.Put("\t\t<ProtoDeclare name='Library'>\n");
    out.Put("\t\t\t<ProtoInterface>\n");
    out.Put("\t\t\t\t<field name='contents' type='MFNode' accessType='inputOutput'/>\n");
    out.Put("\t\t\t</ProtoInterface>\n");
    out.Put("\t\t</ProtoDeclare>\n");

    if (!state.Images.empty()) {
        out.Put("\t\t<ProtoInstance name='Library' DEF='ImageLibrary'>\n");
        for (const auto& image : state.Images) {
            if (!image->Url.empty()) image->Write(out, 0);
        }
        out.Put("\t\t</ProtoInstance>\n");
    }

    out.Put("\t\t<ProtoInstance name='Library' DEF='AppearanceLibrary'>\n");
    for (AppearanceNode& appearance : state.Appearances) appearance.Write(out, 0);
    out.Put("\t\t</ProtoInstance>\n\n");

    out.Put("\t\t<ProtoInstance name='Library' DEF='MeshLibrary'>\n");
    for (MeshNode& mesh : state.MeshLibrary->Children()) {
        if (mesh.Data().Coordinates.empty()) continue;
        MarkProgress(kLibraryMeshMark);
        mesh.Write(out, 0);
    }
    out.Put("\t\t</ProtoInstance>\n\n");

    state.LibraryRoot->Write(out, 4);
}

}  // namespace morvane
