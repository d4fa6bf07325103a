#include <gtest/gtest.h>

#include <string>

#include "animation/animation_node.h"
#include "appearance/appearance_handlers.h"
#include "events/central_object.h"
#include "test_support.h"

namespace morvane {
namespace {

using test::ParseDocument;

std::string ImageUrlFor(const std::string& initFrom) {
    X3dConverter converter;
    ParseDocument(converter, "<COLLADA><library_images><image id='i'><init_from>" + initFrom +
                                 "</init_from></image></library_images></COLLADA>");
    if (converter.Images.size() != 1) return "<" + std::to_string(converter.Images.size()) + " images>";
    return converter.Images[0]->Url;
}

TEST(ImageReading, FileNamesLoseTheirPathAndSomeExtensionsBecomeJpg) {
    EXPECT_EQ(ImageUrlFor("textures\\brick.tga"), "brick.jpg");
    EXPECT_EQ(ImageUrlFor("../a/b/photo.tiff"), "photo.jpg");
    EXPECT_EQ(ImageUrlFor("a.tif"), "a.jpg");
    EXPECT_EQ(ImageUrlFor("brick.TGA"), "brick.TGA");
    EXPECT_EQ(ImageUrlFor("a.png"), "a.png");
    EXPECT_EQ(ImageUrlFor("a.tga.bak"), "a.jpg.bak");
    EXPECT_EQ(ImageUrlFor("a\\b/c\\d.tga"), "d.jpg");
    EXPECT_EQ(ImageUrlFor("a\\b/c/d.tga"), "d.jpg");
    // One occurrence of each, in the order tga, tiff, tif.
    EXPECT_EQ(ImageUrlFor("x.tga.tga"), "x.jpg.tga");
    EXPECT_EQ(ImageUrlFor("x.tif.tif"), "x.jpg.tif");
    EXPECT_EQ(ImageUrlFor("x.tiff.tif"), "x.jpg.jpg");
    // The later .tif search also finds the start of a second .tiff.
    EXPECT_EQ(ImageUrlFor("x.tiff.tiff"), "x.jpg.jpgf");
    EXPECT_EQ(ImageUrlFor("x.tga.tif"), "x.jpg.jpg");
    EXPECT_EQ(ImageUrlFor("file:///C:/my%20maps/wood.tif"), "wood.jpg");
    EXPECT_EQ(ImageUrlFor(" padded.tga\n"), " padded.jpg\n");
    EXPECT_EQ(ImageUrlFor("dir/"), "");
}

TEST(ImageReading, EachInitFromOfAnImageMakesOneNode) {
    X3dConverter converter;
    ParseDocument(converter,
                  "<COLLADA><library_images>"
                  "<image id='none'/>"
                  "<image id='twice'><init_from>first.png</init_from><init_from>second.png</init_from></image>"
                  "<image><init_from>anonymous.png</init_from></image>"
                  "</library_images><init_from>stray.png</init_from></COLLADA>");

    ASSERT_EQ(converter.Images.size(), 3u);
    EXPECT_EQ(converter.Images[0]->Id, "twice");
    EXPECT_EQ(converter.Images[0]->Url, "first.png");
    EXPECT_EQ(converter.Images[1]->Id, "twice");
    EXPECT_EQ(converter.Images[1]->Url, "second.png");
    EXPECT_EQ(converter.Images[2]->Id, "");
    EXPECT_EQ(converter.Images[2]->Url, "anonymous.png");
    EXPECT_EQ(converter.Images[0]->Document, &converter);
    EXPECT_FALSE(converter.Images[0]->Written);

    EXPECT_EQ(FindImage(converter.Images, "twice"), converter.Images[0].get());
    EXPECT_EQ(FindImage(converter.Images, "none"), nullptr);
    EXPECT_TRUE(converter.NewParams.empty());
}

const char* const kBrickEffect =
    "<effect id='e'><profile_COMMON>"
    "<newparam sid='brick-surface'><surface type='2D'><init_from>brick-image</init_from>"
    "<format>A8R8G8B8</format></surface></newparam>"
    "<newparam sid='brick-sampler'><sampler2D><source>brick-surface</source>"
    "<minfilter>LINEAR_MIPMAP_LINEAR</minfilter></sampler2D></newparam>"
    "<technique sid='common'><phong><diffuse><texture texture='brick-sampler' texcoord='CHANNEL1'/>"
    "</diffuse></phong></technique></profile_COMMON></effect>";

TEST(ImageReading, NewparamsRecordTheSamplerAndSurfaceLinks) {
    X3dConverter converter;
    ParseDocument(converter, std::string("<COLLADA><library_effects>") + kBrickEffect +
                                 "<effect id='f'><profile_COMMON><newparam sid='lonely'/></profile_COMMON></effect>"
                                 "</library_effects></COLLADA>");

    ASSERT_EQ(converter.NewParams.size(), 3u);
    EXPECT_EQ(converter.NewParams[0].Sid, "brick-surface");
    EXPECT_EQ(converter.NewParams[0].Source, "");
    EXPECT_EQ(converter.NewParams[0].InitFrom, "brick-image");
    EXPECT_EQ(converter.NewParams[1].Sid, "brick-sampler");
    EXPECT_EQ(converter.NewParams[1].Source, "brick-surface");
    EXPECT_EQ(converter.NewParams[1].InitFrom, "");
    EXPECT_EQ(converter.NewParams[2].Sid, "lonely");
    EXPECT_EQ(converter.NewParams[2].Source, "");
    EXPECT_EQ(converter.NewParams[2].InitFrom, "");
    // An init_from of a newparam is no image.
    EXPECT_TRUE(converter.Images.empty());
    // The texture lies in the working record, as no material took the effect.
    EXPECT_EQ(converter.CurrentAppearance.DiffuseTexture.Texture, "brick-sampler");
    EXPECT_EQ(converter.CurrentAppearance.DiffuseTexture.TexCoord, "CHANNEL1");
}

TEST(ImageReading, TextureFillsTheDiffuseOrAmbientSlotOnly) {
    X3dConverter converter;
    ParseDocument(converter,
                  "<COLLADA><effect><profile_COMMON><technique><phong>"
                  "<emission><texture texture='e' texcoord='1'/></emission>"
                  "<specular><texture texture='s' texcoord='2'/></specular>"
                  "<transparent><texture texture='t' texcoord='3'/></transparent>"
                  "<ambient><texture texture='a'/></ambient>"
                  "<diffuse><texture texture='first' texcoord='UV0'/><texture texture='second'/></diffuse>"
                  "</phong></technique></profile_COMMON></effect></COLLADA>");

    const AppearanceNode& working = converter.CurrentAppearance;
    EXPECT_EQ(working.AmbientTexture.Texture, "a");
    EXPECT_EQ(working.AmbientTexture.TexCoord, "");
    // The second texture of one diffuse replaces the first, coordinates too.
    EXPECT_EQ(working.DiffuseTexture.Texture, "second");
    EXPECT_EQ(working.DiffuseTexture.TexCoord, "");
}

TEST(TextureResolution, FollowsSamplerToSurfaceToImageOrNamesAnImage) {
    X3dConverter converter;
    // The images come after the effects: the chain is followed only later.
    ParseDocument(converter,
                  std::string("<COLLADA><library_effects>") + kBrickEffect +
                      "<effect id='g'><profile_COMMON>"
                      "<newparam sid='brick-surface'><surface><init_from>other-image</init_from></surface></newparam>"
                      "<newparam sid='padded'><sampler2D><source> brick-surface</source></sampler2D></newparam>"
                      "<newparam sid='to-nothing'><sampler2D><source>no-surface</source></sampler2D></newparam>"
                      "<newparam sid='dangling'><sampler2D><source>bad-surface</source></sampler2D></newparam>"
                      "<newparam sid='bad-surface'><surface><init_from>no-image</init_from></surface></newparam>"
                      "</profile_COMMON></effect></library_effects>"
                      "<library_images><image id='other-image'><init_from>other.png</init_from></image>"
                      "<image id='brick-image'><init_from>brick.png</init_from></image></library_images></COLLADA>");

    ASSERT_EQ(converter.Images.size(), 2u);
    ImageTextureNode* other = converter.Images[0].get();
    ImageTextureNode* brick = converter.Images[1].get();
    auto resolve = [&](const std::string& name) {
        return ResolveTexture(converter.Images, converter.NewParams, name);
    };
    // The first record of a sid wins, whichever effect it stands in.
    EXPECT_EQ(resolve("brick-sampler"), brick);
    EXPECT_EQ(resolve("brick-image"), brick);
    EXPECT_EQ(resolve("other-image"), other);
    // A surface is also a record with a Source of its own, which is empty.
    EXPECT_EQ(resolve("brick-surface"), nullptr);
    EXPECT_EQ(resolve("padded"), nullptr);
    EXPECT_EQ(resolve("to-nothing"), nullptr);
    EXPECT_EQ(resolve("dangling"), nullptr);
    EXPECT_EQ(resolve("unknown"), nullptr);
    EXPECT_EQ(resolve(""), nullptr);
}

TEST(AnimationSources, SourceInsideAnAnimationGetsARecordAndItsArray) {
    X3dConverter converter;
    AnimationNode animation;
    ParseDocument(converter, "<COLLADA><source id='outside'/></COLLADA>");
    EXPECT_EQ(converter.FindHandlerAs<SourceHandler>("source")->Id, "outside");

    // Without the animation handlers the stack is filled by hand: a fresh
    // document would empty it, so the events are sent one by one.
    ASSERT_EQ(converter.startDocument(), kResultOk);
    converter.Sources.push_back(std::make_unique<FloatArray>(FloatArray{"times-array", {0.0f, 1.0f}}));
    struct NoAttributes : AttributeList {
        bool GetValueFromName(std::string_view, std::string_view&) const override { return false; }
    } none;
    struct IdAttribute : AttributeList {
        bool GetValueFromName(std::string_view name, std::string_view& value) const override {
            if (name != "id") return false;
            value = "times";
            return true;
        }
    } withId;

    // An open animation with nothing on the stack is passed over.
    converter.startElement("animation", none);
    converter.startElement("source", withId);
    converter.endElement("source");

    converter.AnimationStack.push_back(&animation);
    converter.startElement("source", withId);
    ASSERT_EQ(animation.SourceRecords.size(), 1u);
    EXPECT_EQ(animation.SourceRecords[0].Id, "times");
    EXPECT_EQ(animation.SourceRecords[0].Array, nullptr);
    animation.SourceRecords[0].Accessor.SourceId = "times-array";
    converter.endElement("source");
    EXPECT_EQ(animation.SourceRecords[0].Array, converter.Sources[0].get());

    // A record that is gone by the end tag is not looked for.
    converter.startElement("source", withId);
    animation.SourceRecords.clear();
    converter.endElement("source");
    converter.endElement("animation");
    EXPECT_TRUE(animation.SourceRecords.empty());
}

}  // namespace
}  // namespace morvane
