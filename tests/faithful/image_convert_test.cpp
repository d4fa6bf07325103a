#include "faithful/image_convert.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

// An independent reader of the PNGs written, private to this file.
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_NO_STDIO
#define STBI_ONLY_PNG
#include <stb_image.h>

namespace morvane::faithful {
namespace {

using Bytes = std::vector<unsigned char>;
using namespace std::literals;

Bytes Of(std::initializer_list<int> values) {
    Bytes out;
    for (int v : values) out.push_back(static_cast<unsigned char>(v));
    return out;
}

Bytes Of(std::string_view text) { return Bytes(text.begin(), text.end()); }

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// A TGA header: no image id, no colour map.
Bytes TgaHeader(int type, int width, int height, int bits, int descriptor) {
    return Of({0, 0, type, 0, 0, 0, 0, 0, 0, 0, 0, 0, width & 255, width >> 8, height & 255, height >> 8, bits,
               descriptor});
}

// The pixels of a PNG as stb reads them back: width, height, channels, then
// the bytes row by row from the top.
struct Decoded {
    int Width = 0, Height = 0, Channels = 0;
    Bytes Pixels;
};

Decoded ReadPng(const Bytes& png) {
    Decoded out;
    EXPECT_FALSE(png.empty());
    if (png.empty()) return out;
    stbi_uc* pixels = stbi_load_from_memory(png.data(), static_cast<int>(png.size()), &out.Width, &out.Height,
                                            &out.Channels, 0);
    EXPECT_NE(pixels, nullptr);
    if (pixels == nullptr) return out;
    out.Pixels.assign(pixels, pixels + out.Width * out.Height * out.Channels);
    stbi_image_free(pixels);
    return out;
}

TEST(ImageConvert, FormatsByTheirBytesThenByTheirName) {
    const Bytes png = Of("\x89PNG\r\n\x1A\n....");
    EXPECT_EQ(SniffImageFormat(png, "a.png"), ImageFormat::Png);
    EXPECT_EQ(SniffImageFormat(png, "a.tga"), ImageFormat::Png);  // the bytes win
    EXPECT_EQ(SniffImageFormat(Of({0xFF, 0xD8, 0xFF, 0xE0}), "a.JPG"), ImageFormat::Jpeg);
    EXPECT_EQ(SniffImageFormat(Of("GIF89a.."), ""), ImageFormat::Gif);
    EXPECT_EQ(SniffImageFormat(Of("RIFF\x10\0\0\0WEBPVP8 "sv), ""), ImageFormat::WebP);
    EXPECT_EQ(SniffImageFormat(Of("RIFF\x10\0\0\0WAVEfmt "sv), "a.webp"), ImageFormat::Unknown);
    EXPECT_EQ(SniffImageFormat(Of({'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0, 40, 0, 0, 0}), ""), ImageFormat::Bmp);
    EXPECT_EQ(SniffImageFormat(Of("BM is not enough"), "a.bmp"), ImageFormat::Unknown);
    EXPECT_EQ(SniffImageFormat(Of({'I', 'I', 42, 0}), ""), ImageFormat::Tiff);
    EXPECT_EQ(SniffImageFormat(Of({'M', 'M', 0, 42}), ""), ImageFormat::Tiff);
    EXPECT_EQ(SniffImageFormat(Of("8BPS\0\1"sv), ""), ImageFormat::Psd);
    EXPECT_EQ(SniffImageFormat(Of("#?RADIANCE\n"), ""), ImageFormat::Hdr);
    EXPECT_EQ(SniffImageFormat(Of("P6\n2 2\n255\n"), ""), ImageFormat::Pnm);
    // No signature: TGA and SVG by their names, SVG by its root element too.
    EXPECT_EQ(SniffImageFormat(TgaHeader(2, 1, 1, 24, 0), "maps/A.TGA"), ImageFormat::Tga);
    EXPECT_EQ(SniffImageFormat(TgaHeader(2, 1, 1, 24, 0), "maps.tga/a"), ImageFormat::Unknown);
    EXPECT_EQ(SniffImageFormat(Of("<svg/>"), "a.svg"), ImageFormat::Svg);
    EXPECT_EQ(SniffImageFormat(Of("\xEF\xBB\xBF <?xml version='1.0'?>\n<!-- x -->\n<svg xmlns='...'>"), "a"),
              ImageFormat::Svg);
    EXPECT_EQ(SniffImageFormat(Of("<?xml version='1.0'?><COLLADA><svg"), "a.xml"), ImageFormat::Unknown);
    EXPECT_EQ(SniffImageFormat(Of(""), "a.jpg"), ImageFormat::Unknown);

    for (ImageFormat f : {ImageFormat::Png, ImageFormat::Jpeg, ImageFormat::Gif, ImageFormat::Bmp, ImageFormat::WebP,
                          ImageFormat::Svg}) {
        EXPECT_TRUE(BrowsersShow(f)) << FormatName(f);
        EXPECT_FALSE(CanConvertToPng(f)) << FormatName(f);
    }
    for (ImageFormat f : {ImageFormat::Tga, ImageFormat::Psd, ImageFormat::Pnm, ImageFormat::Hdr, ImageFormat::Pic}) {
        EXPECT_FALSE(BrowsersShow(f)) << FormatName(f);
        EXPECT_TRUE(CanConvertToPng(f)) << FormatName(f);
    }
    EXPECT_FALSE(BrowsersShow(ImageFormat::Tiff));
}

TEST(ImageConvert, BrowserFormatsPassAsTheyAre) {
    const Bytes png = Of("\x89PNG\r\n\x1A\nnot even decoded");
    const BrowserImage image = PrepareForBrowsers(png, "wood.png");
    EXPECT_EQ(image.Result, BrowserImage::Action::AsIs);
    EXPECT_EQ(image.Format, ImageFormat::Png);
    EXPECT_TRUE(image.Png.Png.empty());
    const BrowserImage unknown = PrepareForBrowsers(Of("plain text"), "notes.txt");
    EXPECT_EQ(unknown.Result, BrowserImage::Action::Failed);
    EXPECT_EQ(unknown.Png.Error, "not an image of a known format");
}

TEST(ImageConvert, UncompressedTgaFromTheBottomRow) {
    // 2 x 2, 24 bits, rows from the bottom, each pixel B G R.
    const Bytes tga = TgaHeader(2, 2, 2, 24, 0) + Of({255, 0, 0, 255, 255, 255,  // bottom: blue, white
                                                      0, 0, 255, 0, 255, 0});   // top: red, green
    const BrowserImage image = PrepareForBrowsers(tga, "logo.tga");
    ASSERT_EQ(image.Result, BrowserImage::Action::Converted) << image.Png.Error;
    const Decoded d = ReadPng(image.Png.Png);
    EXPECT_EQ(d.Width, 2);
    EXPECT_EQ(d.Channels, 3);
    EXPECT_EQ(d.Pixels, Of({255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255}));
    // The same bytes every time.
    EXPECT_EQ(ConvertToPng(tga, ImageFormat::Tga).Png, image.Png.Png);

    // Grey, 8 bits, rows from the top.
    const Decoded grey = ReadPng(ConvertToPng(TgaHeader(3, 2, 1, 8, 0x20) + Of({10, 200}), ImageFormat::Tga).Png);
    EXPECT_EQ(grey.Channels, 1);
    EXPECT_EQ(grey.Pixels, Of({10, 200}));
}

TEST(ImageConvert, RunLengthTgaWithAlpha) {
    // 3 x 1, 32 bits with 8 alpha bits, top-left origin: a run of two
    // pixels, then one raw pixel, each B G R A.
    const Bytes tga = TgaHeader(10, 3, 1, 32, 0x28) + Of({0x81, 0x10, 0x20, 0x30, 0x80,  //
                                                          0x00, 0x40, 0x50, 0x60, 0xFF});
    const PngImage png = ConvertToPng(tga, ImageFormat::Tga);
    const Decoded d = ReadPng(png.Png);
    EXPECT_EQ(d.Channels, 4);
    EXPECT_EQ(d.Pixels, Of({0x30, 0x20, 0x10, 0x80, 0x30, 0x20, 0x10, 0x80, 0x60, 0x50, 0x40, 0xFF}));

    // Alpha bytes all 0 (or all 255) say nothing: the PNG has no alpha, so
    // that a browser does not draw the texture invisible.
    for (int alpha : {0, 255}) {
        const Bytes flat = TgaHeader(10, 3, 1, 32, 0x28) + Of({0x82, 0x10, 0x20, 0x30, alpha});
        const Decoded opaque = ReadPng(ConvertToPng(flat, ImageFormat::Tga).Png);
        EXPECT_EQ(opaque.Channels, 3) << alpha;
        EXPECT_EQ(opaque.Pixels, Of({0x30, 0x20, 0x10, 0x30, 0x20, 0x10, 0x30, 0x20, 0x10})) << alpha;
    }
}

// A little-endian baseline TIFF of one uncompressed RGB strip, 8 bits a
// sample: the header, the strip, the bits per sample, then the directory.
Bytes Tiff(int width, int height, const Bytes& strip) {
    Bytes out = Of("II*\0"sv);
    const auto put = [&](std::uint32_t v, int bytes) {
        for (int i = 0; i < bytes; ++i) out.push_back(static_cast<unsigned char>((v >> (8 * i)) & 255));
    };
    const auto bitsAt = static_cast<std::uint32_t>(8 + strip.size());
    put(bitsAt + 6, 4);
    out = out + strip + Of({8, 0, 8, 0, 8, 0});
    // Entries by tag: a SHORT's value stands in the first two bytes of the
    // four-byte value field.
    const auto entry = [&](int tag, int type, std::uint32_t count, std::uint32_t value) {
        put(tag, 2);
        put(type, 2);
        put(count, 4);
        put(value, 4);
    };
    put(10, 2);
    entry(256, 3, 1, width);
    entry(257, 3, 1, height);
    entry(258, 3, 3, bitsAt);
    entry(259, 3, 1, 1);  // no compression
    entry(262, 3, 1, 2);  // RGB
    entry(273, 4, 1, 8);  // the strip
    entry(277, 3, 1, 3);
    entry(278, 3, 1, height);
    entry(279, 4, 1, static_cast<std::uint32_t>(strip.size()));
    entry(284, 3, 1, 1);  // samples of a pixel together
    put(0, 4);            // no further directory
    return out;
}

TEST(ImageConvert, UncompressedTiff) {
    const Bytes rgb = {255, 0, 0, 0, 255, 0, 0, 0, 255, 9, 8, 7};
    const Bytes tiff = Tiff(2, 2, rgb);
    ASSERT_EQ(SniffImageFormat(tiff, "map.tif"), ImageFormat::Tiff);
    if (!CanConvertToPng(ImageFormat::Tiff)) {
        EXPECT_EQ(ConvertToPng(tiff, ImageFormat::Tiff).Error, "TIFF images cannot be converted by this build");
        return;
    }
    const BrowserImage image = PrepareForBrowsers(tiff, "map.tif");
    ASSERT_EQ(image.Result, BrowserImage::Action::Converted) << image.Png.Error;
    const Decoded d = ReadPng(image.Png.Png);
    EXPECT_EQ(d.Width, 2);
    // Read as RGBA, every alpha 255: written as RGB.
    EXPECT_EQ(d.Channels, 3);
    EXPECT_EQ(d.Pixels, rgb);
}

TEST(ImageConvert, BrokenAndHostileImagesAreRefusedQuietly) {
    testing::internal::CaptureStderr();
    // Fewer pixel bytes than the header announces.
    const PngImage truncated = ConvertToPng(TgaHeader(2, 4, 4, 24, 0) + Of({1, 2, 3}), ImageFormat::Tga);
    EXPECT_TRUE(truncated.Png.empty());
    EXPECT_EQ(truncated.Error.rfind("not a readable TGA image", 0), 0u) << truncated.Error;
    // A header of no known kind.
    EXPECT_TRUE(ConvertToPng(Of({0, 0, 77, 0, 0}), ImageFormat::Tga).Png.empty());
    EXPECT_TRUE(ConvertToPng(Of("8BPS garbage"), ImageFormat::Psd).Png.empty());
    // Far more pixels than allowed: refused before anything is allocated.
    const PngImage huge = ConvertToPng(TgaHeader(2, 10000, 10000, 24, 0) + Of({1, 2, 3}), ImageFormat::Tga);
    EXPECT_EQ(huge.Error, "the image has 10000 x 10000 pixels, more than the 67108864 allowed");
    // TIFFs: a directory beyond the end, a strip beyond the end, and too many pixels.
    if (CanConvertToPng(ImageFormat::Tiff)) {
        EXPECT_TRUE(ConvertToPng(Of({'I', 'I', 42, 0, 0xFF, 0xFF, 0, 0}), ImageFormat::Tiff).Png.empty());
        const PngImage missing = ConvertToPng(Tiff(64, 64, Bytes(12, 7)), ImageFormat::Tiff);
        EXPECT_TRUE(missing.Png.empty());
        EXPECT_EQ(missing.Error.rfind("not a readable TIFF image", 0), 0u) << missing.Error;
        const PngImage wide = ConvertToPng(Tiff(60000, 60000, Bytes(1, 0)), ImageFormat::Tiff);
        EXPECT_EQ(wide.Error, "the image has 60000 x 60000 pixels, more than the 67108864 allowed");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace morvane::faithful
