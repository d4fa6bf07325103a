// Finds the entries of a list again by name, as a walk over the list in
// order would: names compare byte for byte over their whole length, and the
// first entry noted under a name wins over every later one. The hash is
// keyed afresh for every run, so that no document can be written to make
// its names collide.
#pragma once

#include <bit>
#include <cassert>
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

// An open-addressing table in one array. Names are viewed, not copied: a
// name must stay where it is, unchanged, for as long as it is noted, which
// holds for the ids of records that the lists keep in place.
template <class Value>
class NameIndex {
public:
    // Notes `value` under `name`, unless an earlier entry holds that name.
    void Note(std::string_view name, Value value) {
        // A slot keeps the length in 32 bits; the reader refuses any text
        // long enough to break that before a name could reach here.
        assert(name.size() <= UINT32_MAX && "a name fits its slot's 32-bit length");
        if (2 * (count_ + 1) > slots_.size()) Grow();
        const std::uint64_t hash = KeyedHash(name);
        Slot& slot = slots_[Probe(name, hash)];
        if (slot.Used()) return;
        slot = {name.data() != nullptr ? name.data() : "", static_cast<std::uint32_t>(name.size()),
                static_cast<std::uint32_t>(hash >> 32), value};
        ++count_;
    }
    // The value of the first entry noted under `name`, or `absent`.
    Value Find(std::string_view name, Value absent = Value{}) const {
        if (count_ == 0) return absent;
        const Slot& slot = slots_[Probe(name, KeyedHash(name))];
        return slot.Used() ? slot.Entry : absent;
    }
    void Clear() {
        slots_.clear();
        count_ = 0;
    }

private:
    struct Slot {
        const char* Name = nullptr;  // null: a free slot
        std::uint32_t Size = 0;
        // The upper half of the hash, which the position does not show.
        std::uint32_t Check = 0;
        Value Entry{};

        bool Used() const { return Name != nullptr; }
        bool Holds(std::string_view name, std::uint32_t check) const {
            return Check == check && Size == name.size() && std::string_view(Name, Size) == name;
        }
    };

    // Where the slot that holds `name` is, or the free slot where it would go.
    std::size_t Probe(std::string_view name, std::uint64_t hash) const {
        assert(std::has_single_bit(slots_.size()));
        const std::size_t mask = slots_.size() - 1;
        const auto check = static_cast<std::uint32_t>(hash >> 32);
        for (std::size_t at = static_cast<std::size_t>(hash) & mask;; at = (at + 1) & mask) {
            const Slot& slot = slots_[at];
            if (!slot.Used() || slot.Holds(name, check)) return at;
        }
    }

    void Grow() {
        std::vector<Slot> old(slots_.empty() ? 16 : 2 * slots_.size());
        old.swap(slots_);
        const std::size_t mask = slots_.size() - 1;
        for (const Slot& slot : old) {
            if (!slot.Used()) continue;
            std::size_t at = static_cast<std::size_t>(KeyedHash({slot.Name, slot.Size})) & mask;
            while (slots_[at].Used()) at = (at + 1) & mask;
            slots_[at] = slot;
        }
    }

    std::vector<Slot> slots_;
    std::size_t count_ = 0;
};

// A small table of the converter's own names, filled once and then only
// searched: open addressing with a cheap hash, since a name from a
// document can only miss, never crowd the table.
template <class Value>
class FixedNameTable {
public:
    // Adds a name that the table does not hold yet.
    void Add(std::string_view name, Value value) {
        assert(Find(name) == Value{} && "names in a fixed table are unique");
        if (2 * (count_ + 1) > slots_.size()) Rehash(slots_.empty() ? 64 : 2 * slots_.size());
        Place(name, value);
        ++count_;
    }
    Value Find(std::string_view name) const {
        if (slots_.empty()) return Value{};
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t at = Hash(name) & mask;; at = (at + 1) & mask) {
            const Slot& slot = slots_[at];
            if (slot.Name.data() == nullptr) return Value{};
            if (slot.Name == name) return slot.Entry;
        }
    }
    void Clear() {
        slots_.clear();
        count_ = 0;
    }

private:
    struct Slot {
        std::string_view Name;  // null data: empty
        Value Entry{};
    };

    static std::size_t Hash(std::string_view name) {
        std::uint64_t h = 0xcbf29ce484222325ull;
        for (const char c : name) h = (h ^ static_cast<unsigned char>(c)) * 0x100000001b3ull;
        return static_cast<std::size_t>(h ^ (h >> 32));
    }
    void Place(std::string_view name, Value value) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = Hash(name) & mask;
        while (slots_[at].Name.data() != nullptr) at = (at + 1) & mask;
        slots_[at] = {name, value};
    }
    void Rehash(std::size_t size) {
        assert(std::has_single_bit(size));
        std::vector<Slot> old(size);
        old.swap(slots_);
        for (const Slot& slot : old) {
            if (slot.Name.data() != nullptr) Place(slot.Name, slot.Entry);
        }
    }

    std::vector<Slot> slots_;
    std::size_t count_ = 0;
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
