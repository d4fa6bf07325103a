// A camera: the working record of the camera library, and the Viewpoint
// that each instance of a camera becomes.
#pragma once

#include <string>

#include "nodes/x3d_node.h"

namespace morvane {

class ViewpointNode : public NamedNode {
public:
    using NamedNode::NamedNode;
    void Write(TextOutput& out, int indent) override;

    std::string Id;
    double XFov = 45.0;
    double YFov = 35.0;
    double ZNear = 1.0;
    double ZFar = 1000.0;
};

}  // namespace morvane
