// Which entry of a model archive is the COLLADA document:
//   - a .zae archive: the one its manifest.xml names in <dae_root>;
//   - a .kmz archive: the one doc.kml (or, without it, the first .kml at the
//     archive's root) names in the <Link><href> of its first <Model>;
//   - otherwise the first .dae entry in the archive's order.
// The KML also places the model on the globe; that placement is not applied
// (the model keeps its own frame) but kept as text for the output to carry.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "archive/zip_archive.h"

namespace morvane::archive {

// A KML or manifest larger than this is not a control file but something
// else: it is refused rather than read whole.
inline constexpr std::uint64_t kMostControlFileBytes = std::uint64_t{1} << 20;

struct ArchiveDocument {
    const Entry* Document = nullptr;
    // The model's placement from the KML, one line each ("KML Location:
    // longitude=... latitude=... altitude=..."); empty without one.
    std::vector<std::string> Placement;
};

// Finds the document; throws the ConversionError that says why there is
// none (no document, a KML or manifest naming an entry that is missing).
ArchiveDocument FindDocument(ZipArchive& archive);

// A path percent-decoded; the text as it is when an escape is malformed.
std::string PercentDecoded(std::string_view text);

}  // namespace morvane::archive
