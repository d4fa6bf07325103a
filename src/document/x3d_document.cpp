// The frame of the X3D file: header, world info, background, the scene
// tree, the first animation, viewpoints and navigation, closing tags.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "animation/animation_node.h"
#include "events/central_object.h"
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

void X3dConverter::WriteIndentedNode(X3dNode& node, int indent) {
    std::fflush(OutputFile.Get());
    node.Write(OutputFile.Get(), indent);
}

void X3dConverter::Write() {
    OutputFile.Abandon();
    libraryIndex_.reset();
    // A document without a mesh gives no file at all; the driver tells why.
    if (!MeshLibrary || MeshLibrary->Children().empty()) return;
    OutputFile.SetLimit(OutputLimit(InputBytes));
    if (OpenOutput(OutputFileName) != kResultOk) throw UnreadableDocument(OutputFile.Failure());
    // A document refused half way leaves any earlier file as it was.
    try {
        WriteDocument();
    } catch (const WriteFailed&) {
        const std::string reason = OutputFile.Failure();
        OutputFile.Abandon();
        throw UnreadableDocument(reason);
    } catch (...) {
        OutputFile.Abandon();
        throw;
    }
    if (!OutputFile.Close()) throw UnreadableDocument(OutputFile.Failure());
    OutputWritten = true;
}

void X3dConverter::WriteDocument() {
    std::FILE* out = OutputFile.Get();

    std::fputs("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<X3D profile='Immersive'>\n", out);
    std::fputs("\t<Scene>\n", out);

    std::fputs("\t\t<WorldInfo info='\n", out);
    std::fprintf(out, "\t\t \"author   : %s\"\n", HandlerText(*this, "author").c_str());
    std::fprintf(out, "\t\t \"tool     : %s\"\n", HandlerText(*this, "authoring_tool").c_str());
    std::fprintf(out, "\t\t \"created  : %s\"\n", HandlerText(*this, "created").c_str());
    std::fprintf(out, "\t\t \"copyright: %s\"\n", HandlerText(*this, "copyright").c_str());
    std::fprintf(out, "\t\t \"comments : %s\"\n", HandlerText(*this, "comments").c_str());
    std::fputs("\t\t '/>\n", out);

    if (AutoBackground) {
        std::fputs("\t\t<Background DEF='AutoBackground' skyAngle='' skyColor='.35 .35 .35' groundAngle='' "
                   "groundColor='.3 .3 .3' />\n",
                   out);
    }
    if (ProtoLibraries) WriteLibraries();
    WriteIndentedNode(*SceneRoot, 2);
    if (!Animations.empty()) Animations.front()->Write(out, 2);
    WriteViewpoints();

    std::fputs("\t</Scene>\n", out);
    std::fputs("</X3D>\n", out);
}

}  // namespace morvane
