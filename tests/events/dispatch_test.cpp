#include <gtest/gtest.h>

#include "events/central_object.h"
#include "test_support.h"

namespace morvane {
namespace {

using test::ParseDocument;

const char* const kElementNames[] = {
    "COLLADA", "asset", "contributor", "author", "authoring_tool", "created", "modified", "comments",
    "copyright", "unit", "up_axis", "library_images", "image", "init_from", "library_materials", "material",
    "instance_effect", "library_effects", "effect", "profile_COMMON", "technique", "phong", "emission",
    "color", "ambient", "diffuse", "specular", "shininess", "float", "reflectivity", "transparent",
    "transparency", "newparam", "surface", "sampler2D", "source", "texture", "library_geometries", "geometry",
    "mesh", "float_array", "technique_common", "accessor", "param", "vertices", "input", "triangles",
    "polygons", "polylist", "vcount", "p", "lines", "library_nodes", "node", "instance_geometry",
    "bind_material", "instance_material", "bind_vertex_input", "matrix", "rotate", "translate", "scale",
    "instance_node", "library_visual_scenes", "visual_scene", "scene", "instance_visual_scene",
    "library_cameras", "camera", "optics", "perspective", "xfov", "yfov", "znear", "zfar", "instance_camera",
    "library_lights", "light", "directional", "point", "constant_attenuation", "linear_attenuation",
    "quadratic_attenuation", "instance_light", "library_animations", "animation", "pre_infinity",
    "post_infinity", "Name_array", "sampler", "channel"};

TEST(Dispatch, EveryKnownElementHasOneHandlerInListOrder) {
    X3dConverter converter;
    ASSERT_EQ(converter.Handlers.size(), std::size(kElementNames));
    for (std::size_t i = 0; i < std::size(kElementNames); ++i) {
        EXPECT_EQ(converter.Handlers[i]->TagName, kElementNames[i]);
        EXPECT_EQ(converter.FindHandler(kElementNames[i]), converter.Handlers[i].get());
    }
    EXPECT_EQ(converter.FindHandler("Collada"), nullptr);
    EXPECT_EQ(converter.FindHandler("technique_commo"), nullptr);
    EXPECT_FALSE(converter.IsTagOpen("unknown"));
}

// The Text that one handler holds after the document has been read.
std::string TextAfter(const std::string& xml, const char* element, std::size_t chunkSize = 0) {
    X3dConverter converter;
    ParseDocument(converter, xml, chunkSize);
    return converter.FindHandler(element)->Text;
}

TEST(Dispatch, NamesMatchWholeAndWithCase) {
    EXPECT_EQ(TextAfter("<COLLADA><Author>upper</Author><authors>longer</authors><author>mine</author></COLLADA>",
                        "author"),
              "mine");
}

TEST(Dispatch, PrefixedElementsAreFoundByTheirLocalName) {
    EXPECT_EQ(TextAfter("<c:COLLADA xmlns:c='urn:x'><c:author>prefixed</c:author></c:COLLADA>", "author"),
              "prefixed");
}

TEST(Dispatch, TextOfARepeatedElementIsTheLastOne) {
    EXPECT_EQ(TextAfter("<r><author>first</author><author>second</author></r>", "author"), "second");
}

TEST(Dispatch, TextSplitIntoManyRunsIsJoinedInOrder) {
    // One byte at a time makes the reader deliver the text in many runs.
    EXPECT_EQ(TextAfter("<r><comments>one &amp; two, caf\xC3\xA9</comments></r>", "comments", 1),
              "one & two, caf\xE9");
}

TEST(Dispatch, TextAfterAKnownChildIsDropped) {
    X3dConverter converter;
    ParseDocument(converter, "<r><contributor>before<author>who</author>after</contributor></r>");
    EXPECT_EQ(converter.FindHandler("contributor")->Text, "before");
    EXPECT_EQ(converter.FindHandler("author")->Text, "who");
}

TEST(Dispatch, TextOfAnUnknownChildGoesToTheOpenParent) {
    EXPECT_EQ(TextAfter("<r><comments>a<b>bold</b>c</comments></r>", "comments"), "aboldc");
}

TEST(Dispatch, TextStaysReadableAfterTheEndTag) {
    X3dConverter converter;
    ParseDocument(converter, "<COLLADA><asset><created>today</created></asset>loose text</COLLADA>");
    const TagHandler* created = converter.FindHandler("created");
    EXPECT_FALSE(created->IsOpen);
    EXPECT_EQ(created->Text, "today");
    // The root's text holds only what came before its first known child.
    EXPECT_EQ(converter.FindHandler("COLLADA")->Text, "");
}

// Records what the open flags say at each end tag of a nested structure.
class OpenFlagProbe final : public TagHandler {
public:
    OpenFlagProbe(ColladaReader& owner, std::string* log) : TagHandler(owner, "probe"), log_(log) {}
    bool Start(const std::string& name, const AttributeList&) override {
        if (!MatchStart(name)) return false;
        *log_ += Owner().IsTagOpen("node") ? "N" : "-";
        return true;
    }

private:
    std::string* log_;
};

TEST(Dispatch, OpenIsAFlagNotADepth) {
    // Handlers are rebuilt when a document starts, so the probe joins after that.
    struct Probed final : X3dConverter {
        std::string log;
        ResultCode startDocument() override {
            X3dConverter::startDocument();
            AddHandler(std::make_unique<OpenFlagProbe>(*this, &log));
            return kResultOk;
        }
    } converter;
    ASSERT_EQ(ParseDocument(converter, "<r><probe/><node><probe/><node><probe/></node><probe/></node><probe/></r>"),
              kResultOk);
    // The inner end tag clears the flag while the outer node is still open.
    EXPECT_EQ(converter.log, "-NN--");
}

class AttributeProbe final : public TagHandler {
public:
    explicit AttributeProbe(ColladaReader& owner) : TagHandler(owner, "COLLADA") {}
    bool Start(const std::string& name, const AttributeList& attributes) override {
        if (!MatchStart(name)) return false;
        plain = GetAttribute(attributes, "id");
        prefixed = GetAttribute(attributes, "name");
        missing = GetAttribute(attributes, "absent");
        reference = GetReference(attributes, "url");
        narrowed = GetAttribute(attributes, "text");
        return true;
    }
    std::string plain, prefixed, missing = "unset", reference, narrowed;
};

TEST(Attributes, AreFoundByLocalNameInNoNamespace) {
    struct Capture final : X3dConverter {
        AttributeProbe* probe = nullptr;
        ResultCode startDocument() override {
            X3dConverter::startDocument();
            auto made = std::make_unique<AttributeProbe>(*this);
            probe = made.get();
            ClearHandlers();
            AddHandler(std::move(made));
            return kResultOk;
        }
    } converter;
    ParseDocument(converter, "<COLLADA xmlns:x='urn:x' id='plain' x:name='prefixed' url='#target' "
                             "text='\xC3\xA9\xE2\x82\xAC'/>");
    ASSERT_NE(converter.probe, nullptr);
    EXPECT_EQ(converter.probe->plain, "plain");
    EXPECT_EQ(converter.probe->prefixed, "");
    EXPECT_EQ(converter.probe->missing, "");
    EXPECT_EQ(converter.probe->reference, "target");
    EXPECT_EQ(converter.probe->narrowed, "\xE9?");
}

TEST(Lifecycle, EveryDocumentStartsClean) {
    X3dConverter converter;
    converter.WritePolygons = false;
    ParseDocument(converter, "<COLLADA><asset><author>first</author><unit meter='2'/></asset></COLLADA>");
    EXPECT_EQ(converter.FindHandler("author")->Text, "first");
    TransformNode* firstRoot = converter.SceneRoot.get();
    ASSERT_NE(firstRoot, nullptr);

    // A document that breaks off leaves a half-read model behind...
    EXPECT_NE(ParseDocument(converter, "<COLLADA><asset><author>broken</author>"), kResultOk);
    EXPECT_NE(converter.MeshLibrary, nullptr);
    // ...which the next document does not see.
    ParseDocument(converter, "<COLLADA><asset><created>now</created></asset></COLLADA>");
    EXPECT_EQ(converter.FindHandler("author")->Text, "");
    EXPECT_EQ(converter.FindHandler("created")->Text, "now");
    EXPECT_EQ(converter.CurrentHandler, converter.FindHandler("created"));
    EXPECT_DOUBLE_EQ(converter.UnitScale, 0.0254);
    EXPECT_EQ(converter.MeshLibrary, nullptr);  // gone after the document's end
    ASSERT_NE(converter.SceneRoot, nullptr);
    EXPECT_EQ(converter.SceneRoot->Name, "Scene");
    EXPECT_EQ(converter.LibraryRoot->Name, "Library");
    // Options carry over.
    EXPECT_FALSE(converter.WritePolygons);
}

}  // namespace
}  // namespace morvane
