#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "events/central_object.h"
#include "events/xml_reader.h"
#include "scene/light_nodes.h"
#include "test_support.h"

namespace morvane {
namespace {

using test::ParseDocument;

// Passes every event on to the converter, with a hook after the document
// has started (when the per-document state is fresh) and one before each
// start tag, so a test can set state that the document itself can't.
class HookedHandler : public SaxContentHandler {
public:
    explicit HookedHandler(ColladaReader& target) : target_(target) {}

    ResultCode startDocument() override {
        const ResultCode result = target_.startDocument();
        if (AfterStart) AfterStart();
        return result;
    }
    ResultCode endDocument() override { return target_.endDocument(); }
    ResultCode startElement(std::string_view name, const AttributeList& attributes) override {
        if (BeforeElement) BeforeElement(name);
        return target_.startElement(name, attributes);
    }
    ResultCode endElement(std::string_view name) override { return target_.endElement(name); }
    ResultCode characters(const char* chars, std::size_t count) override {
        return target_.characters(chars, count);
    }

    std::function<void()> AfterStart;
    std::function<void(std::string_view)> BeforeElement;

private:
    ColladaReader& target_;
};

void ParseHooked(HookedHandler& handler, const std::string& xml) {
    XmlReader reader;
    reader.PutContentHandler(&handler);
    ASSERT_EQ(reader.ParseBuffer(xml), kResultOk);
}

std::string Effect(const std::string& attributes, const std::string& phong) {
    return "<effect " + attributes + "><profile_COMMON><technique sid='common'><phong>" + phong +
           "</phong></technique></profile_COMMON></effect>";
}

std::string Material(const std::string& attributes, const std::string& effectUrl) {
    std::string body = effectUrl.empty() ? "" : "<instance_effect url='" + effectUrl + "'/>";
    return "<material " + attributes + ">" + body + "</material>";
}

std::string Document(const std::string& materials, const std::string& effects) {
    return "<COLLADA><library_materials>" + materials + "</library_materials><library_effects>" + effects +
           "</library_effects></COLLADA>";
}

void ExpectRgb(const Color4& color, float r, float g, float b) {
    EXPECT_FLOAT_EQ(color[0], r);
    EXPECT_FLOAT_EQ(color[1], g);
    EXPECT_FLOAT_EQ(color[2], b);
    EXPECT_FLOAT_EQ(color[3], 1.0f) << "alpha is never read";
}

TEST(MaterialReading, EffectsPourIntoTheMaterialsThatNameThem) {
    X3dConverter converter;
    ParseDocument(converter,
                  Document(Material("id='m1' name='Red'", "#e1") + Material("id='m2' name='Blue'", "#e2"),
                           Effect("id='e1'",
                                  "<emission><color>0.1 0.2 0.3 0.5</color></emission>"
                                  "<ambient><color>0.9 0.9 0.9 1</color></ambient>"
                                  "<diffuse><color>1 0 0 0.5</color></diffuse>"
                                  "<specular><color>0.4 0.5 0.6 1</color></specular>"
                                  "<shininess><float>20</float></shininess>"
                                  "<reflectivity><float>0.7</float></reflectivity>"
                                  "<transparency><float>0.25</float></transparency>") +
                               Effect("id='e2'", "<diffuse><color>0 0 1 1</color></diffuse>")));

    ASSERT_EQ(converter.Appearances.size(), 2u);
    const AppearanceNode& red = converter.Appearances[0];
    EXPECT_EQ(red.Name, "Red");
    EXPECT_EQ(red.Id, "m1");
    EXPECT_EQ(red.EffectRef, "e1");
    ExpectRgb(red.DiffuseColor, 1, 0, 0);
    ExpectRgb(red.EmissionColor, 0.1f, 0.2f, 0.3f);
    ExpectRgb(red.SpecularColor, 0.8f, 0.8f, 0.8f);  // specular stays behind
    EXPECT_FLOAT_EQ(red.Shininess, 20.0f);
    EXPECT_FLOAT_EQ(red.Transparency, 0.25f);

    // What the second effect does not state is what the first one left.
    const AppearanceNode& blue = converter.Appearances[1];
    EXPECT_EQ(blue.Name, "Blue");
    ExpectRgb(blue.DiffuseColor, 0, 0, 1);
    ExpectRgb(blue.EmissionColor, 0.1f, 0.2f, 0.3f);
    EXPECT_FLOAT_EQ(blue.Shininess, 20.0f);
    EXPECT_FLOAT_EQ(blue.Transparency, 0.25f);

    const AppearanceNode& working = converter.CurrentAppearance;
    ExpectRgb(working.SpecularColor, 0.4f, 0.5f, 0.6f);
    EXPECT_EQ(working.EffectRef, "");
    EXPECT_EQ(working.Name, "");
    EXPECT_EQ(working.Id, "");
}

TEST(MaterialReading, EachEffectReachesTheFirstMaterialOfItsNameOrElseId) {
    X3dConverter converter;
    ParseDocument(converter,
                  Document(Material("id='a' name='A'", "#shared") + Material("id='b' name='B'", "#shared") +
                               Material("id='byId' name='ById'", "#fx-1") +
                               Material("id='byName' name='ByName'", "#Shiny") + Material("id='p' name='Plain'", "") +
                               Material("id='q' name='Lost'", "#absent"),
                           Effect("id='shared' name='SharedFx'", "<diffuse><color>0.5 0.5 0.5</color></diffuse>") +
                               Effect("id='fx-1' name='Shiny'", "<diffuse><color>0.25 0.25 0.25</color></diffuse>") +
                               // Without a name it looks for the empty reference first.
                               Effect("id='absent'", "<diffuse><color>0.75 0.75 0.75</color></diffuse>") +
                               Effect("id='shared' name='Again'", "<diffuse><color>0.3 0.3 0.3</color></diffuse>")));

    ASSERT_EQ(converter.Appearances.size(), 6u);
    const float expected[] = {0.3f, 0.8f, 0.8f, 0.25f, 0.75f, 0.8f};
    for (std::size_t i = 0; i < 6; ++i) {
        SCOPED_TRACE(converter.Appearances[i].Name);
        const float v = expected[i];
        ExpectRgb(converter.Appearances[i].DiffuseColor, v, v, v);
        ExpectRgb(converter.Appearances[i].EmissionColor, 0.8f, 0.8f, 0.8f);
        EXPECT_FLOAT_EQ(converter.Appearances[i].Shininess, 0.2f);
    }
    EXPECT_EQ(converter.Appearances[1].EffectRef, "shared");
    EXPECT_EQ(converter.Appearances[4].EffectRef, "");
}

TEST(MaterialReading, EffectsBeforeMaterialsLeaveTheirLastValuesToEveryMaterial) {
    X3dConverter converter;
    ParseDocument(converter,
                  "<COLLADA><library_effects>" +
                      Effect("id='e1'", "<diffuse><color>0.1 0.1 0.1</color></diffuse>") +
                      Effect("id='e2'", "<diffuse><color>0.2 0.3 0.4</color><texture texture='tex' texcoord='UV'/>"
                                        "</diffuse>") +
                      "</library_effects><library_materials>" + Material("id='m1' name='One'", "#e1") +
                      Material("id='m2' name='Two'", "#e2") + "</library_materials></COLLADA>");

    ASSERT_EQ(converter.Appearances.size(), 2u);
    for (const AppearanceNode& appearance : converter.Appearances) {
        ExpectRgb(appearance.DiffuseColor, 0.2f, 0.3f, 0.4f);
        EXPECT_EQ(appearance.DiffuseTexture.Texture, "tex");
        EXPECT_EQ(appearance.DiffuseTexture.TexCoord, "UV");
    }
    // No effect found a target, so nothing cleared the texture name.
    EXPECT_EQ(converter.CurrentAppearance.DiffuseTexture.Texture, "tex");
}

TEST(MaterialReading, TextureNamesTravelWithTheirEffectButCoordinatesLinger) {
    X3dConverter converter;
    ParseDocument(converter,
                  Document(Material("id='m1' name='Textured'", "#e1") + Material("id='m2' name='Bare'", "#e2"),
                           Effect("id='e1'", "<ambient><texture texture='dirt' texcoord='UV1'/></ambient>"
                                             "<diffuse><texture texture='brick' texcoord='UV0'/></diffuse>") +
                               Effect("id='e2'", "<diffuse><color>1 1 1</color></diffuse>")));

    ASSERT_EQ(converter.Appearances.size(), 2u);
    const AppearanceNode& textured = converter.Appearances[0];
    EXPECT_EQ(textured.DiffuseTexture.Texture, "brick");
    EXPECT_EQ(textured.DiffuseTexture.TexCoord, "UV0");
    EXPECT_EQ(textured.AmbientTexture.Texture, "dirt");
    EXPECT_EQ(textured.AmbientTexture.TexCoord, "UV1");

    const AppearanceNode& bare = converter.Appearances[1];
    EXPECT_EQ(bare.DiffuseTexture.Texture, "");
    EXPECT_EQ(bare.AmbientTexture.Texture, "");
    EXPECT_EQ(bare.DiffuseTexture.TexCoord, "UV0");
    EXPECT_EQ(bare.AmbientTexture.TexCoord, "UV1");
}

TEST(MaterialReading, ColoursAndFloatsGoOnlyWhereTheirContextSays) {
    X3dConverter converter;
    ParseDocument(converter,
                  Document(Material("id='m' name='M'", "#e"),
                           Effect("id='e'",
                                  "<transparent><color>0 0 0 1</color><float>9</float></transparent>"
                                  "<reflectivity><color>0 0 0</color></reflectivity>"
                                  "<emission><float>7</float><color>0.5</color></emission>"
                                  "<diffuse><float>8</float><color>0.1 0.2 0.3 0.4 0.5</color></diffuse>"
                                  "<specular><texture texture='ignored'/></specular>"
                                  "<shininess><float>12.5 99</float></shininess>"
                                  "<shininess><float>high</float></shininess>"
                                  "<transparency><float>not a number</float></transparency>")));

    ASSERT_EQ(converter.Appearances.size(), 1u);
    const AppearanceNode& stored = converter.Appearances[0];
    // A short colour replaces only what it reaches, a long one stops at
    // blue, and text that is no number leaves the former value.
    ExpectRgb(stored.EmissionColor, 0.5f, 0.8f, 0.8f);
    ExpectRgb(stored.DiffuseColor, 0.1f, 0.2f, 0.3f);
    EXPECT_FLOAT_EQ(stored.Shininess, 12.5f);
    EXPECT_FLOAT_EQ(stored.Transparency, 0.0f);
    EXPECT_EQ(stored.DiffuseTexture.Texture, "");
    EXPECT_EQ(stored.AmbientTexture.Texture, "");
}

TEST(MaterialReading, FullTransparencyMeansOpaqueOnlyForMayaAndMax) {
    auto transparency = [](const char* id, const char* value) {
        return Effect(std::string("id='") + id + "'", std::string("<transparency><float>") + value +
                                                          "</float></transparency>");
    };
    const std::string xml =
        Document(Material("id='a' name='A'", "#one") + Material("id='b' name='B'", "#quarter") +
                     Material("id='c' name='C'", "#almost"),
                 transparency("one", "1.0") + transparency("quarter", "0.25") + transparency("almost", "0.9999999"));
    {
        X3dConverter converter;
        HookedHandler hooked(converter);
        hooked.AfterStart = [&] { converter.ToolIsMaxOrMaya = true; };
        ParseHooked(hooked, xml);
        ASSERT_EQ(converter.Appearances.size(), 3u);
        EXPECT_FLOAT_EQ(converter.Appearances[0].Transparency, 0.0f);
        EXPECT_FLOAT_EQ(converter.Appearances[1].Transparency, 0.25f);
        EXPECT_NE(converter.Appearances[2].Transparency, 0.0f);
    }
    {
        X3dConverter converter;
        ParseDocument(converter, xml);
        ASSERT_EQ(converter.Appearances.size(), 3u);
        EXPECT_FLOAT_EQ(converter.Appearances[0].Transparency, 1.0f);
        EXPECT_FLOAT_EQ(converter.Appearances[1].Transparency, 0.25f);
    }
}

TEST(MaterialReading, ColourInsideALightGoesToTheCurrentLightOnly) {
    const std::string xml =
        "<COLLADA><library_lights><light id='l' name='L'><technique_common><point>"
        "<color>0.1 0.2 0.3</color></point></technique_common></light></library_lights></COLLADA>";
    {
        PointLightNode light;
        X3dConverter converter;
        HookedHandler hooked(converter);
        hooked.BeforeElement = [&](std::string_view name) {
            if (name == "color") converter.CurrentLight = &light;
        };
        ParseHooked(hooked, xml);
        ExpectRgb(light.Color, 0.1f, 0.2f, 0.3f);
        ExpectRgb(converter.CurrentAppearance.DiffuseColor, 0.8f, 0.8f, 0.8f);
    }
    {
        // Whatever the light handlers make of it, a colour with no light to
        // take it must not fail.
        X3dConverter converter;
        HookedHandler hooked(converter);
        hooked.BeforeElement = [&](std::string_view name) {
            if (name == "color") converter.CurrentLight = nullptr;
        };
        ParseHooked(hooked, xml);
        ExpectRgb(converter.CurrentAppearance.EmissionColor, 0.8f, 0.8f, 0.8f);
    }
}

}  // namespace
}  // namespace morvane
