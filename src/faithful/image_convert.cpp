#include "faithful/image_convert.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>

// The one place where stb's code is compiled, privately to this file, and
// only the decoders of formats that browsers cannot show: a browser's own
// decoder reads the others.
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_NO_STDIO
#define STBI_ONLY_TGA
#define STBI_ONLY_PSD
#define STBI_ONLY_PNM
#define STBI_ONLY_HDR
#define STBI_ONLY_PIC
#define STBI_MAX_DIMENSIONS (1 << 16)
#include <stb_image.h>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#define STBI_WRITE_NO_STDIO
#include <stb_image_write.h>

#ifndef MORVANE_TIFF
#define MORVANE_TIFF 0
#endif
#if MORVANE_TIFF
#include <tiffio.h>
#endif

namespace morvane::faithful {

namespace {

bool StartsWith(std::span<const unsigned char> bytes, std::string_view signature, std::size_t at = 0) {
    return bytes.size() >= at + signature.size() &&
           std::memcmp(bytes.data() + at, signature.data(), signature.size()) == 0;
}

std::string LowerExtension(std::string_view fileName) {
    const std::size_t slash = fileName.find_last_of("/\\");
    const std::size_t dot = fileName.rfind('.');
    if (dot == std::string_view::npos || (slash != std::string_view::npos && dot < slash)) return {};
    std::string extension(fileName.substr(dot + 1));
    for (char& c : extension) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return extension;
}

// An SVG file starts with its root element, maybe after a BOM, blanks, an
// XML declaration and comments: "<svg" among its first bytes, and no other
// root before it, is taken as enough.
bool LooksLikeSvg(std::span<const unsigned char> bytes) {
    const std::size_t limit = std::min<std::size_t>(bytes.size(), 4096);
    std::string_view head(reinterpret_cast<const char*>(bytes.data()), limit);
    if (head.starts_with("\xEF\xBB\xBF")) head.remove_prefix(3);
    head.remove_prefix(std::min(head.size(), head.find_first_not_of(" \t\r\n")));
    if (!head.starts_with("<svg") && !head.starts_with("<?xml") && !head.starts_with("<!--") &&
        !head.starts_with("<!DOCTYPE svg")) {
        return false;
    }
    // The first element that is no declaration, comment or doctype.
    for (std::size_t at = head.find('<'); at != std::string_view::npos; at = head.find('<', at + 1)) {
        const std::string_view rest = head.substr(at + 1);
        if (rest.starts_with("?") || rest.starts_with("!")) continue;
        return rest.starts_with("svg") && rest.size() > 3 && std::strchr(" \t\r\n>/", rest[3]) != nullptr;
    }
    return false;
}

bool PixelsAllowed(std::uint64_t width, std::uint64_t height, std::uint64_t mostPixels, PngImage& out) {
    if (width == 0 || height == 0) {
        out.Error = "the image has no pixels";
        return false;
    }
    if (width * height > mostPixels) {
        out.Error = "the image has " + std::to_string(width) + " x " + std::to_string(height) +
                    " pixels, more than the " + std::to_string(mostPixels) + " allowed";
        return false;
    }
    return true;
}

// Leaves out an alpha channel that says nothing (see ConvertToPng), in
// place: the pixels then take the front of the buffer.
void DropUniformAlpha(unsigned char* pixels, std::size_t count, int& channels) {
    if (channels != 2 && channels != 4) return;
    const std::size_t stride = static_cast<std::size_t>(channels);
    const unsigned char first = pixels[stride - 1];
    if (first != 0 && first != 255) return;
    for (std::size_t i = 0; i < count; ++i) {
        if (pixels[i * stride + stride - 1] != first) return;
    }
    const std::size_t kept = stride - 1;
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t c = 0; c < kept; ++c) pixels[i * kept + c] = pixels[i * stride + c];
    }
    channels = static_cast<int>(kept);
}

