// Number arrays of a document: every float_array, found again by id.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace morvane {

struct FloatArray {
    std::string Id;
    std::vector<float> Values;
};

// The first array in document order whose Id equals `id`, or null.
FloatArray* FindFloatArray(const std::vector<std::unique_ptr<FloatArray>>& sources, const std::string& id);

}  // namespace morvane
