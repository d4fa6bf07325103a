// A plain model of a list that is searched by name: a walk over the entries
// in order, the first whose name is byte for byte the one asked for wins.
// The tests drive an indexed list and this model with the same random
// adds, searches and clears, and require the same answer every time.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

namespace morvane::test {

// Names that differ only in what a careless index would overlook: case, a
// prefix, a trailing blank, an embedded NUL, emptiness.
inline const std::vector<std::string>& AwkwardNames() {
    static const std::vector<std::string> names{"", "a", "A", "ab", "a ", std::string("a\0b", 3), "b", "-array"};
    return names;
}

template <class Entry>
class FirstMatchModel {
public:
    void Add(std::string name, Entry entry) { entries_.emplace_back(std::move(name), entry); }
    void Clear() { entries_.clear(); }
    Entry Find(const std::string& name) const {
        for (const auto& [key, entry] : entries_) {
            if (key == name) return entry;
        }
        return Entry{};
    }

private:
    std::vector<std::pair<std::string, Entry>> entries_;
};

// Runs `steps` random operations on a list through `add(name)` (which adds
// an entry under that name and returns what a search must give for it),
// `find(name)` and `clear()`, and compares every search with the model.
template <class Add, class Find, class Clear>
void ExpectFirstMatches(Add add, Find find, Clear clear, unsigned seed, int steps = 400) {
    using Entry = decltype(add(std::string()));
    FirstMatchModel<Entry> model;
    std::mt19937 random(seed);
    const auto& names = AwkwardNames();
    for (int step = 0; step < steps; ++step) {
        const std::string& name = names[random() % names.size()];
        const unsigned action = random() % 20;
        if (action < 8) {
            model.Add(name, add(name));
        } else if (action == 8) {
            model.Clear();
            clear();
        }
        // A search after every step, including for names not added yet.
        for (const std::string& asked : names) {
            ASSERT_EQ(find(asked), model.Find(asked)) << "step " << step << ", name '" << asked << "'";
        }
    }
}

}  // namespace morvane::test