// Encodes out.Width x out.Height pixels of out.Channels bytes each.
void Encode(unsigned char* pixels, PngImage& out) {
    DropUniformAlpha(pixels, static_cast<std::size_t>(out.Width) * static_cast<std::size_t>(out.Height), out.Channels);
    const auto append = [](void* context, void* data, int size) {
        auto* png = static_cast<std::vector<unsigned char>*>(context);
        const auto* bytes = static_cast<const unsigned char*>(data);
        png->insert(png->end(), bytes, bytes + size);
    };
    if (!stbi_write_png_to_func(append, &out.Png, out.Width, out.Height, out.Channels, pixels,
                                out.Width * out.Channels)) {
        out.Png.clear();
        out.Error = "the PNG could not be written";
    }
}

std::string StbReason() {
    const char* reason = stbi_failure_reason();
    return reason != nullptr ? std::string(" (") + reason + ")" : std::string();
}

// stb reads past the end of a TGA as black pixels; an uncompressed one cut
// short (a broken copy or download) is refused instead.
bool TgaCutShort(std::span<const unsigned char> bytes) {
    if (bytes.size() < 18) return true;
    const unsigned type = bytes[2];
    if (type != 1 && type != 2 && type != 3) return false;
    const auto word = [&](std::size_t at) { return std::uint64_t{bytes[at]} | std::uint64_t{bytes[at + 1]} << 8; };
    const std::uint64_t paletteBytes = bytes[1] != 0 ? word(5) * ((bytes[7] + 7u) / 8) : 0;
    const std::uint64_t pixelBytes = word(12) * word(14) * ((bytes[16] + 7u) / 8);
    return bytes.size() < 18 + bytes[0] + paletteBytes + pixelBytes;
}

void DecodeWithStb(std::span<const unsigned char> bytes, ImageFormat format, std::uint64_t mostPixels, PngImage& out) {
    const std::string name(FormatName(format));
    if (bytes.size() > static_cast<std::size_t>(INT32_MAX)) {
        out.Error = "the " + name + " file is too large";
        return;
    }
    const int length = static_cast<int>(bytes.size());
    int width = 0, height = 0, channels = 0;
    if (!stbi_info_from_memory(bytes.data(), length, &width, &height, &channels)) {
        out.Error = "not a readable " + name + " image" + StbReason();
        return;
    }
    if (!PixelsAllowed(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height), mostPixels, out)) return;
    if (format == ImageFormat::Tga && TgaCutShort(bytes)) {
        out.Error = "not a readable TGA image (cut short)";
        return;
    }
    const std::unique_ptr<stbi_uc, void (*)(void*)> decoded(
        stbi_load_from_memory(bytes.data(), length, &width, &height, &channels, 0), stbi_image_free);
    if (!decoded) {
        out.Error = "not a readable " + name + " image" + StbReason();
        return;
    }
    out.Width = width;
    out.Height = height;
    out.Channels = channels;
    Encode(decoded.get(), out);
}

#if MORVANE_TIFF
// A TIFF file read from memory.
struct TiffSource {
    std::span<const unsigned char> Bytes;
    toff_t At = 0;
};

