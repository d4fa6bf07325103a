// Handlers of geometries: number arrays, inputs and primitives.
#pragma once

#include "events/tag_handler.h"

namespace morvane {

// <library_geometries>
class LibraryGeometriesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <geometry>
class GeometryHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <mesh>
class MeshHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <float_array>
class FloatArrayHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <technique_common>
class TechniqueCommonHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <accessor>
class AccessorHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <param>
class ParamHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <vertices>
class VerticesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <input>
class InputHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <triangles>
class TrianglesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <polygons>
class PolygonsHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <polylist>
class PolylistHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <vcount>
class VcountHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <p>
class PHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

// <lines>
class LinesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
};

}  // namespace morvane
