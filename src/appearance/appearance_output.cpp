// The X3D Appearance element with its Material, ImageTexture and
// MultiTexture children.
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

void AppearanceNode::Write(TextOutput& out, int indent) {
    out.PutTabs(indent);
    if (Written) {
        out.Put("<Appearance containerField='appearance' USE='");
        out.PutString(Name);
        out.Put("'/>\n");
        return;
    }
    Written = true;
    out.Put("<Appearance containerField='appearance' DEF='");
    out.PutString(Name);
    out.Put("'>\n");

    const bool sketchUp = Document != nullptr && Document->State().ToolIsSketchUp;
    const bool forceMaterials = Document != nullptr && Document->Options.ForceMaterials;
    // SketchUp models carry their colour in the texture; a Material beside it
    // would tint the image, unless the user asks for materials anyway.
    if (!(sketchUp && !forceMaterials && !DiffuseTexture.Texture.empty())) WriteMaterial(out, indent + 1);

    if (!DiffuseTexture.Texture.empty()) {
        if (AmbientTexture.Texture.empty()) {
            WriteTexture(out, DiffuseTexture, indent + 1);
        } else {
            out.PutTabs(indent + 1);
            out.Put("<MultiTexture  containerField='texture' mode='\"MODULATE\" \"MODULATE\"'>\n");
            WriteTexture(out, DiffuseTexture, indent + 2);
            WriteTexture(out, AmbientTexture, indent + 2);
            out.PutTabs(indent + 1);
            out.Put("</MultiTexture>\n");
        }
    }

    out.PutTabs(indent);
    out.Put("</Appearance>\n");
}

void AppearanceNode::WriteMaterial(TextOutput& out, int indent) {
    out.PutTabs(indent);
    const auto rgb = [](const Color4& color) { return FormatNumbers(std::span(color).first<3>()); };
    out.Put("<Material containerField='material' DEF='MAT_");
    out.PutString(Name);
    out.Put("' diffuseColor='");
    out.Put(rgb(DiffuseColor));
    out.Put("' emissiveColor='");
    out.Put(rgb(EmissionColor));
    out.Put("' transparency='");
    out.PutNumber(static_cast<double>(Transparency));
    out.Put("' shininess='");
    out.PutNumber(static_cast<double>(Shininess) * static_cast<double>(kShininessScale));
    out.Put("'/>\n");
}

void AppearanceNode::WriteTexture(TextOutput& out, const TextureSlot& slot, int indent) {
    // Without a document there are no images to find.
    if (Document == nullptr) return;
    ImageTextureNode* image = ResolveTexture(Document->State().Images, Document->State().NewParams, slot.Texture);
    if (image != nullptr) image->Write(out, indent + 1);
}

}  // namespace morvane
