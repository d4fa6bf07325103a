#include "scene/viewpoint_node.h"

namespace morvane {

void ViewpointNode::Write(TextOutput& out, int indent) {
    out.PutTabs(indent);
    if (Written) {
        out.Put("<Viewpoint containerField='children' USE='");
        out.PutString(Name);
        out.Put("'/>\n");
        return;
    }
    Written = true;
    out.Put("<Viewpoint containerField='children' DEF='");
    out.PutString(Name);
    out.Put("' description='");
    out.PutString(Name);
    out.Put("'/>\n");
}

}  // namespace morvane
