// The last layer of the central object: the writer of the X3D document,
// which writes the frame itself (header, world info, background, the proto
// libraries, viewpoints and navigation, closing tags) and has the scene
// tree and the first animation write themselves in it.
#pragma once

#include "events/central_object.h"
#include "support/text_output.h"

namespace morvane {

class X3dConverter : public ColladaReader {
public:
    // Writes the document to Output when it has a mesh, and notes in the
    // state that it did; a refusal on the way leaves the output unwritten.
    void Write() override;

private:
    void WriteDocument(TextOutput& out);
    void WriteLibraries(TextOutput& out);
    void WriteViewpoints(TextOutput& out);
};

}  // namespace morvane