tmsize_t TiffRead(thandle_t handle, void* buffer, tmsize_t size) {
    auto* source = static_cast<TiffSource*>(handle);
    if (size <= 0 || source->At >= source->Bytes.size()) return 0;
    const std::size_t count = std::min<std::size_t>(static_cast<std::size_t>(size), source->Bytes.size() - source->At);
    std::memcpy(buffer, source->Bytes.data() + source->At, count);
    source->At += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t TiffWrite(thandle_t, void*, tmsize_t) { return -1; }

toff_t TiffSeek(thandle_t handle, toff_t offset, int whence) {
    auto* source = static_cast<TiffSource*>(handle);
    toff_t base = 0;
    if (whence == SEEK_CUR) base = source->At;
    if (whence == SEEK_END) base = source->Bytes.size();
    // Offsets are unsigned: a step back arrives as a huge number and wraps.
    source->At = base + offset;
    return source->At;
}

int TiffClose(thandle_t) { return 0; }
toff_t TiffSize(thandle_t handle) { return static_cast<TiffSource*>(handle)->Bytes.size(); }
int TiffMap(thandle_t, void**, toff_t*) { return 0; }
void TiffUnmap(thandle_t, void*, toff_t) {}

// Keeps libtiff's first error as the reason, and its warnings off standard error.
int TiffError(TIFF*, void* reason, const char*, const char* format, va_list arguments) {
    auto* text = static_cast<std::string*>(reason);
    if (text->empty()) {
        char message[256];
        std::vsnprintf(message, sizeof message, format, arguments);
        *text = message;
    }
    return 1;
}

int TiffWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

void DecodeTiff(std::span<const unsigned char> bytes, std::uint64_t mostPixels, PngImage& out) {
    TiffSource source{bytes};
    std::string reason;
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, TiffError, &reason);
    TIFFOpenOptionsSetWarningHandlerExtR(options, TiffWarning, nullptr);
    // No single buffer beyond what the largest allowed image needs.
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(kMaxImagePixels * 4));
    // "m": no memory mapping, the procedures below read the bytes.
    const std::unique_ptr<TIFF, void (*)(TIFF*)> tiff(
        TIFFClientOpenExt("image", "rm", &source, TiffRead, TiffWrite, TiffSeek, TiffClose, TiffSize, TiffMap,
                          TiffUnmap, options),
        TIFFClose);
    TIFFOpenOptionsFree(options);
    const auto fail = [&] {
        out.Error = "not a readable TIFF image";
        if (!reason.empty()) out.Error += " (" + reason + ")";
    };
    if (!tiff) return fail();
    std::uint32_t width = 0, height = 0;
    if (!TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width) || !TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height)) {
        return fail();
    }
    if (!PixelsAllowed(width, height, mostPixels, out)) return;
    std::vector<std::uint32_t> raster(static_cast<std::size_t>(width) * height);
    if (!TIFFReadRGBAImageOriented(tiff.get(), width, height, raster.data(), ORIENTATION_TOPLEFT, 1)) return fail();
    out.Width = static_cast<int>(width);
    out.Height = static_cast<int>(height);
    out.Channels = 4;
    // Each packed pixel becomes its four bytes R, G, B, A where it stood.
    auto* pixels = reinterpret_cast<unsigned char*>(raster.data());
    for (std::size_t i = 0; i < raster.size(); ++i) {
        const std::uint32_t packed = raster[i];
        pixels[4 * i] = static_cast<unsigned char>(TIFFGetR(packed));
        pixels[4 * i + 1] = static_cast<unsigned char>(TIFFGetG(packed));
        pixels[4 * i + 2] = static_cast<unsigned char>(TIFFGetB(packed));
        pixels[4 * i + 3] = static_cast<unsigned char>(TIFFGetA(packed));
    }
    Encode(pixels, out);
}
#endif

}  // namespace

ImageFormat SniffImageFormat(std::span<const unsigned char> bytes, std::string_view fileName) {
    if (StartsWith(bytes, "\x89PNG\r\n\x1A\n")) return ImageFormat::Png;
    if (StartsWith(bytes, "\xFF\xD8\xFF")) return ImageFormat::Jpeg;
    if (StartsWith(bytes, "GIF87a") || StartsWith(bytes, "GIF89a")) return ImageFormat::Gif;
    if (StartsWith(bytes, "RIFF") && StartsWith(bytes, "WEBP", 8)) return ImageFormat::WebP;
    if (StartsWith(bytes, std::string_view("II*\0", 4)) || StartsWith(bytes, std::string_view("MM\0*", 4)) ||
        StartsWith(bytes, std::string_view("II+\0", 4)) || StartsWith(bytes, std::string_view("MM\0+", 4))) {
        return ImageFormat::Tiff;
    }
    if (StartsWith(bytes, "8BPS")) return ImageFormat::Psd;
    if (StartsWith(bytes, "#?RADIANCE\n") || StartsWith(bytes, "#?RGBE\n")) return ImageFormat::Hdr;
    if (StartsWith(bytes, "\x53\x80\xF6\x34") && StartsWith(bytes, "PICT", 88)) return ImageFormat::Pic;
    if (bytes.size() >= 3 && bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '6' &&
        std::strchr(" \t\r\n", bytes[2]) != nullptr) {
        return ImageFormat::Pnm;
    }
    // "BM" is short: a BMP also gives its header size (12 to 124) at 14.
    if (StartsWith(bytes, "BM") && bytes.size() >= 18 && bytes[15] == 0 && bytes[16] == 0 && bytes[17] == 0 &&
        bytes[14] >= 12 && bytes[14] <= 124) {
        return ImageFormat::Bmp;
    }
    const std::string extension = LowerExtension(fileName);
    if (extension == "svg" || LooksLikeSvg(bytes)) return ImageFormat::Svg;
    if (extension == "tga" || extension == "targa" || extension == "icb" || extension == "vda" || extension == "vst") {
        return ImageFormat::Tga;
    }
    return ImageFormat::Unknown;
}

