#include "scene/light_nodes.h"

#include <span>

#include "support/number_text.h"

namespace morvane {

void LightList::Add(LightNode* light) {
    lights_.push_back(light);
    byId_.Note(light->Id, light);
}

void LightList::clear() {
    byId_.Clear();
    lights_.clear();
}

void DirectionalLightNode::Write(std::FILE*, int) {}

void PointLightNode::Write(std::FILE* stream, int indent) {
    WriteTabs(stream, indent);
    if (Written) {
        std::fprintf(stream, "\t\t\t<PointLight USE='%s'/>\n", Name.c_str());
        return;
    }
    Written = true;
    std::fputs("<PointLight", stream);
    if (!Name.empty()) std::fprintf(stream, " DEF='%s'", Name.c_str());
    std::fprintf(stream, " color='%s'", FormatNumbers(std::span(Color).first<3>()).c_str());
    std::fprintf(stream, " attenuation='%s'",
                 FormatNumbers({ConstantAttenuation, LinearAttenuation, QuadraticAttenuation}).c_str());
    std::fputs("/>\n", stream);
}

}  // namespace morvane
