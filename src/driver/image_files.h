// The images a faithful conversion makes, written as files beside its
// output: never over an existing file (the input and any document among
// them), a file of the very same bytes reused, another name picked
// otherwise.
#pragma once

#include <string>
#include <string_view>

#include "support/image_sink.h"

namespace morvane {

class ImageFiles final : public ImageSink {
public:
    // `output` is the path of the output file; the images go into its folder.
    explicit ImageFiles(std::string output);

    bool PutImage(const std::string& name, std::string_view bytes, std::string& reason) override;
    // Tries `name`, then "stem-1.ext", "stem-2.ext"... up to 999: the first
    // that does not exist is created, and one that holds exactly `bytes`
    // already is taken as it is. A name with folders in it (the images of
    // an archive, "model_files/maps/wood.png") has them made below the
    // output's folder, never through a link, and never with a "..", "." or
    // empty part.
    bool PlaceImage(std::string& name, std::string_view bytes, std::string& reason) override;

private:
    std::string folder_;
};

}  // namespace morvane