std::string_view FormatName(ImageFormat format) {
    switch (format) {
    case ImageFormat::Png:
        return "PNG";
    case ImageFormat::Jpeg:
        return "JPEG";
    case ImageFormat::Gif:
        return "GIF";
    case ImageFormat::Bmp:
        return "BMP";
    case ImageFormat::WebP:
        return "WebP";
    case ImageFormat::Svg:
        return "SVG";
    case ImageFormat::Tga:
        return "TGA";
    case ImageFormat::Tiff:
        return "TIFF";
    case ImageFormat::Psd:
        return "PSD";
    case ImageFormat::Pnm:
        return "PNM";
    case ImageFormat::Hdr:
        return "HDR";
    case ImageFormat::Pic:
        return "PIC";
    case ImageFormat::Unknown:
        break;
    }
    return "unknown";
}

bool BrowsersShow(ImageFormat format) {
    switch (format) {
    case ImageFormat::Png:
    case ImageFormat::Jpeg:
    case ImageFormat::Gif:
    case ImageFormat::Bmp:
    case ImageFormat::WebP:
    case ImageFormat::Svg:
        return true;
    default:
        return false;
    }
}

bool CanConvertToPng(ImageFormat format) {
    switch (format) {
    case ImageFormat::Tga:
    case ImageFormat::Psd:
    case ImageFormat::Pnm:
    case ImageFormat::Hdr:
    case ImageFormat::Pic:
        return true;
    case ImageFormat::Tiff:
        return MORVANE_TIFF != 0;
    default:
        return false;
    }
}

PngImage ConvertToPng(std::span<const unsigned char> bytes, ImageFormat format, std::uint64_t mostPixels) {
    PngImage out;
    if (!CanConvertToPng(format)) {
        out.Error = format == ImageFormat::Tiff ? "TIFF images cannot be converted by this build"
                                                : std::string(FormatName(format)) + " images are not converted";
        return out;
    }
#if MORVANE_TIFF
    if (format == ImageFormat::Tiff) {
        DecodeTiff(bytes, mostPixels, out);
        return out;
    }
#endif
    DecodeWithStb(bytes, format, mostPixels, out);
    return out;
}

BrowserImage PrepareForBrowsers(std::span<const unsigned char> bytes, std::string_view fileName,
                                std::uint64_t mostPixels) {
    BrowserImage out;
    out.Format = SniffImageFormat(bytes, fileName);
    if (BrowsersShow(out.Format)) {
        out.Result = BrowserImage::Action::AsIs;
        return out;
    }
    if (out.Format == ImageFormat::Unknown) {
        out.Png.Error = "not an image of a known format";
        return out;
    }
    out.Png = ConvertToPng(bytes, out.Format, mostPixels);
    out.Result = out.Png.Png.empty() ? BrowserImage::Action::Failed : BrowserImage::Action::Converted;
    return out;
}

bool ReadImageFile(const std::string& path, std::vector<unsigned char>& bytes, std::string& error) {
    bytes.clear();
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = std::string("cannot open (") + std::strerror(errno) + ")";
        return false;
    }
    char buffer[1 << 16];
    while (file.read(buffer, sizeof buffer) || file.gcount() > 0) {
        if (bytes.size() + static_cast<std::size_t>(file.gcount()) > kMaxImageFileBytes) {
            error = "larger than " + std::to_string(kMaxImageFileBytes >> 20) + " MiB";
            bytes.clear();
            return false;
        }
        bytes.insert(bytes.end(), buffer, buffer + file.gcount());
    }
    if (file.bad()) {
        error = "cannot read";
        bytes.clear();
        return false;
    }
    return true;
}

}  // namespace morvane::faithful
