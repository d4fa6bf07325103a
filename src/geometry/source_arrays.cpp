#include "geometry/source_arrays.h"

namespace morvane {

FloatArray* FindFloatArray(const std::vector<std::unique_ptr<FloatArray>>& sources, const std::string& id) {
    for (const auto& array : sources) {
        if (array->Id == id) return array.get();
    }
    return nullptr;
}

}  // namespace morvane
