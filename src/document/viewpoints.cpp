// Six viewpoints around the bounding box and the navigation line, so that
// any converted model can be looked at as soon as it is opened.
#include <algorithm>
#include <cstdio>
#include <string>

#include "events/central_object.h"

namespace morvane {

namespace {

// The output file's name without directory and extension.
std::string BaseName(std::string name) {
    if (std::size_t dot = name.rfind('.'); dot != std::string::npos) name.erase(dot);
    if (std::size_t back = name.rfind('\\'); back != std::string::npos) name.erase(0, back + 1);
    if (std::size_t slash = name.rfind('/'); slash != std::string::npos) name.erase(0, slash + 1);
    return name;
}

}  // namespace

void X3dConverter::WriteViewpoints() {
    std::FILE* out = OutputFile.Get();
    const auto& lo = BoundsMin;
    const auto& hi = BoundsMax;
    // The box is in document axes; document Z is the viewer's up axis.
    double size[3];
    double centre[3];
    for (int i = 0; i < 3; ++i) {
        size[i] = hi[i] - lo[i];
        centre[i] = size[i] * 0.5 + lo[i];
    }
    const double largest = std::max({size[0], size[1], size[2]});
    const double frontDistance = 1.5 * std::max(size[0], size[2]);
    const double sideDistance = 1.5 * std::max(size[1], size[2]);
    const double topDistance = 1.5 * std::max(size[0], size[1]);
    const double midX = size[0] * 0.5 + lo[0];
    const double midY = size[1] * 0.5 + lo[1];
    const double midZ = size[2] * 0.5 + lo[2];
    const std::string base = BaseName(OutputFileName);
    const char* b = base.c_str();

    if (AutoViewpoint) {
        struct View {
            const char* format;
            double x, y, z;
        };
        const View views[6] = {
            {"\t\t<Viewpoint DEF='%s Front' position='%lf %lf %lf' jump='true' centerOfRotation='%lf %lf %lf' "
             "description='%s Front View' />\n",
             midX, midZ, hi[1] + frontDistance},
            {"\t\t<Viewpoint DEF='%s Left' position='%lf %lf %lf' jump='true' centerOfRotation='%lf %lf %lf' "
             "description='%s Left View' orientation='0 1 0 1.571'/>\n",
             hi[0] + sideDistance, midZ, midY},
            {"\t\t<Viewpoint DEF='%s Top' position='%lf %lf %lf' jump='true' centerOfRotation='%lf %lf %lf' "
             "description='%s Top View' orientation='-1 0 0 1.571'/>\n",
             midX, hi[2] + topDistance, midY},
            {"\t\t<Viewpoint DEF='%s Back' position='%lf %lf %lf' jump='true' centerOfRotation='%lf %lf %lf' "
             "description='%s Back View' orientation='0 1 0 3.142'/>\n",
             midX, midZ, lo[1] - frontDistance},
            {"\t\t<Viewpoint DEF='%s Right' position='%lf %lf %lf' jump='true' centerOfRotation='%lf %lf %lf' "
             "description='%s Right View' orientation='0 -1 0 1.571'/>\n",
             lo[0] - sideDistance, midZ, midY},
            {"\t\t<Viewpoint DEF='%s Bottom' position='%lf %lf %lf' jump='true' centerOfRotation='%lf %lf %lf' "
             "description='%s Bottom View' orientation='1 0 0 1.571'/>\n",
             midX, lo[2] - topDistance, midY},
        };
        for (const View& view : views) {
            std::fprintf(out, view.format, b, view.x, view.y, view.z, centre[0], centre[2], centre[1], b);
        }
    }

    if (ExamineNavigation) {
        std::fputs("\t\t<NavigationInfo DEF='ExamineNavInfo' type='\"EXAMINE\",\"LOOKAT\"' />\n", out);
    } else if (AutoNavigation) {
        std::fprintf(out,
                     "\t\t<NavigationInfo DEF='NavInfo' type='\"WALK\",\"FLY\",\"EXAMINE\",\"LOOKAT\"' "
                     "speed='%f'/>\n",
                     largest * 0.125);
    }
}

}  // namespace morvane
