// The faithful X3D output: binds the scene of a document tree (nodes and
// their transforms, instances of geometry, controllers, nodes, cameras and
// lights, materials and their images) and writes it as X3D 3.3 in UTF-8,
// Y-up and in metres.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/zip_archive.h"
#include "events/conversion_options.h"
#include "faithful/document_tree.h"
#include "support/conversion_error.h"
#include "support/image_sink.h"
#include "support/text_output.h"

namespace morvane::faithful {

struct SceneSettings {
    ConversionOptions Options;
    // The output's path; the viewpoints are named after it and images are
    // named relative to its folder.
    std::string OutputName;
    // Where the document is: a local path or a URL; empty for none.
    std::string Location;
    // Where PNG stand-ins for images browsers cannot show go; null: none are
    // made and every image is named as found.
    ImageSink* Images = nullptr;
    // Whether images are looked up on this machine's file system.
    bool LookUpImages = true;
    // The archive the document was read from, and the document's entry in
    // it; null for a document read by itself. The images of an archive's
    // document are looked up in the archive, relative to the document's
    // entry as in a folder, and handed to `Images` under
    // "<output's name>_files/<entry's path>".
    archive::ZipArchive* Archive = nullptr;
    std::string ArchiveDocument;
    // Lines of text the output carries in a WorldInfo (where an archive
    // places the model on the globe).
    std::vector<std::string> Notes;
};

// Writes the X3D document to `output` (Begin, then Commit or Abandon), the
// text limited to `limit` bytes. Throws the ConversionError of a refusal:
// nothing to convert, nested too deep, output too large. Warnings for what
// was left out are appended to `warnings`.
void WriteScene(const DocumentTree& tree, const SceneSettings& settings, OutputSink& output, std::uint64_t limit,
                std::vector<ConversionError>& warnings);

}  // namespace morvane::faithful
