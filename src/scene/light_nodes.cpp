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

void DirectionalLightNode::Write(TextOutput&, int) {}

void PointLightNode::Write(TextOutput& out, int indent) {
    out.PutTabs(indent);
    if (Written) {
        out.Put("\t\t\t<PointLight USE='");
        out.PutString(Name);
        out.Put("'/>\n");
        return;
    }
    Written = true;
    out.Put("<PointLight");
    if (!Name.empty()) {
        out.Put(" DEF='");
        out.PutString(Name);
        out.Put('\'');
    }
    out.Put(" color='");
    out.Put(FormatNumbers(std::span(Color).first<3>()));
    out.Put("' attenuation='");
    out.Put(FormatNumbers({ConstantAttenuation, LinearAttenuation, QuadraticAttenuation}));
    out.Put("'/>\n");
}

}  // namespace morvane
