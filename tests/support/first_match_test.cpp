// Every list that is searched by name gives the first entry whose name is
// byte for byte the one asked for, as a plain walk over the entries in
// order does. The tests drive each list and such a walk with the same
// random adds, searches and clears, and require the same answer every time.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>

#include "appearance/appearance_node.h"
#include "geometry/mesh_node.h"
#include "geometry/source_arrays.h"
#include "nodes/x3d_node.h"
#include "scene/light_nodes.h"
#include "scene/viewpoint_node.h"
#include "support/name_index.h"

namespace morvane {
namespace {

// Names that differ only in what a careless index would overlook: case, a
// prefix, a trailing blank, an embedded NUL, emptiness.
const std::vector<std::string>& AwkwardNames() {
    static const std::vector<std::string> names{"", "a", "A", "ab", "a ", std::string("a\0b", 3), "b", "-array"};
    return names;
}

// Runs `steps` random operations on a list through `add(name)` (which adds
// an entry under that name and returns what a search must give for it),
// `find(name)` and `clear()`, and compares every search with the model.
template <class Add, class Find, class Clear>
void ExpectFirstMatches(Add add, Find find, Clear clear, unsigned seed, int steps = 400) {
    using Entry = decltype(add(std::string()));
    // The plain model: a walk over the entries in order.
    std::vector<std::pair<std::string, Entry>> model;
    const auto first = [&model](const std::string& name) {
        const auto found = std::find_if(model.begin(), model.end(), [&](const auto& entry) { return entry.first == name; });
        return found != model.end() ? found->second : Entry{};
    };
    std::mt19937 random(seed);
    const auto& names = AwkwardNames();
    for (int step = 0; step < steps; ++step) {
        const std::string& name = names[random() % names.size()];
        const unsigned action = random() % 20;
        if (action < 8) {
            model.emplace_back(name, add(name));
        } else if (action == 8) {
            model.clear();
            clear();
        }
        // A search after every step, including for names not added yet.
        for (const std::string& asked : names) {
            ASSERT_EQ(find(asked), first(asked)) << "step " << step << ", name '" << asked << "'";
        }
    }
}

TEST(NameChains, VisitTheEntriesOfANameInListOrder) {
    std::mt19937 random(2);
    const auto& names = AwkwardNames();
    for (int round = 0; round < 50; ++round) {
        std::vector<std::string> list(random() % 12);
        for (std::string& name : list) name = names[random() % names.size()];
        NameChains chains;
        chains.Build(list, [](const std::string& name) -> const std::string& { return name; });
        for (const std::string& name : names) {
            std::vector<std::size_t> expected;
            for (std::size_t i = 0; i < list.size(); ++i) {
                if (list[i] == name) expected.push_back(i);
            }
            std::vector<std::size_t> visited;
            for (std::size_t i = chains.First(name); i != NameChains::kEnd; i = chains.Next(i)) visited.push_back(i);
            EXPECT_EQ(visited, expected) << "round " << round << ", name '" << name << "'";
        }
    }
}

TEST(LightList, FindsTheFirstLightOfAnIdAndForgetsAllWhenEmptied) {
    std::deque<PointLightNode> made;
    LightList lights;
    ExpectFirstMatches(
        [&](const std::string& id) {
            LightNode* light = &made.emplace_back(nullptr);
            light->Id = id;
            lights.Add(light);
            return light;
        },
        [&](const std::string& id) { return lights.Find(id); }, [&] { lights.clear(); }, 5);
}

TEST(SourceList, FindsTheFirstArrayOfAnIdAndForgetsAllWhenEmptied) {
    SourceList sources;
    ExpectFirstMatches([&](const std::string& id) { return &sources.Add(std::make_unique<FloatArray>(id)); },
                             [&](const std::string& id) { return sources.Find(id); }, [&] { sources.clear(); }, 3);
}

// Each of the three searches of the appearances gives the first record in
// list order, whatever came before.
TEST(AppearanceLists, EachSearchFindsTheFirstRecordOfItsKey) {
    using Search = AppearanceNode* (AppearanceList::*)(std::string_view) const;
    using Key = std::string AppearanceNode::*;
    const std::pair<Key, Search> keys[] = {{&AppearanceNode::Name, &AppearanceList::FindByName},
                                           {&AppearanceNode::Id, &AppearanceList::FindById},
                                           {&AppearanceNode::EffectRef, &AppearanceList::FindByEffect}};
    unsigned seed = 10;
    for (const auto& [key, search] : keys) {
        AppearanceList list;
        int serial = 0;
        ExpectFirstMatches(
            [&](const std::string& name) {
                AppearanceNode record;
                // The other two keys vary too, and must not disturb this one.
                record.Name = record.Id = record.EffectRef = "other" + std::to_string(serial % 3);
                record.*key = name;
                record.Shininess = static_cast<float>(++serial);
                return &list.Add(record);
            },
            [&](const std::string& name) { return (list.*search)(name); }, [&] { list.clear(); }, ++seed);
    }
}

// A random tree of awkward names, up to `depth` levels below `parent`.
void Grow(TransformNode& parent, std::mt19937& random, int depth) {
    const auto& names = AwkwardNames();
    for (unsigned i = random() % 4; i > 0; --i) {
        auto& child = parent.Children.emplace_back(
            std::make_unique<TransformNode>(names[random() % names.size()], nullptr));
        if (depth > 1) Grow(*child, random, depth - 1);
    }
}

TEST(TransformNode, TheDescendantIndexFindsWhatTheSearchFinds) {
    std::mt19937 random(20);
    for (int round = 0; round < 100; ++round) {
        TransformNode root("", nullptr);
        Grow(root, random, 4);
        const DescendantIndex index(root);
        for (const std::string& name : AwkwardNames()) {
            EXPECT_EQ(index.Find(name), root.FindDescendant(name)) << "round " << round << ", '" << name << "'";
        }
    }
}

TEST(TransformNode, FindInstanceGivesTheFirstShapeOfAName) {
    auto node = std::make_unique<TransformNode>("n", nullptr);
    std::deque<ShapeNode> shapes;
    std::deque<ViewpointNode> viewpoints;
    ExpectFirstMatches(
        [&](const std::string& name) {
            // A viewpoint of the same name stands before it and must not be found.
            ViewpointNode& viewpoint = viewpoints.emplace_back(nullptr);
            viewpoint.Name = name;
            node->AddInstance(&viewpoint);
            ShapeNode* shape = &shapes.emplace_back(nullptr, name);
            node->AddInstance(shape);
            return shape;
        },
        [&](const std::string& name) { return node->FindInstance(name); },
        [&] { node = std::make_unique<TransformNode>("n", nullptr); }, 21);
}

}  // namespace
}  // namespace morvane
