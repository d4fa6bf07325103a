// Zip archives built by hand for the tests, entry by entry, with the
// fields that hostile archives lie in under the test's control.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace morvane::test {

struct ZipEntry {
    ZipEntry(std::string name, std::string data, bool deflated = true)
        : Name(std::move(name)), Data(std::move(data)), Deflated(deflated) {}

    std::string Name;
    std::string Data;
    bool Deflated = true;
    // General purpose flags (bit 0: encrypted).
    std::uint16_t Flags = 0;
    // Made on Unix (3) by zip 2.0, with the Unix mode in the upper half of
    // the external attributes.
    std::uint16_t MadeBy = (3 << 8) | 20;
    std::uint32_t Mode = 0100644;
    // A checksum or an inflated size other than the true one.
    std::optional<std::uint32_t> Crc;
    std::optional<std::uint32_t> Size;
};

std::string MakeZip(const std::vector<ZipEntry>& entries);

// A minimal KML that links `href` with its first Model, placed at the given
// longitude and latitude.
std::string Kml(const std::string& href, const std::string& more = "");

}  // namespace morvane::test
