// Handlers of the parts of a geometry that primitives read from: the
// geometry's id, number arrays, accessors and inputs.
#pragma once

#include <cstddef>
#include <string>

#include "events/tag_handler.h"
#include "geometry/source_arrays.h"
#include "support/narrow_text.h"

namespace morvane {

// Elements known by name only: context for other elements, or text
// that others read.
class LibraryGeometriesHandler : public TagHandler { public: using TagHandler::TagHandler; };
class MeshHandler : public TagHandler { public: using TagHandler::TagHandler; };
class TechniqueCommonHandler : public TagHandler { public: using TagHandler::TagHandler; };

// <geometry>: its id names the meshes of its primitives.
class GeometryHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
};

// An element whose text is a list of numbers, read by a `Reader`
// (FloatListReader, IntListReader) as the text arrives: nothing reads the
// text itself, so the element's Text stays empty.
template <class Reader>
class NumberListHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    void AppendText(const char* chars, std::size_t count) override {
        numbers_.Feed(NarrowView({chars, count}, narrowed_));
    }
    void ClearText() override { numbers_.Clear(); }

protected:
    Reader numbers_;

private:
    std::string narrowed_;
};

// <float_array>: one array of Sources per element, filled at its end.
class FloatArrayHandler : public NumberListHandler<FloatListReader> {
public:
    using NumberListHandler::NumberListHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;
};

// <accessor>: geometry reads arrays by convention, so an accessor matters
// only to the source of an animation.
class AccessorHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;
    bool End(const std::string& name) override;

    std::string Source;
    std::string Offset;
    std::string Count;
    std::string Stride;
};

// <param>: the last one seen reaches the accessor.
class ParamHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    std::string Name;
    std::string Type;
};

// <vertices>: only its being open counts, to the inputs inside it.
class VerticesHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    std::string Id;
};

// <input>: a channel of a primitive, the position source of a mesh, or an
// input of an animation sampler, depending on what is open.
class InputHandler : public TagHandler {
public:
    using TagHandler::TagHandler;
    bool Start(const std::string& name, const AttributeList& attributes) override;

    std::string Semantic;
    std::string Source;
    std::string Offset;

private:
    void SetPrimitiveChannel(int offset);
};

}  // namespace morvane
