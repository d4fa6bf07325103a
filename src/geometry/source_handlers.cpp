#include "geometry/source_handlers.h"

#include "animation/animation_node.h"
#include "events/central_object.h"
#include "geometry/mesh_node.h"
#include "geometry/primitive_handlers.h"
#include "geometry/source_arrays.h"
#include "support/number_text.h"

namespace morvane {

bool GeometryHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "id", Owner().State().CurrentGeometryId);
    return true;
}

bool FloatArrayHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    Owner().State().Sources.Add(std::make_unique<FloatArray>(GetAttribute(attributes, "id")));
    return true;
}

bool FloatArrayHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    auto& sources = Owner().State().Sources;
    if (sources.empty()) {
        numbers_.Clear();
    } else {
        numbers_.Finish(sources.back().Values);
    }
    return true;
}

bool AccessorHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    Source = GetReference(attributes, "source");
    GetAttributeString(attributes, "offset", Offset);
    GetAttributeString(attributes, "count", Count);
    GetAttributeString(attributes, "stride", Stride);
    return true;
}

bool AccessorHandler::End(const std::string& name) {
    if (!MatchEnd(name)) return false;
    ColladaReader& owner = Owner();
    AnimationNode* animation = owner.CurrentAnimation();
    if (animation == nullptr || animation->SourceRecords.empty()) return true;

    SourceAccessor& accessor = animation->SourceRecords.back().Accessor;
    if (const auto* param = owner.FindHandlerAs<ParamHandler>("param")) {
        accessor.Param.Name = param->Name;
        accessor.Param.Type = param->Type;
    }
    // A value that does not convert keeps what the field had.
    ScanInt(Count, accessor.Count);
    ScanInt(Offset, accessor.Offset);
    ScanInt(Stride, accessor.Stride);
    accessor.SourceId = Source;
    return true;
}

bool ParamHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "type", Type);
    GetAttributeString(attributes, "name", Name);
    return true;
}

bool VerticesHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "id", Id);
    return true;
}

bool InputHandler::Start(const std::string& name, const AttributeList& attributes) {
    if (!MatchStart(name)) return false;
    GetAttributeString(attributes, "semantic", Semantic);
    GetAttributeString(attributes, "source", Source);
    GetAttributeString(attributes, "offset", Offset);
    std::int32_t offset = -1;
    if (!Offset.empty()) ScanInt(Offset, offset);

    ColladaReader& owner = Owner();
    const bool inPrimitive =
        owner.IsTagOpen("triangles") || owner.IsTagOpen("polygons") || owner.IsTagOpen("polylist");
    if (inPrimitive && owner.Options.WritePolygons) {
        SetPrimitiveChannel(offset);
    } else if (owner.IsTagOpen("vertices")) {
        if (Semantic == "POSITION") owner.State().PositionSourceId = DropFirst(Source);
    } else if (AnimationNode* animation = owner.CurrentAnimation(); animation != nullptr && owner.IsTagOpen("sampler")) {
        SamplerInput input;
        input.Semantic = Semantic;
        input.SourceId = DropFirst(Source);
        animation->Sampler.Inputs.push_back(std::move(input));
    }
    return true;
}

void InputHandler::SetPrimitiveChannel(int offset) {
    ColladaReader& owner = Owner();
    // When several kinds are open, the last one in this order takes the input.
    PrimitiveHandler* target = nullptr;
    for (const char* kind : {"triangles", "polygons", "polylist"}) {
        if (owner.IsTagOpen(kind)) target = owner.FindHandlerAs<PrimitiveHandler>(kind);
    }
    if (target == nullptr) return;
    MeshNode* mesh = (owner.State().MeshLibrary && !owner.State().MeshLibrary->Children().empty())
                         ? &owner.State().MeshLibrary->Children().back()
                         : nullptr;

    if (Semantic == "VERTEX") {
        // Positions always come through the vertices' POSITION source.
        target->VertexOffset = offset;
    } else if (Semantic == "NORMAL") {
        if (mesh != nullptr) owner.State().MeshLibrary->NormalSourceId = DropFirst(Source);
        target->NormalOffset = offset;
    } else if (Semantic == "TEXCOORD") {
        if (mesh != nullptr) owner.State().MeshLibrary->TexcoordSourceId = DropFirst(Source);
        target->TexcoordOffset = offset;
    }
}

}  // namespace morvane
