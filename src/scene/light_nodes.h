// Lights of the light library. Point lights are written; directional
// lights are read and instanced but leave no trace in the file.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "nodes/x3d_node.h"

namespace morvane {

class LightNode : public NamedNode {
public:
    using NamedNode::NamedNode;

    std::string Id;
    std::array<float, 4> Color{0.8f, 0.8f, 0.8f, 1.0f};
};

class DirectionalLightNode : public LightNode {
public:
    using LightNode::LightNode;
    void Write(std::FILE* stream, int indent) override;
};

class PointLightNode : public LightNode {
public:
    using LightNode::LightNode;
    void Write(std::FILE* stream, int indent) override;

    double ConstantAttenuation = 1.0;
    double LinearAttenuation = 0.0;
    double QuadraticAttenuation = 0.0;
};

// The first light whose Id equals `id`, or null.
LightNode* FindLight(const std::vector<LightNode*>& lights, const std::string& id);

}  // namespace morvane
