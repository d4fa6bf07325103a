// Six viewpoints around the bounding box and the navigation line, so that
// any converted model can be looked at as soon as it is opened.
#include <algorithm>
#include <string>

#include "document/x3d_converter.h"
#include "support/path_text.h"

namespace morvane {

namespace {

// The output file's name without directory and extension.
// The dot is looked for first, so a dot in a directory name cuts there.
std::string BaseName(std::string_view name) {
    if (const std::size_t dot = name.rfind('.'); dot != std::string_view::npos) name = name.substr(0, dot);
    return std::string(FileNameOf(name));
}

}  // namespace

void X3dConverter::WriteViewpoints(TextOutput& out) {
    const auto& lo = State().BoundsMin;
    const auto& hi = State().BoundsMax;
    // The box is in document axes; document Z is the viewer's up axis. The
    // centre of each side is also the centre of rotation of every view.
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
    const std::string base = BaseName(OutputFileName);

    if (Options.AutoViewpoint) {
        struct View {
            const char* name;
            // What follows the description.
            const char* ending;
            double x, y, z;
        };
        const View views[6] = {
            {"Front", "' />\n", centre[0], centre[2], hi[1] + frontDistance},
            {"Left", "' orientation='0 1 0 1.571'/>\n", hi[0] + sideDistance, centre[2], centre[1]},
            {"Top", "' orientation='-1 0 0 1.571'/>\n", centre[0], hi[2] + topDistance, centre[1]},
            {"Back", "' orientation='0 1 0 3.142'/>\n", centre[0], centre[2], lo[1] - frontDistance},
            {"Right", "' orientation='0 -1 0 1.571'/>\n", lo[0] - sideDistance, centre[2], centre[1]},
            {"Bottom", "' orientation='1 0 0 1.571'/>\n", centre[0], lo[2] - topDistance, centre[1]},
        };
        const auto putPoint = [&](double x, double y, double z) {
            out.PutFixed(x);
            out.Put(' ');
            out.PutFixed(y);
            out.Put(' ');
            out.PutFixed(z);
        };
        for (const View& view : views) {
            out.Put("\t\t<Viewpoint DEF='");
            out.PutString(base);
            out.Put(' ');
            out.Put(view.name);
            out.Put("' position='");
            putPoint(view.x, view.y, view.z);
            out.Put("' jump='true' centerOfRotation='");
            putPoint(centre[0], centre[2], centre[1]);
            out.Put("' description='");
            out.PutString(base);
            out.Put(' ');
            out.Put(view.name);
            out.Put(" View");
            out.Put(view.ending);
        }
    }

    if (Options.ExamineNavigation) {
        out.Put("\t\t<NavigationInfo DEF='ExamineNavInfo' type='\"EXAMINE\",\"LOOKAT\"' />\n");
    } else if (Options.AutoNavigation) {
        out.Put("\t\t<NavigationInfo DEF='NavInfo' type='\"WALK\",\"FLY\",\"EXAMINE\",\"LOOKAT\"' speed='");
        out.PutFixed(largest * 0.125);
        out.Put("'/>\n");
    }
}

}  // namespace morvane
