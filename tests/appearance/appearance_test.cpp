#include <gtest/gtest.h>

#include <deque>

#include "document/x3d_converter.h"
#include "test_support.h"

namespace morvane {
namespace {

std::string Effect(const std::string& attributes, const std::string& phong) {
    return "<effect " + attributes + "><profile_COMMON><technique sid='common'><phong>" + phong +
           "</phong></technique></profile_COMMON></effect>";
}

std::string Material(const std::string& attributes, const std::string& effectUrl) {
    return "<material " + attributes + ">" + (effectUrl.empty() ? "" : "<instance_effect url='" + effectUrl + "'/>") +
           "</material>";
}

// Parses `prefix`, then `materials`, then `effects` into `converter`.
const AppearanceList& Read(X3dConverter& converter, const std::string& materials, const std::string& effects,
                           const std::string& prefix = "") {
    test::ParseDocument(converter, "<COLLADA>" + prefix + "<library_materials>" + materials +
                                       "</library_materials><library_effects>" + effects +
                                       "</library_effects></COLLADA>");
    return converter.State().Appearances;
}

// A record as "diffuse | emission | shininess transparency | diffuse and
// ambient texture names with their coordinates".
std::string Described(const AppearanceNode& a) {
    char text[256];
    std::snprintf(text, sizeof text, "%g %g %g %g | %g %g %g %g | %g %g | ", a.DiffuseColor[0], a.DiffuseColor[1],
                  a.DiffuseColor[2], a.DiffuseColor[3], a.EmissionColor[0], a.EmissionColor[1], a.EmissionColor[2],
                  a.EmissionColor[3], a.Shininess, a.Transparency);
    return text + a.DiffuseTexture.Texture + "/" + a.DiffuseTexture.TexCoord + " " + a.AmbientTexture.Texture + "/" +
           a.AmbientTexture.TexCoord;
}

TEST(MaterialReading, ColoursLingerForTheNextEffectButTextureNamesDoNot) {
    X3dConverter converter;
    // A light's colour comes first and must reach no material; alpha is never read.
    const auto& stored = Read(
        converter, Material("id='m1'", "#e1") + Material("id='m2'", "#e2"),
        Effect("id='e1'",
               "<emission><color>0.1 0.2 0.3 0.5</color></emission><shininess><float>20</float></shininess>"
               "<ambient><texture texture='dirt' texcoord='UV1'/></ambient><transparency><float>0.25</float>"
               "</transparency><diffuse><texture texture='brick' texcoord='UV0'/></diffuse>") +
            Effect("id='e2'", "<diffuse><color>0 0 1 0.5</color></diffuse>"),
        "<library_lights><light id='l'><technique_common><point><color>0.5 0.6 0.7</color></point>"
        "</technique_common></light></library_lights>");
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(Described(stored[0]), "0.8 0.8 0.8 1 | 0.1 0.2 0.3 1 | 20 0.25 | brick/UV0 dirt/UV1");
    EXPECT_EQ(Described(stored[1]), "0 0 1 1 | 0.1 0.2 0.3 1 | 20 0.25 | /UV0 /UV1");

    // Effects before their materials find no target: every material
    // takes what the last effect left, texture name included.
    X3dConverter early;
    Read(early, Material("id='m1'", "#e1") + Material("id='m2'", "#e2"), "",
         "<library_effects>" + Effect("id='e1'", "<diffuse><color>0.1 0.1 0.1</color></diffuse>") +
             Effect("id='e2'", "<diffuse><texture texture='tex'/></diffuse>") + "</library_effects>");
    ASSERT_EQ(early.State().Appearances.size(), 2u);
    for (const AppearanceNode& appearance : early.State().Appearances) {
        EXPECT_EQ(Described(appearance), "0.1 0.1 0.1 1 | 0.8 0.8 0.8 1 | 0.2 0 | tex/ /");
    }
}

TEST(MaterialReading, EachEffectReachesTheFirstMaterialOfItsNameOrElseId) {
    X3dConverter converter;
    const auto& stored =
        Read(converter,
             Material("id='a' name='A'", "#shared") + Material("id='b' name='B'", "#shared") +
                 Material("id='byId' name='ById'", "#fx-1") + Material("id='byName' name='ByName'", "#Shiny") +
                 Material("id='p' name='Plain'", "") + Material("id='q' name='Lost'", "#absent"),
             Effect("id='shared' name='SharedFx'", "<diffuse><color>0.5 0.5 0.5</color></diffuse>") +
                 Effect("id='fx-1' name='Shiny'", "<diffuse><color>0.25 0.25 0.25</color></diffuse>") +
                 // Without a name it looks for the empty reference first.
                 Effect("id='absent'", "<diffuse><color>0.75 0.75 0.75</color></diffuse>") +
                 Effect("id='shared' name='Again'", "<diffuse><color>0.3 0.3 0.3</color></diffuse>"));
    ASSERT_EQ(stored.size(), 6u);
    const float diffuse[] = {0.3f, 0.8f, 0.8f, 0.25f, 0.75f, 0.8f};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(stored[i].DiffuseColor[0], diffuse[i]) << stored[i].Name;
}

TEST(MaterialReading, ColoursFloatsAndTexturesGoOnlyWhereTheirContextSays) {
    X3dConverter converter;
    const auto& stored =
        Read(converter, Material("id='m' name='M'", "#e"),
             Effect("id='e'",
                    "<transparent><color>0 0 0 1</color><float>9</float><texture texture='t'/></transparent>"
                    "<reflectivity><color>0 0 0</color></reflectivity>"
                    "<emission><float>7</float><color>0.5</color><texture texture='e'/></emission>"
                    "<diffuse><float>8</float><color>0.1 0.2 0.3 0.4 0.5</color>"
                    "<texture texture='first' texcoord='UV0'/><texture texture='second'/></diffuse>"
                    "<specular><texture texture='s'/></specular><ambient><texture texture='a'/></ambient>"
                    "<shininess><float>12.5 99</float></shininess><shininess><float>high</float></shininess>"
                    "<transparency><float>not a number</float></transparency>"));
    ASSERT_EQ(stored.size(), 1u);
    // A short colour replaces only what it reaches, a long one stops at
    // blue, and text that is no number leaves the former value. The second
    // texture of one diffuse replaces the first, coordinates too.
    EXPECT_EQ(Described(stored[0]), "0.1 0.2 0.3 1 | 0.5 0.8 0.8 1 | 12.5 0 | second/ a/");
}

TEST(MaterialReading, FullTransparencyMeansOpaqueOnlyForMayaAndMax) {
    auto transparency = [](const char* id, const char* value) {
        return Effect(std::string("id='") + id + "'",
                      std::string("<transparency><float>") + value + "</float></transparency>");
    };
    const std::string materials =
        Material("id='a'", "#one") + Material("id='b'", "#quarter") + Material("id='c'", "#almost");
    const std::string effects =
        transparency("one", "1.0") + transparency("quarter", "0.25") + transparency("almost", "0.9999999");
    for (const auto& [tool, full] : {std::pair{"Maya 2011", 0.0f}, {"3ds Max 9", 0.0f}, {"maya", 1.0f}, {"", 1.0f}}) {
        X3dConverter converter;
        const auto& stored = Read(converter, materials, effects,
                                  std::string("<asset><contributor><authoring_tool>") + tool +
                                      "</authoring_tool></contributor></asset>");
        ASSERT_EQ(stored.size(), 3u);
        EXPECT_EQ(stored[0].Transparency, full) << tool;
        EXPECT_FLOAT_EQ(stored[1].Transparency, 0.25f) << tool;
        EXPECT_NE(stored[2].Transparency, 0.0f) << tool;
    }
}

TEST(ImageReading, FileNamesLoseTheirPathAndSomeExtensionsBecomeJpg) {
    const std::pair<const char*, const char*> cases[] = {
        {"textures\\brick.tga", "brick.jpg"}, {"../a/b/photo.tiff", "photo.jpg"}, {"a.tif", "a.jpg"},
        {"brick.TGA", "brick.TGA"}, {"a.png", "a.png"}, {"a.tga.bak", "a.jpg.bak"}, {"a\\b/c\\d.tga", "d.jpg"},
        {"a\\b/c/d.tga", "d.jpg"},
        // One occurrence of each, in the order tga, tiff, tif; the later
        // .tif search also finds the start of a second .tiff.
        {"x.tga.tga", "x.jpg.tga"}, {"x.tif.tif", "x.jpg.tif"}, {"x.tiff.tif", "x.jpg.jpg"},
        {"x.tiff.tiff", "x.jpg.jpgf"}, {"x.tga.tif", "x.jpg.jpg"}, {"file:///C:/my%20maps/wood.tif", "wood.jpg"},
        {" padded.tga\n", " padded.jpg\n"}, {"dir/", ""}};
    for (const auto& [initFrom, url] : cases) {
        X3dConverter converter;
        test::ParseDocument(converter, std::string("<COLLADA><library_images><image id='i'><init_from>") + initFrom +
                                           "</init_from></image></library_images></COLLADA>");
        ASSERT_EQ(converter.State().Images.size(), 1u) << initFrom;
        EXPECT_EQ(converter.State().Images[0].Url, url) << initFrom;
    }
}

TEST(TextureResolution, FollowsSamplerToSurfaceToImageOrNamesAnImage) {
    auto param = [](const std::string& sid, const std::string& body) {
        return "<newparam sid='" + sid + "'>" + body + "</newparam>";
    };
    X3dConverter converter;
    // The images come after the effects: the chain is followed only later.
    test::ParseDocument(
        converter,
        "<COLLADA><library_effects><effect id='e'><profile_COMMON>" +
            param("brick-surface", "<surface type='2D'><init_from>brick-image</init_from></surface>") +
            param("brick-sampler", "<sampler2D><source>brick-surface</source></sampler2D>") +
            "</profile_COMMON></effect><effect id='g'><profile_COMMON>" +
            param("brick-surface", "<surface><init_from>other-image</init_from></surface>") +
            param("padded", "<sampler2D><source> brick-surface</source></sampler2D>") +
            param("dangling", "<sampler2D><source>bad-surface</source></sampler2D>") +
            param("bad-surface", "<surface><init_from>no-image</init_from></surface>") + param("lonely", "") +
            "</profile_COMMON></effect></library_effects><library_images>"
            "<image id='other-image'><init_from>other.png</init_from></image>"
            "<image id='brick-image'><init_from>brick.png</init_from></image></library_images></COLLADA>");
    // An init_from of a newparam is no image.
    ASSERT_EQ(converter.State().Images.size(), 2u);
    // The first record of a sid wins, whichever effect it stands in; a
    // surface is also a record with a Source of its own, which is empty.
    for (const auto& [name, url] : {std::pair{"brick-sampler", "brick.png"}, {"brick-image", "brick.png"},
                                    {"other-image", "other.png"}, {"brick-surface", ""}, {"padded", ""},
                                    {"dangling", ""}, {"lonely", ""}, {"unknown", ""}, {"", ""}}) {
        const ImageTextureNode* image = ResolveTexture(converter.State().Images, converter.State().NewParams, name);
        EXPECT_EQ(image != nullptr ? image->Url : "", url) << name;
    }
}

// The Material line of a record that kept every default.
std::string DefaultMaterial(const std::string& name) {
    return "<Material containerField='material' DEF='MAT_" + name +
           "' diffuseColor='0.8 0.8 0.8' emissiveColor='0.8 0.8 0.8' transparency='0' shininess='0.002'/>\n";
}

// A whole appearance with that material and nothing else.
std::string PlainAppearance(const std::string& name) {
    return "<Appearance containerField='appearance' DEF='" + name + "'>\n\t" + DefaultMaterial(name) +
           "</Appearance>\n";
}

class AppearanceOutput : public ::testing::Test {
protected:
    AppearanceOutput() {
        converter.State().Images.Add(std::make_unique<ImageTextureNode>(&converter, "brick", "brick.jpg"));
        converter.State().Images.Add(std::make_unique<ImageTextureNode>(&converter, "dirt", "dirt maps/dirt.png"));
    }
    AppearanceNode& Add(const std::string& name, const std::string& diffuse = "", const std::string& ambient = "") {
        AppearanceNode& appearance = records.emplace_back(&converter);
        appearance.Name = name;
        appearance.DiffuseTexture.Texture = diffuse;
        appearance.AmbientTexture.Texture = ambient;
        return appearance;
    }
    static std::string Written(AppearanceNode& node) {
        return test::WrittenText([&](TextOutput& out) { node.Write(out, 0); });
    }

