#include "scene/light_nodes.h"

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
    std::fflush(stream);
    WriteTabs(stream, indent);
    if (Written) {
        std::fprintf(stream, "\t\t\t<PointLight USE='%s'/>\n", Name.c_str());
        return;
    }
    Written = true;
    std::fputs("<PointLight", stream);
    if (!Name.empty()) std::fprintf(stream, " DEF='%s'", Name.c_str());
    std::fprintf(stream, " color='%lg %lg %lg'", static_cast<double>(Color[0]), static_cast<double>(Color[1]),
                 static_cast<double>(Color[2]));
    std::fprintf(stream, " attenuation='%lg %lg %lg'", ConstantAttenuation, LinearAttenuation, QuadraticAttenuation);
    std::fputs("/>\n", stream);
}

}  // namespace morvane
