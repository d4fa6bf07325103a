// Images for web browsers: which formats a browser shows as they are, and
// the conversion of the others to PNG in memory. TGA, PSD, PNM, HDR and
// Softimage PIC are decoded by stb_image, TIFF by libtiff (when the build
// has it, MORVANE_TIFF); PNG is written by stb_image_write. The same input
// always gives the same bytes. Nothing is printed: every failure is a value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace morvane::faithful {

enum class ImageFormat { Unknown, Png, Jpeg, Gif, Bmp, WebP, Svg, Tga, Tiff, Psd, Pnm, Hdr, Pic };

// The largest image converted: 8192 x 8192 pixels, in any shape. Decoding
// takes up to 4 bytes a pixel and encoding about twice that again, so one
// image costs at most about 800 MB, whatever its file claims.
inline constexpr std::uint64_t kMaxImagePixels = std::uint64_t{1} << 26;
// The largest image file read: more than an uncompressed image of the
// largest size needs.
inline constexpr std::uint64_t kMaxImageFileBytes = std::uint64_t{512} << 20;

// The format of an image, from its first bytes where they have a
// signature, else from the extension of `fileName` for the formats that
// have none (TGA, SVG). Unknown when neither says.
ImageFormat SniffImageFormat(std::span<const unsigned char> bytes, std::string_view fileName);

// "PNG", "JPEG", "TGA"...; "unknown".
std::string_view FormatName(ImageFormat format);

// PNG, JPEG, GIF, BMP, WebP and SVG: what every current browser shows.
bool BrowsersShow(ImageFormat format);

// Whether ConvertToPng can decode the format in this build.
bool CanConvertToPng(ImageFormat format);

struct PngImage {
    std::vector<unsigned char> Png;  // empty on failure
    std::string Error;               // why, on failure
    int Width = 0;
    int Height = 0;
    int Channels = 0;  // 1 grey, 2 grey and alpha, 3 RGB, 4 RGBA
};

// Decodes an image of the given format and encodes it as PNG with as many
// channels as it has. An alpha channel that is the same for every pixel,
// 0 or 255, is left out: fully opaque it says nothing, and fully clear it
// is a TGA or TIFF whose exporter left the alpha bytes at 0, which a
// browser would draw invisible. Refused: images above `mostPixels`,
// formats this build cannot decode, and broken files.
PngImage ConvertToPng(std::span<const unsigned char> bytes, ImageFormat format,
                      std::uint64_t mostPixels = kMaxImagePixels);

// What to do with an image for a browser.
struct BrowserImage {
    enum class Action {
        AsIs,       // refer to the file as it is
        Converted,  // refer to Png.Png, written as a new file
        Failed,     // unusable: Png.Error says why
    };
    Action Result = Action::Failed;
    ImageFormat Format = ImageFormat::Unknown;
    PngImage Png;
};
BrowserImage PrepareForBrowsers(std::span<const unsigned char> bytes, std::string_view fileName,
                                std::uint64_t mostPixels = kMaxImagePixels);

// Reads a whole file of at most kMaxImageFileBytes; false with the reason
// in `error` otherwise.
bool ReadImageFile(const std::string& path, std::vector<unsigned char>& bytes, std::string& error);

}  // namespace morvane::faithful
