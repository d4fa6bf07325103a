// Finds the entries of a list again by name, as a walk over the list in
// order would: names compare byte for byte over their whole length, and the
// first entry noted under a name wins over every later one. The hash is
// keyed afresh for every run, so that no document can be written to make
// its names collide.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace morvane {

// A hash of `bytes` under this run's secret key.
std::uint64_t KeyedHash(std::string_view bytes);
// This run's secret key, for hashes of values other than names.
std::uint64_t HashKey();

struct KeyedNameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const { return static_cast<std::size_t>(KeyedHash(name)); }
};

template <class Value>
class NameIndex {
public:
    // Notes `value` under `name`, unless an earlier entry holds that name.
    void Note(std::string_view name, Value value) {
        if (entries_.find(name) == entries_.end()) entries_.emplace(std::string(name), value);
    }
    // The value of the first entry noted under `name`, or `absent`.
    Value Find(std::string_view name, Value absent = Value{}) const {
        const auto found = entries_.find(name);
        return found == entries_.end() ? absent : found->second;
    }
    void Clear() { entries_.clear(); }

private:
    std::unordered_map<std::string, Value, KeyedNameHash, std::equal_to<>> entries_;
};

// The positions of a list's entries grouped by name, in list order: a walk
// over the entries of one name visits just those, as a walk over the whole
// list comparing names would. Names are viewed, not copied: rebuild the
// chains whenever the list changes.
class NameChains {
public:
    static constexpr std::size_t kEnd = static_cast<std::size_t>(-1);

    // `nameOf(list[i])` gives the name of entry i.
    template <class List, class NameOf>
    void Build(const List& list, NameOf nameOf) {
        first_.clear();
        next_.assign(list.size(), kEnd);
        // Walking backwards, each entry links to the one of its name seen
        // last, which is the next one in list order.
        for (std::size_t i = list.size(); i-- > 0;) {
            const auto [first, fresh] = first_.try_emplace(std::string_view(nameOf(list[i])), i);
            if (!fresh) {
                next_[i] = first->second;
                first->second = i;
            }
        }
    }

    std::size_t First(std::string_view name) const {
        const auto found = first_.find(name);
        return found == first_.end() ? kEnd : found->second;
    }
    std::size_t Next(std::size_t position) const { return next_[position]; }

private:
    std::unordered_map<std::string_view, std::size_t, KeyedNameHash, std::equal_to<>> first_;
    std::vector<std::size_t> next_;
};

}  // namespace morvane
