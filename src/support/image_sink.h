// Where a conversion puts the images it makes for its output: the PNG
// files that stand in for images that browsers cannot decode (TGA, TIFF
// and the like). The program writes them as files beside the output, under
// the same rules as the output itself; a library hands them to its caller.
#pragma once

#include <string>
#include <string_view>

namespace morvane {

class ImageSink {
public:
    virtual ~ImageSink() = default;
    // Stores `bytes` as the image `name`: a relative URL from the output's
    // folder, as the output names it (never an absolute path, never with
    // ".." in it). False when it cannot, with why in `reason`, in words the
    // user is told; the output then names the image all the same.
    virtual bool PutImage(const std::string& name, std::string_view bytes, std::string& reason) = 0;
    // As PutImage, but a sink that keeps its images beside other files may
    // store them under another name than `name` (when that one is taken by a
    // file of other bytes) and then writes the name it chose into `name`.
    virtual bool PlaceImage(std::string& name, std::string_view bytes, std::string& reason) {
        return PutImage(name, bytes, reason);
    }
};

}  // namespace morvane
