#include "support/name_index.h"

#include <bit>
#include <cstring>
#include <random>

namespace morvane {

namespace {

struct Key {
    std::uint64_t k0;
    std::uint64_t k1;
};

const Key& SecretKey() {
    static const Key key = [] {
        std::random_device device;
        auto draw = [&] { return (static_cast<std::uint64_t>(device()) << 32) ^ device(); };
        return Key{draw(), draw()};
    }();
    return key;
}

// SipHash-1-3: one compression round per word, three at the end.
struct SipState {
    std::uint64_t v0, v1, v2, v3;

    void Round() {
        v0 += v1;
        v1 = std::rotl(v1, 13) ^ v0;
        v0 = std::rotl(v0, 32);
        v2 += v3;
        v3 = std::rotl(v3, 16) ^ v2;
        v0 += v3;
        v3 = std::rotl(v3, 21) ^ v0;
        v2 += v1;
        v1 = std::rotl(v1, 17) ^ v2;
        v2 = std::rotl(v2, 32);
    }

    void Absorb(std::uint64_t word) {
        v3 ^= word;
        Round();
        v0 ^= word;
    }
};

}  // namespace

std::uint64_t KeyedHash(std::string_view bytes) {
    const Key& key = SecretKey();
    SipState s{key.k0 ^ 0x736f6d6570736575ull, key.k1 ^ 0x646f72616e646f6dull, key.k0 ^ 0x6c7967656e657261ull,
               key.k1 ^ 0x7465646279746573ull};
    const char* at = bytes.data();
    std::size_t left = bytes.size();
    for (; left >= 8; at += 8, left -= 8) {
        std::uint64_t word;
        std::memcpy(&word, at, 8);
        s.Absorb(word);
    }
    std::uint64_t last = static_cast<std::uint64_t>(bytes.size()) << 56;
    for (std::size_t i = 0; i < left; ++i) last |= static_cast<std::uint64_t>(static_cast<unsigned char>(at[i])) << (8 * i);
    s.Absorb(last);
    s.v2 ^= 0xff;
    s.Round();
    s.Round();
    s.Round();
    return s.v0 ^ s.v1 ^ s.v2 ^ s.v3;
}

std::uint64_t HashKey() { return SecretKey().k0; }

}  // namespace morvane