    X3dConverter converter;
    std::deque<AppearanceNode> records;
};

TEST_F(AppearanceOutput, NumbersHaveSixSignificantDigitsAndShininessUsesTheFloatFactor) {
    AppearanceNode& odd = Add("Odd");
    odd.DiffuseColor = {0.123456789f, 1e-7f, 1234567.0f, 0.5f};
    odd.EmissionColor = {-0.5f, 2.0f, 0.0f, 1.0f};
    odd.Transparency = 1.0f;
    odd.Shininess = 128.0f;  // not clamped
    EXPECT_NE(Written(odd).find("diffuseColor='0.123457 1e-07 1.23457e+06' emissiveColor='-0.5 2 0' "
                                "transparency='1' shininess='1.28'/>"),
              std::string::npos);

    // The factor is the 32-bit 0.01 (0.0099999997764825820...): 1.000005
    // stored as 1.0000050067901611 gives 0.0100000498..., while an exact
    // 0.01 would give 0.0100001; 1.000035 gives 0.0100003502..., which a
    // product rounded to 32 bits would print as 0.0100003.
    for (const auto& [shininess, text] : {std::pair{1.000005f, "0.01"}, {1.000035f, "0.0100004"}, {0.0f, "0"}}) {
        AppearanceNode& appearance = Add("S");
        appearance.Shininess = shininess;
        EXPECT_NE(Written(appearance).find(std::string(" shininess='") + text + "'/>\n"), std::string::npos)
            << shininess;
    }
}

TEST_F(AppearanceOutput, NamesAreWrittenAsTheyStandAndEachRecordDefinesItself) {
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Written(Add("a<b&'c")), PlainAppearance("a<b&'c"));
}

TEST_F(AppearanceOutput, DiffuseAndAmbientTexturesMakeAMultiTexture) {
    EXPECT_EQ(Written(Add("Wall", "brick", "dirt")),
              "<Appearance containerField='appearance' DEF='Wall'>\n"
              "\t" + DefaultMaterial("Wall") +
              "\t<MultiTexture  containerField='texture' mode='\"MODULATE\" \"MODULATE\"'>\n"
              "\t\t\t<ImageTexture containerField='texture' DEF='IT_brick' url='brick.jpg'/>\n"
              "\t\t\t<ImageTexture containerField='texture' DEF='IT_dirt' url='dirt maps/dirt.png'/>\n"
              "\t</MultiTexture>\n"
              "</Appearance>\n");
    // An unresolved diffuse texture still makes the pair, now with a reference.
    EXPECT_EQ(Written(Add("Again", "missing", "dirt")),
              "<Appearance containerField='appearance' DEF='Again'>\n"
              "\t" + DefaultMaterial("Again") +
              "\t<MultiTexture  containerField='texture' mode='\"MODULATE\" \"MODULATE\"'>\n"
              "\t\t\t<ImageTexture  containerField='texture' USE='IT_dirt' />\n"
              "\t</MultiTexture>\n"
              "</Appearance>\n");
    // An unresolved diffuse texture alone, or an ambient one alone, writes no texture.
    EXPECT_EQ(Written(Add("U", "missing")), PlainAppearance("U"));
    EXPECT_EQ(Written(Add("A", "", "brick")), PlainAppearance("A"));
}

TEST_F(AppearanceOutput, SketchUpDropsTheMaterialOnlyBesideADiffuseTexture) {
    converter.State().ToolIsSketchUp = true;
    EXPECT_EQ(Written(Add("P", "", "brick")), PlainAppearance("P"));
    // Unresolved, the texture still removes the material: nothing is left.
    EXPECT_EQ(Written(Add("U", "missing")), "<Appearance containerField='appearance' DEF='U'>\n</Appearance>\n");
}

}  // namespace
}  // namespace morvane
