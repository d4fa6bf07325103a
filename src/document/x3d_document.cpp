// The frame of the X3D file: header, world info, background, the scene
// tree, the first animation, viewpoints and navigation, closing tags.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "animation/animation_node.h"
#include "document/x3d_converter.h"
#include "geometry/mesh_node.h"

namespace morvane {

namespace {

// Like an amplification limit of a parser: the output may be 100 times as
// large as the document, and never need be smaller than 64 MiB.
std::uint64_t OutputLimit(std::uint64_t inputBytes) {
    constexpr std::uint64_t kFloor = std::uint64_t{64} << 20;
    constexpr std::uint64_t kFactor = 100;
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    return inputBytes > kMost / kFactor ? kMost : std::max(kFloor, kFactor * inputBytes);
}

const std::string& HandlerText(const ColladaReader& reader, const char* name) {
    static const std::string kNone;
    const TagHandler* handler = reader.FindHandler(name);
    return handler != nullptr ? handler->Text : kNone;
}

}  // namespace

void X3dConverter::Write() {
    DocumentState& state = State();
    state.LibraryIndex.reset();
    // A document without a mesh gives no output at all; the driver tells why.
    if (!state.MeshLibrary || state.MeshLibrary->Children().empty()) return;
    if (Output == nullptr) throw ConversionError(ErrorKind::kInternalError, "internal error: no output");
    OutputSink& sink = *Output;
    sink.Begin();
    // A document refused half way leaves any earlier output as it was.
    try {
        TextOutput out(sink, OutputLimit(state.InputBytes));
        WriteDocument(out);
        out.Flush();
    } catch (...) {
        sink.Abandon();
        throw;
    }
    sink.Commit();
    state.OutputWritten = true;
}

void X3dConverter::WriteDocument(TextOutput& out) {
    out.Put("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<X3D profile='Immersive'>\n");
    out.Put("\t<Scene>\n");

    out.Put("\t\t<WorldInfo info='\n");
    const std::pair<const char*, const char*> lines[] = {{"author", "author   "},
                                                         {"authoring_tool", "tool     "},
                                                         {"created", "created  "},
                                                         {"copyright", "copyright"},
                                                         {"comments", "comments "}};
    for (const auto& [element, label] : lines) {
        out.Put("\t\t \"");
        out.Put(label);
        out.Put(": ");
        out.PutString(HandlerText(*this, element));
        out.Put("\"\n");
    }
    out.Put("\t\t '/>\n");

    if (Options.AutoBackground) {
        out.Put("\t\t<Background DEF='AutoBackground' skyAngle='' skyColor='.35 .35 .35' groundAngle='' "
                "groundColor='.3 .3 .3' />\n");
    }
    if (Options.ProtoLibraries) WriteLibraries(out);
    State().SceneRoot->Write(out, 2);
    if (!State().Animations.empty()) State().Animations.front()->Write(out, 2);
    WriteViewpoints(out);

    out.Put("\t</Scene>\n");
    out.Put("</X3D>\n");
}

}  // namespace morvane
