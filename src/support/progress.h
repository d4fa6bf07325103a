// Marks that tell a user waiting for a large document that the work goes
// on. A conversion hands them to a ProgressSink: the program prints them,
// one character each, where a library drops them or passes them on.
#pragma once

#include <cstdint>

namespace morvane {

// Every kFacesPerMark faces read from a triangles element, and every
// kFacesPerMark faces welded into a mesh.
inline constexpr char kFacesMark = '.';
inline constexpr std::int64_t kFacesPerMark = 128;
// Each node written below another.
inline constexpr char kNodeMark = '+';
// Each mesh written into the proto library.
inline constexpr char kLibraryMeshMark = '!';

class ProgressSink {
public:
    virtual ~ProgressSink() = default;
    virtual void Mark(char mark) = 0;
};

}  // namespace morvane
