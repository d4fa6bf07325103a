// Proto libraries: images, appearances and meshes written once, with DEF,
// ahead of the scene, which then refers to them with USE.
#include <cstdio>

#include "events/central_object.h"
#include "geometry/mesh_node.h"

namespace morvane {

void X3dConverter::WriteLibraries() {
    std::FILE* out = OutputFile.Get();
    std::fputs("\t\t<ProtoDeclare name='Library'>\n", out);
    std::fputs("\t\t\t<ProtoInterface>\n", out);
    std::fputs("\t\t\t\t<field name='contents' type='MFNode' accessType='inputOutput'/>\n", out);
    std::fputs("\t\t\t</ProtoInterface>\n", out);
    std::fputs("\t\t</ProtoDeclare>\n", out);

    if (!Images.empty()) {
        std::fputs("\t\t<ProtoInstance name='Library' DEF='ImageLibrary'>\n", out);
        for (const auto& image : Images) {
            if (!image->Url.empty()) image->Write(out, 0);
        }
        std::fputs("\t\t</ProtoInstance>\n", out);
    }

    std::fputs("\t\t<ProtoInstance name='Library' DEF='AppearanceLibrary'>\n", out);
    for (AppearanceNode& appearance : Appearances) appearance.Write(out, 0);
    std::fputs("\t\t</ProtoInstance>\n\n", out);

    std::fputs("\t\t<ProtoInstance name='Library' DEF='MeshLibrary'>\n", out);
    for (const auto& mesh : MeshLibrary->Children()) {
        if (mesh->Coordinates.empty()) continue;
        std::fputs("!", stdout);
        mesh->Write(out, 0);
    }
    std::fputs("\t\t</ProtoInstance>\n\n", out);

    WriteIndentedNode(*LibraryRoot, 4);
}

}  // namespace morvane
