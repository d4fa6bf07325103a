#include "scene/viewpoint_node.h"

namespace morvane {

void ViewpointNode::Write(std::FILE* stream, int indent) {
    WriteTabs(stream, indent);
    if (Written) {
        std::fprintf(stream, "<Viewpoint containerField='children' USE='%s'/>\n", Name.c_str());
        return;
    }
    Written = true;
    std::fprintf(stream, "<Viewpoint containerField='children' DEF='%s' description='%s'/>\n", Name.c_str(),
                 Name.c_str());
}

}  // namespace morvane
