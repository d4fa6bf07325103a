#include "archive/zip_writer.h"

#include <zlib.h>

#include <stdexcept>

namespace morvane::test {

namespace {

void Put16(std::string& out, std::uint32_t value) {
    out += static_cast<char>(value & 0xff);
    out += static_cast<char>((value >> 8) & 0xff);
}

void Put32(std::string& out, std::uint32_t value) {
    Put16(out, value & 0xffff);
    Put16(out, value >> 16);
}

// The raw deflate stream inside zlib's format, without its two-byte header
// and four-byte checksum.
std::string Deflate(const std::string& data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    std::string out(size, '\0');
    if (compress2(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(data.data()),
                  static_cast<uLong>(data.size()), Z_BEST_COMPRESSION) != Z_OK) {
        throw std::runtime_error("compress2");
    }
    return out.substr(2, size - 6);
}

}  // namespace

std::string MakeZip(const std::vector<ZipEntry>& entries) {
    std::string body;
    std::string directory;
    for (const ZipEntry& entry : entries) {
        const std::string stored = entry.Deflated ? Deflate(entry.Data) : entry.Data;
        const std::uint32_t crc = entry.Crc.value_or(
            static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(entry.Data.data()),
                                             static_cast<uInt>(entry.Data.size()))));
        const std::uint32_t size = entry.Size.value_or(static_cast<std::uint32_t>(entry.Data.size()));
        const std::uint32_t offset = static_cast<std::uint32_t>(body.size());
        const auto common = [&](std::string& out) {
            Put16(out, 20);  // version needed
            Put16(out, entry.Flags);
            Put16(out, entry.Deflated ? 8 : 0);
            Put16(out, 0);  // time
            Put16(out, 0x21);  // date: 1980-01-01
            Put32(out, crc);
            Put32(out, static_cast<std::uint32_t>(stored.size()));
            Put32(out, size);
            Put16(out, static_cast<std::uint32_t>(entry.Name.size()));
            Put16(out, 0);  // extra field
        };
        Put32(body, 0x04034b50);
        common(body);
        body += entry.Name;
        body += stored;

        Put32(directory, 0x02014b50);
        Put16(directory, entry.MadeBy);
        common(directory);
        Put16(directory, 0);  // comment
        Put16(directory, 0);  // disk
        Put16(directory, 0);  // internal attributes
        Put32(directory, entry.Mode << 16);
        Put32(directory, offset);
        directory += entry.Name;
    }
    std::string zip = body + directory;
    Put32(zip, 0x06054b50);
    Put16(zip, 0);
    Put16(zip, 0);
    // More entries than the field holds: 0xffff, and readers go by the
    // directory itself.
    const std::uint32_t count = entries.size() >= 0xffff ? 0xffff : static_cast<std::uint32_t>(entries.size());
    Put16(zip, count);
    Put16(zip, count);
    Put32(zip, static_cast<std::uint32_t>(directory.size()));
    Put32(zip, static_cast<std::uint32_t>(body.size()));
    Put16(zip, 0);
    return zip;
}

std::string Kml(const std::string& href, const std::string& more) {
    return "<?xml version='1.0' encoding='UTF-8'?>\n<kml xmlns='http://www.opengis.net/kml/2.2'><Placemark>"
           "<Model><Location><longitude>-122.08</longitude><latitude>37.42</latitude></Location>"
           "<Link><href>" + href + "</href></Link></Model>" + more + "</Placemark></kml>";
}

}  // namespace morvane::test
