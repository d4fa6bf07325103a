#include <gtest/gtest.h>

#include <deque>

#include "lookup_model.h"
#include "scene/light_nodes.h"

namespace morvane {
namespace {

TEST(LightList, FindsTheFirstLightOfAnIdAndForgetsAllWhenEmptied) {
    std::deque<PointLightNode> made;
    LightList lights;
    test::ExpectFirstMatches(
        [&](const std::string& id) {
            LightNode* light = &made.emplace_back(nullptr);
            light->Id = id;
            lights.Add(light);
            return light;
        },
        [&](const std::string& id) { return lights.Find(id); }, [&] { lights.clear(); }, 5);
}

}  // namespace
}  // namespace morvane
