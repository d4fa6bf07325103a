// The X3D Appearance element with its Material, ImageTexture and
// MultiTexture children.
#include <cstdio>
#include <span>

#include "appearance/appearance_node.h"
#include "events/central_object.h"
#include "support/number_text.h"

namespace morvane {

namespace {

// COLLADA shininess runs from 0 to 100 and X3D's from 0 to 1; the factor is
// a 32-bit constant, widened, so the product carries its rounding.
constexpr float kShininessScale = 0.01f;

}  // namespace

void ImageTextureNode::Format(std::string& out) {
    if (Written) {
        out = "<ImageTexture  containerField='texture' USE='IT_" + Id + "' />\n";
        return;
    }
    out = "<ImageTexture containerField='texture' DEF='IT_" + Id + "' url='" + Url + "'/>\n";
    Written = true;
}

void AppearanceNode::Write(std::FILE* stream, int indent) {
    WriteTabs(stream, indent);
    if (Written) {
        std::fprintf(stream, "<Appearance containerField='appearance' USE='%s'/>\n", Name.c_str());
        return;
    }
    Written = true;
    std::fprintf(stream, "<Appearance containerField='appearance' DEF='%s'>\n", Name.c_str());

    const bool sketchUp = Document != nullptr && Document->ToolIsSketchUp;
    const bool forceMaterials = Document != nullptr && Document->ForceMaterials;
    // SketchUp models carry their colour in the texture; a Material beside it
    // would tint the image, unless the user asks for materials anyway.
    if (!(sketchUp && !forceMaterials && !DiffuseTexture.Texture.empty())) WriteMaterial(stream, indent + 1);

    if (!DiffuseTexture.Texture.empty()) {
        if (AmbientTexture.Texture.empty()) {
            WriteTexture(stream, DiffuseTexture, indent + 1);
        } else {
            WriteTabs(stream, indent + 1);
            std::fputs("<MultiTexture  containerField='texture' mode='\"MODULATE\" \"MODULATE\"'>\n", stream);
            WriteTexture(stream, DiffuseTexture, indent + 2);
            WriteTexture(stream, AmbientTexture, indent + 2);
            WriteTabs(stream, indent + 1);
            std::fputs("</MultiTexture>\n", stream);
        }
    }

    WriteTabs(stream, indent);
    std::fputs("</Appearance>\n", stream);
}

void AppearanceNode::WriteMaterial(std::FILE* stream, int indent) {
    WriteTabs(stream, indent);
    const auto rgb = [](const Color4& color) { return FormatNumbers(std::span(color).first<3>()); };
    std::fprintf(stream,
                 "<Material containerField='material' DEF='MAT_%s' diffuseColor='%s' emissiveColor='%s' "
                 "transparency='%s' shininess='%s'/>\n",
                 Name.c_str(), rgb(DiffuseColor).c_str(), rgb(EmissionColor).c_str(),
                 FormatNumbers({static_cast<double>(Transparency)}).c_str(),
                 FormatNumbers({static_cast<double>(Shininess) * static_cast<double>(kShininessScale)}).c_str());
}

void AppearanceNode::WriteTexture(std::FILE* stream, const TextureSlot& slot, int indent) {
    // Without a document there are no images to find.
    if (Document == nullptr) return;
    ImageTextureNode* image = ResolveTexture(Document->Images, Document->NewParams, slot.Texture);
    if (image != nullptr) image->Write(stream, indent + 1);
}

}  // namespace morvane
