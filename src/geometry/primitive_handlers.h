// Handlers of the primitives that become meshes: triangles, polylists,
// polygons and lines, with the vcount and p lists they read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "events/tag_handler.h"
#include "geometry/source_handlers.h"

namespace morvane {

class MeshNode;

// What triangles, polylist and polygons share: the offsets of their three
// channels in an index tuple, set by the inputs inside them, and the start
// that creates their mesh.
class PrimitiveHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    // How many of the three channels have an offset: the tuple width.
    int TupleWidth() const;
    void ResetOffsets();
    // Takes the index list of the ending element into `list` and gives the
    // mesh it builds; without one, the offsets are reset and null is given.
    MeshNode* TakeIndexList(std::vector<std::int32_t>& list);

    std::int32_t VertexOffset = -1;
    std::int32_t NormalOffset = -1;
    std::int32_t TexcoordOffset = -1;
    std::string Count;
    std::string Material;
};

// <triangles>: all faces built at its end, `count` of them.
class TrianglesHandler : public PrimitiveHandler {
public:
    using PrimitiveHandler::PrimitiveHandler;
    bool End(const std::string& name) override;
};

// <polygons>: one face at the end of each p inside it.
class PolygonsHandler : public PrimitiveHandler {
public:
    using PrimitiveHandler::PrimitiveHandler;
    bool End(const std::string& name) override;
};

// <polylist>: all faces built at its end, one per vcount entry.
class PolylistHandler : public PrimitiveHandler {
public:
    using PrimitiveHandler::PrimitiveHandler;
    bool End(const std::string& name) override;
};

// An element whose text is a list of integers: p and vcount. A later
// element takes the list, which empties it.
class IntListHandler : public NumberListHandler<IntListReader> {
public:
    using NumberListHandler::NumberListHandler;
    // Replaces `out` with the integers of the text, which is then forgotten.
    void TakeInts(std::vector<std::int32_t>& out) { numbers_.Finish(out); }
};

// <vcount>: its list is read by the polylist end.
class VcountHandler : public IntListHandler {
public:
    using IntListHandler::IntListHandler;
};

// <p>: inside polygons one face; elsewhere its list waits for the end of
// the primitive around it.
class PHandler : public IntListHandler {
public:
    using IntListHandler::IntListHandler;
    bool End(const std::string& name) override;
};

// <lines>: one two-corner face per pair of positions.
class LinesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;

    std::string Material;
};

}  // namespace morvane
