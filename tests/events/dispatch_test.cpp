#include <gtest/gtest.h>

#include "document/x3d_converter.h"
#include "test_support.h"

namespace morvane {
namespace {

using test::ParseDocument;

TEST(Dispatch, TextRules) {
    const struct {
        const char* xml;
        const char* element;
        const char* text;
        std::size_t chunk = 0;
    } cases[] = {
        // Names match whole and with case; prefixed elements by their local name.
        {"<COLLADA><Author>upper</Author><authors>longer</authors><author>mine</author></COLLADA>", "author", "mine"},
        {"<c:COLLADA xmlns:c='urn:x'><c:author>prefixed</c:author></c:COLLADA>", "author", "prefixed"},
        // A repeated element keeps its last text.
        {"<r><author>first</author><author>second</author></r>", "author", "second"},
        // One byte at a time makes the reader deliver the text in many runs.
        // Characters up to U+00FF become one byte, each above it one '?'.
        {"<r><comments>one &amp; two, caf\xC3\xA9 \xC4\x80\xF0\x9F\x98\x80.</comments></r>", "comments",
         "one & two, caf\xE9 ??.", 1},
        // Text after a known child is dropped; text of an unknown child goes
        // to the open parent, kept only when the parent's text is read.
        {"<r><contributor>before<author>who</author>after</contributor></r>", "contributor", ""},
        {"<r><contributor>before<author>who</author>after</contributor></r>", "author", "who"},
        {"<r><comments>a<b>bold</b>c</comments></r>", "comments", "aboldc"},
        // Text stays readable after the end tag; the root's holds only what
        // came before its first known child.
        {"<COLLADA><asset><created>today</created></asset>loose text</COLLADA>", "created", "today"},
        {"<COLLADA><asset><created>today</created></asset>loose text</COLLADA>", "COLLADA", ""},
    };
    for (const auto& c : cases) {
        X3dConverter converter;
        ParseDocument(converter, c.xml, c.chunk);
        EXPECT_EQ(converter.FindHandler(c.element)->Text, c.text) << c.xml;
    }
}

// White space between elements and the text of unknown elements reach the
// handler of the open element; a handler whose text nothing reads keeps
// none of it, so such a document costs no memory for its text.
TEST(Dispatch, TextThatNoHandlerReadsIsNotKept) {
    const std::string blanks(1 << 16, ' ');
    X3dConverter converter;
    ParseDocument(converter, "<COLLADA>" + blanks + "<asset><contributor>" + blanks + "<author>me</author>" + blanks +
                                 "<tool>" + blanks + "</tool></contributor></asset>" + blanks +
                                 "<library_visual_scenes><visual_scene><node><x>" + blanks + "</x>" + blanks +
                                 "<translate>1 2 3</translate></node></visual_scene></library_visual_scenes>" +
                                 blanks + "</COLLADA>");
    std::size_t kept = 0;
    for (const auto& handler : converter.Handlers) kept += handler->Text.size();
    EXPECT_EQ(kept, 2u + 5u);
    EXPECT_EQ(converter.FindHandler("translate")->Text, "1 2 3");
    EXPECT_FALSE(converter.FindHandler("COLLADA")->KeepsText);
    EXPECT_TRUE(converter.FindHandler("comments")->KeepsText);
}

TEST(Attributes, AreFoundByLocalNameInNoNamespaceAndNarrowed) {
    X3dConverter converter;
    ParseDocument(converter,
                  "<COLLADA xmlns:x='urn:x'><library_materials><material id='\xC3\xA9\xE2\x82\xAC' x:name='prefixed'>"
                  "<instance_effect url='#target'/></material></library_materials></COLLADA>");
    ASSERT_EQ(converter.State().Appearances.size(), 1u);
    EXPECT_EQ(converter.State().Appearances[0].Id, "\xE9?");
    EXPECT_EQ(converter.State().Appearances[0].Name, "");
    EXPECT_EQ(converter.State().Appearances[0].EffectRef, "target");
}

TEST(Lifecycle, EveryDocumentStartsCleanButOptionsCarryOver) {
    X3dConverter converter;
    converter.Options.WritePolygons = false;
    ParseDocument(converter, "<COLLADA><asset><author>first</author><unit meter='2'/></asset></COLLADA>");
    // A document that breaks off leaves a half-read model behind, which the
    // next document does not see.
    EXPECT_NE(ParseDocument(converter, "<COLLADA><asset><author>broken</author><unit meter='3'/>"), "");
    EXPECT_NE(converter.State().MeshLibrary, nullptr);
    ParseDocument(converter, "<COLLADA><asset><created>now</created></asset></COLLADA>");
    EXPECT_EQ(converter.FindHandler("author")->Text, "");
    EXPECT_EQ(converter.CurrentHandler, converter.FindHandler("created"));
    EXPECT_DOUBLE_EQ(converter.State().UnitScale, 0.0254);
    EXPECT_EQ(converter.State().MeshLibrary, nullptr);  // gone after the document's end
    EXPECT_FALSE(converter.Options.WritePolygons);
}

// The lists of one document and what finds their records again are gone
// when the next document starts: nothing of the first is found in the second.
TEST(Lifecycle, ASecondDocumentFindsNothingOfTheFirst) {
    X3dConverter converter;
    const std::string first =
        "<COLLADA><library_images><image id='img'><init_from>a.png</init_from></image></library_images>"
        "<library_materials><material id='mat' name='red'/></library_materials>"
        "<library_effects><effect id='fx'><profile_COMMON><newparam sid='samp'/></profile_COMMON></effect>"
        "</library_effects><library_lights><light id='lamp'><technique_common><point/></technique_common></light>"
        "</library_lights><library_geometries><geometry id='g'><mesh><float_array id='pos-array'>0 0 0</float_array>"
        "</mesh></geometry></library_geometries><library_nodes><node id='lib'/></library_nodes></COLLADA>";
    for (const bool firstOne : {true, false}) {
        ParseDocument(converter, firstOne ? first : "<COLLADA/>");
        EXPECT_EQ(converter.State().Images.Find("img") != nullptr, firstOne);
        EXPECT_EQ(converter.State().Appearances.FindById("mat") != nullptr, firstOne);
        EXPECT_EQ(converter.State().Appearances.FindByName("red") != nullptr, firstOne);
        EXPECT_EQ(converter.State().NewParams.Find("samp") != nullptr, firstOne);
        EXPECT_EQ(converter.State().Lights.Find("lamp") != nullptr, firstOne);
        EXPECT_EQ(converter.State().Sources.Find("pos-array") != nullptr, firstOne);
        EXPECT_EQ(converter.FindLibraryNode("lib") != nullptr, firstOne);
    }
}

}  // namespace
}  // namespace morvane
