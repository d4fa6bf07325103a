// The kinds of element that tell why a document gave no output: the
// primitives that become meshes (so options must have left them out), and
// the geometry that nothing here reads.
#pragma once

#include <cstddef>
#include <string_view>

namespace morvane {

struct UnreadKind {
    std::string_view Element;
    // How the diagnostic names the kind.
    std::string_view Plural;
};

inline constexpr std::string_view kMeshPrimitives[] = {"triangles", "polylist", "polygons", "lines"};

// A skin or morph is reached through instance_controller, but its own
// element is what a document holds when it has one.
inline constexpr UnreadKind kUnreadKinds[] = {
    {"tristrips", "tristrips"}, {"trifans", "trifans"}, {"linestrips", "linestrips"},
    {"skin", "skins"},          {"morph", "morphs"},
};

// What a document held of those kinds.
struct SeenKinds {
    bool MeshPrimitive = false;
    // Bit k for kUnreadKinds[k].
    unsigned Unread = 0;

    void Note(std::string_view element) {
        for (std::string_view primitive : kMeshPrimitives) {
            if (element == primitive) MeshPrimitive = true;
        }
        for (std::size_t k = 0; k < std::size(kUnreadKinds); ++k) {
            if (element == kUnreadKinds[k].Element) Unread |= 1u << k;
        }
    }
};

}  // namespace morvane
