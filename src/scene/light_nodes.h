// Lights of the light library. Point lights are written; directional
// lights are read and instanced but leave no trace in the file.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "nodes/x3d_node.h"
#include "support/name_index.h"

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
    void Write(TextOutput& out, int indent) override;
};

class PointLightNode : public LightNode {
public:
    using LightNode::LightNode;
    void Write(TextOutput& out, int indent) override;

    double ConstantAttenuation = 1.0;
    double LinearAttenuation = 0.0;
    double QuadraticAttenuation = 0.0;
};

// The lights of the light library, in the order of their creation, found
// again by id: the first light that bears an id is found. A light's Id is
// its key from the moment it is added.
class LightList {
public:
    void Add(LightNode* light);
    // The first light whose Id equals `id`, or null.
    LightNode* Find(std::string_view id) const { return byId_.Find(id, nullptr); }

    bool empty() const { return lights_.empty(); }
    std::size_t size() const { return lights_.size(); }
    LightNode* operator[](std::size_t i) const { return lights_[i]; }
    // Forgets the lights; they stay with the document.
    void clear();

private:
    std::vector<LightNode*> lights_;
    NameIndex<LightNode*> byId_;
};

}  // namespace morvane
