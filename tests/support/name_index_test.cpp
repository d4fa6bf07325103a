#include "support/name_index.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "lookup_model.h"

namespace morvane {
namespace {

TEST(NameChains, VisitTheEntriesOfANameInListOrder) {
    std::mt19937 random(2);
    const auto& names = test::AwkwardNames();
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

}  // namespace
}  // namespace morvane
