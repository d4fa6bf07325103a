#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "events/central_object.h"
#include "test_support.h"

namespace morvane {
namespace {

using test::CaptureOutput;
using test::ParseDocument;

std::string Written(X3dNode& node, int indent) {
    return CaptureOutput([&](std::FILE* stream) { node.Write(stream, indent); });
}

// The Material line of a record that kept every default.
std::string DefaultMaterial(const std::string& name) {
    return "<Material containerField='material' DEF='MAT_" + name +
           "' diffuseColor='0.8 0.8 0.8' emissiveColor='0.8 0.8 0.8' transparency='0' shininess='0.002'/>\n";
}

class AppearanceOutput : public ::testing::Test {
protected:
    AppearanceNode& Add(const std::string& name) {
        AppearanceNode& appearance = converter.Appearances.emplace_back(&converter);
        appearance.Name = name;
        return appearance;
    }
    void AddImage(const std::string& id, const std::string& url) {
        converter.Images.push_back(std::make_unique<ImageTextureNode>(&converter, id, url));
    }

    X3dConverter converter;
};

TEST_F(AppearanceOutput, FirstWriteIsTheDefinitionAndLaterOnesUseIt) {
    AppearanceNode& red = Add("Red");
    red.DiffuseColor = {1.0f, 0.0f, 0.0f, 0.5f};
    red.EmissionColor = {0.1f, 0.2f, 0.3f, 1.0f};
    red.SpecularColor = {0.0f, 0.0f, 0.0f, 1.0f};
    red.Transparency = 0.25f;
    red.Shininess = 20.0f;

    EXPECT_EQ(Written(red, 2),
              "\t\t<Appearance containerField='appearance' DEF='Red'>\n"
              "\t\t\t<Material containerField='material' DEF='MAT_Red' diffuseColor='1 0 0' "
              "emissiveColor='0.1 0.2 0.3' transparency='0.25' shininess='0.2'/>\n"
              "\t\t</Appearance>\n");
    EXPECT_EQ(Written(red, 1), "\t<Appearance containerField='appearance' USE='Red'/>\n");
    EXPECT_EQ(Written(red, 0), "<Appearance containerField='appearance' USE='Red'/>\n");
}

TEST_F(AppearanceOutput, NumbersHaveSixSignificantDigitsAndShininessIsScaledUnclamped) {
    AppearanceNode& odd = Add("Odd");
    odd.DiffuseColor = {0.123456789f, 1e-7f, 1234567.0f, 1.0f};
    odd.EmissionColor = {-0.5f, 2.0f, 0.0f, 1.0f};
    odd.Transparency = 1.0f;
    odd.Shininess = 128.0f;
    EXPECT_EQ(Written(odd, 0),
              "<Appearance containerField='appearance' DEF='Odd'>\n"
              "\t<Material containerField='material' DEF='MAT_Odd' diffuseColor='0.123457 1e-07 1.23457e+06' "
              "emissiveColor='-0.5 2 0' transparency='1' shininess='1.28'/>\n"
              "</Appearance>\n");

    // The factor is the 32-bit 0.01 (0.0099999997764825820...): 1.000005
    // stored as 1.0000050067901611 gives 0.0100000498..., while an exact
    // 0.01 would give 0.0100001; 1.000035 gives 0.0100003502..., which a
    // product rounded to 32 bits would print as 0.0100003.
    const struct {
        float shininess;
        const char* text;
    } cases[] = {{1.000005f, "0.01"}, {1.000035f, "0.0100004"}, {0.2f, "0.002"}, {0.0f, "0"}};
    for (const auto& c : cases) {
        AppearanceNode& appearance = Add("S");
        appearance.Shininess = c.shininess;
        const std::string text = Written(appearance, 0);
        EXPECT_NE(text.find(std::string(" shininess='") + c.text + "'/>\n"), std::string::npos)
            << c.shininess << " gave " << text;
    }
}

TEST_F(AppearanceOutput, NamesAreWrittenAsTheyStand) {
    AppearanceNode& unnamed = Add("");
    EXPECT_EQ(Written(unnamed, 0),
              "<Appearance containerField='appearance' DEF=''>\n\t" + DefaultMaterial("") + "</Appearance>\n");

    // Two records with one name each write their own definition.
    AppearanceNode& first = Add("a<b&'c");
    AppearanceNode& second = Add("a<b&'c");
    const std::string expected =
        "<Appearance containerField='appearance' DEF='a<b&'c'>\n\t" + DefaultMaterial("a<b&'c") + "</Appearance>\n";
    EXPECT_EQ(Written(first, 0), expected);
    EXPECT_EQ(Written(second, 0), expected);
}

TEST_F(AppearanceOutput, OneTextureIsAnImageTextureTwoLevelsIn) {
    AddImage("brick", "brick.jpg");
    AppearanceNode& wall = Add("Wall");
    wall.DiffuseTexture.Texture = "brick";
    EXPECT_EQ(Written(wall, 1),
              "\t<Appearance containerField='appearance' DEF='Wall'>\n"
              "\t\t" + DefaultMaterial("Wall") +
              "\t\t\t<ImageTexture containerField='texture' DEF='IT_brick' url='brick.jpg'/>\n"
              "\t</Appearance>\n");
    EXPECT_TRUE(converter.Images[0]->Written);

    // Another appearance on the same image refers to it.
    AppearanceNode& floor = Add("Floor");
    floor.DiffuseTexture.Texture = "brick";
    EXPECT_EQ(Written(floor, 0),
              "<Appearance containerField='appearance' DEF='Floor'>\n"
              "\t" + DefaultMaterial("Floor") +
              "\t\t<ImageTexture  containerField='texture' USE='IT_brick' />\n"
              "</Appearance>\n");

    // A name that finds no image, and an ambient texture on its own, write
    // no texture at all.
    AppearanceNode& unresolved = Add("U");
    unresolved.DiffuseTexture.Texture = "missing";
    AppearanceNode& ambientOnly = Add("A");
    ambientOnly.AmbientTexture.Texture = "brick";
    EXPECT_EQ(Written(unresolved, 0),
              "<Appearance containerField='appearance' DEF='U'>\n\t" + DefaultMaterial("U") + "</Appearance>\n");
    EXPECT_EQ(Written(ambientOnly, 0),
              "<Appearance containerField='appearance' DEF='A'>\n\t" + DefaultMaterial("A") + "</Appearance>\n");
}

TEST_F(AppearanceOutput, DiffuseAndAmbientTexturesMakeAMultiTexture) {
    AddImage("brick", "brick.jpg");
    AddImage("dirt", "dirt maps/dirt.png");
    AppearanceNode& wall = Add("Wall");
    wall.DiffuseTexture.Texture = "brick";
    wall.AmbientTexture.Texture = "dirt";
    EXPECT_EQ(Written(wall, 2),
              "\t\t<Appearance containerField='appearance' DEF='Wall'>\n"
              "\t\t\t" + DefaultMaterial("Wall") +
              "\t\t\t<MultiTexture  containerField='texture' mode='\"MODULATE\" \"MODULATE\"'>\n"
              "\t\t\t\t\t<ImageTexture containerField='texture' DEF='IT_brick' url='brick.jpg'/>\n"
              "\t\t\t\t\t<ImageTexture containerField='texture' DEF='IT_dirt' url='dirt maps/dirt.png'/>\n"
              "\t\t\t</MultiTexture>\n"
              "\t\t</Appearance>\n");

    // The same pair again, now as references, and an unresolved partner.
    AppearanceNode& again = Add("Again");
    again.DiffuseTexture.Texture = "missing";
    again.AmbientTexture.Texture = "dirt";
    EXPECT_EQ(Written(again, 0),
              "<Appearance containerField='appearance' DEF='Again'>\n"
              "\t" + DefaultMaterial("Again") +
              "\t<MultiTexture  containerField='texture' mode='\"MODULATE\" \"MODULATE\"'>\n"
              "\t\t\t<ImageTexture  containerField='texture' USE='IT_dirt' />\n"
              "\t</MultiTexture>\n"
              "</Appearance>\n");
}

TEST_F(AppearanceOutput, SketchUpTexturesReplaceTheMaterialUnlessForced) {
    converter.ToolIsSketchUp = true;
    AddImage("brick", "brick.jpg");
    AppearanceNode& textured = Add("T");
    textured.DiffuseTexture.Texture = "brick";
    AppearanceNode& forced = Add("F");
    forced.DiffuseTexture.Texture = "brick";
    AppearanceNode& plain = Add("P");
    plain.AmbientTexture.Texture = "brick";
    AppearanceNode& unresolved = Add("U");
    unresolved.DiffuseTexture.Texture = "missing";

    EXPECT_EQ(Written(textured, 0),
              "<Appearance containerField='appearance' DEF='T'>\n"
              "\t\t<ImageTexture containerField='texture' DEF='IT_brick' url='brick.jpg'/>\n"
              "</Appearance>\n");
    EXPECT_EQ(Written(plain, 0),
              "<Appearance containerField='appearance' DEF='P'>\n\t" + DefaultMaterial("P") + "</Appearance>\n");
    EXPECT_EQ(Written(unresolved, 0),
              "<Appearance containerField='appearance' DEF='U'>\n"
              "</Appearance>\n");

    converter.ForceMaterials = true;
    EXPECT_EQ(Written(forced, 0),
              "<Appearance containerField='appearance' DEF='F'>\n"
              "\t" + DefaultMaterial("F") +
              "\t\t<ImageTexture  containerField='texture' USE='IT_brick' />\n"
              "</Appearance>\n");
}

TEST(AppearanceOutputFromDocument, StoredRecordsWriteWithTheirDocumentsImages) {
    X3dConverter converter;
    ParseDocument(converter,
                  "<COLLADA>"
                  "<library_images><image id='brick-image'><init_from>maps\\brick.tga</init_from></image>"
                  "</library_images>"
                  "<library_materials><material id='wall-mat' name='Wall'><instance_effect url='#wall-fx'/>"
                  "</material></library_materials>"
                  "<library_effects><effect id='wall-fx'><profile_COMMON>"
                  "<newparam sid='s'><surface type='2D'><init_from>brick-image</init_from></surface></newparam>"
                  "<newparam sid='t'><sampler2D><source>s</source></sampler2D></newparam>"
                  "<technique sid='common'><lambert><emission><color>0 0 0 1</color></emission>"
                  "<diffuse><texture texture='t' texcoord='UV'/></diffuse>"
                  "<shininess><float>1.000005</float></shininess></lambert></technique>"
                  "</profile_COMMON></effect></library_effects></COLLADA>");

    ASSERT_EQ(converter.Appearances.size(), 1u);
    EXPECT_EQ(Written(converter.Appearances[0], 0),
              "<Appearance containerField='appearance' DEF='Wall'>\n"
              "\t<Material containerField='material' DEF='MAT_Wall' diffuseColor='0.8 0.8 0.8' "
              "emissiveColor='0 0 0' transparency='0' shininess='0.01'/>\n"
              "\t\t<ImageTexture containerField='texture' DEF='IT_brick-image' url='brick.jpg'/>\n"
              "</Appearance>\n");
}

}  // namespace
}  // namespace morvane
