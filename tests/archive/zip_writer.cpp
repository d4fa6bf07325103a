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

std::string Deflate(const std::string& data) {
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("deflateInit2");
    }
    std::string out(deflateBound(&stream, data.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END) throw std::runtime_error("deflate");
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
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

std::string TexturedDocument(const std::vector<std::string>& images) {
    std::string libraries;
    std::string nodes;
    for (std::size_t i = 0; i < images.size(); ++i) {
        const std::string n = std::to_string(i);
        libraries += "<library_images><image id='img" + n + "'><init_from>" + images[i] +
                     "</init_from></image></library_images>"
                     "<library_effects><effect id='fx" + n + "'><profile_COMMON><technique sid='t'><lambert><diffuse>"
                     "<texture texture='img" + n + "' texcoord='UV'/></diffuse></lambert></technique></profile_COMMON>"
                     "</effect></library_effects><library_materials><material id='mat" + n +
                     "'><instance_effect url='#fx" + n + "'/></material></library_materials>";
        nodes += "<node><instance_geometry url='#tri'><bind_material><technique_common><instance_material "
                 "symbol='m' target='#mat" + n + "'/></technique_common></bind_material></instance_geometry></node>";
    }
    if (images.empty()) nodes = "<node><instance_geometry url='#tri'/></node>";
    return "<?xml version='1.0'?>\n<COLLADA xmlns='http://www.collada.org/2005/11/COLLADASchema' version='1.4.1'>"
           "<library_geometries><geometry id='tri'><mesh>"
           "<source id='pos'><float_array id='pos-array' count='9'>0 0 0 1 0 0 0 0 2</float_array>"
           "<technique_common><accessor source='#pos-array' count='3' stride='3'><param name='X' type='float'/>"
           "<param name='Y' type='float'/><param name='Z' type='float'/></accessor></technique_common></source>"
           "<vertices id='vtx'><input semantic='POSITION' source='#pos'/></vertices>"
           "<triangles count='1' material='m'><input semantic='VERTEX' source='#vtx' offset='0'/><p>0 1 2</p>"
           "</triangles></mesh></geometry></library_geometries>" +
           libraries + "<library_visual_scenes><visual_scene id='scene'>" + nodes +
           "</visual_scene></library_visual_scenes><scene><instance_visual_scene url='#scene'/></scene></COLLADA>";
}

std::string SmallTga() {
    std::string tga(18, '\0');
    tga[2] = 2;  // uncompressed true colour
    tga[12] = 2;  // width
    tga[14] = 2;  // height
    tga[16] = 24;  // bits a pixel
    tga += std::string("\x00\x00\xff\x00\xff\x00\xff\x00\x00\xff\xff\xff", 12);
    return tga;
}

std::string Kml(const std::string& href, const std::string& more) {
    return "<?xml version='1.0' encoding='UTF-8'?>\n<kml xmlns='http://www.opengis.net/kml/2.2'><Placemark>"
           "<Model><Location><longitude>-122.08</longitude><latitude>37.42</latitude></Location>"
           "<Link><href>" + href + "</href></Link></Model>" + more + "</Placemark></kml>";
}

}  // namespace morvane::test
