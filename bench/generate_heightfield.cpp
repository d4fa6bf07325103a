// Writes a COLLADA document of an N x N quad height field as triangles, with
// positions, normals and texture coordinates in arrays of their own and on
// offsets of their own, the way exporters write them.
//
//   generate_heightfield N output.dae
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

double Height(double x, double z) { return 5.0 * std::sin(x * 0.05) * std::cos(z * 0.07); }

void WriteArrayStart(std::FILE* out, const char* id, long count) {
    std::fprintf(out, "        <source id=\"%s\">\n          <float_array id=\"%s-array\" count=\"%ld\">", id, id,
                 count);
}

void WriteArrayEnd(std::FILE* out, const char* id, long count, int stride, const char* params) {
    std::fprintf(out,
                 "</float_array>\n          <technique_common>\n"
                 "            <accessor source=\"#%s-array\" count=\"%ld\" stride=\"%d\">%s</accessor>\n"
                 "          </technique_common>\n        </source>\n",
                 id, count / stride, stride, params);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s N output.dae\n", argv[0]);
        return 2;
    }
    const long n = std::atol(argv[1]);
    if (n < 1) return 2;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(argv[2], "w"), &std::fclose);
    if (!file) return 1;
    std::FILE* out = file.get();
    static char buffer[1 << 20];
    std::setvbuf(out, buffer, _IOFBF, sizeof buffer);

    const long side = n + 1;
    const long points = side * side;
    std::fputs("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
               "<COLLADA xmlns=\"http://www.collada.org/2005/11/COLLADASchema\" version=\"1.4.1\">\n"
               "  <asset>\n    <contributor><authoring_tool>height field generator</authoring_tool></contributor>\n"
               "    <unit name=\"meter\" meter=\"1\"/>\n    <up_axis>Y_UP</up_axis>\n  </asset>\n"
               "  <library_geometries>\n    <geometry id=\"field\" name=\"field\">\n      <mesh>\n",
               out);

    const char* const kXyzParams =
        "<param name=\"X\" type=\"float\"/><param name=\"Y\" type=\"float\"/><param name=\"Z\" type=\"float\"/>";
    WriteArrayStart(out, "field-positions", points * 3);
    for (long j = 0; j < side; ++j) {
        std::fputc('\n', out);
        for (long i = 0; i < side; ++i) std::fprintf(out, "%g %g %g ", double(i), Height(i, j), double(j));
    }
    WriteArrayEnd(out, "field-positions", points * 3, 3,
kXyzParams);

    WriteArrayStart(out, "field-normals", points * 3);
    for (long j = 0; j < side; ++j) {
        std::fputc('\n', out);
        for (long i = 0; i < side; ++i) {
            const double dx = 0.25 * std::cos(i * 0.05) * std::cos(j * 0.07);
            const double dz = -0.35 * std::sin(i * 0.05) * std::sin(j * 0.07);
            const double length = std::sqrt(dx * dx + 1.0 + dz * dz);
            std::fprintf(out, "%g %g %g ", -dx / length, 1.0 / length, -dz / length);
        }
    }
    WriteArrayEnd(out, "field-normals", points * 3, 3,
kXyzParams);

    WriteArrayStart(out, "field-map", points * 2);
    for (long j = 0; j < side; ++j) {
        std::fputc('\n', out);
        for (long i = 0; i < side; ++i) std::fprintf(out, "%g %g ", double(i) / n, double(j) / n);
    }
    WriteArrayEnd(out, "field-map", points * 2, 2, "<param name=\"S\" type=\"float\"/><param name=\"T\" type=\"float\"/>");

    std::fprintf(out,
                 "        <vertices id=\"field-vertices\">\n"
                 "          <input semantic=\"POSITION\" source=\"#field-positions\"/>\n        </vertices>\n"
                 "        <triangles material=\"ground\" count=\"%ld\">\n"
                 "          <input semantic=\"VERTEX\" source=\"#field-vertices\" offset=\"0\"/>\n"
                 "          <input semantic=\"NORMAL\" source=\"#field-normals\" offset=\"1\"/>\n"
                 "          <input semantic=\"TEXCOORD\" source=\"#field-map\" offset=\"2\" set=\"0\"/>\n"
                 "          <p>",
                 2 * n * n);
    // Every corner repeats its vertex index for all three channels, so each
    // interior vertex is met six times and welding has work to do.
    bool first = true;
    auto corner = [&](long i, long j) {
        const long v = j * side + i;
        std::fprintf(out, first ? "%ld %ld %ld" : " %ld %ld %ld", v, v, v);
        first = false;
    };
    for (long j = 0; j < n; ++j) {
        for (long i = 0; i < n; ++i) {
            corner(i, j);
            corner(i, j + 1);
            corner(i + 1, j);
            corner(i + 1, j);
            corner(i, j + 1);
            corner(i + 1, j + 1);
        }
    }
    std::fputs("</p>\n        </triangles>\n      </mesh>\n    </geometry>\n  </library_geometries>\n"
               "  <library_visual_scenes>\n    <visual_scene id=\"scene\">\n      <node id=\"field-node\">\n"
               "        <instance_geometry url=\"#field\"/>\n      </node>\n    </visual_scene>\n"
               "  </library_visual_scenes>\n  <scene><instance_visual_scene url=\"#scene\"/></scene>\n</COLLADA>\n",
               out);
    return std::ferror(out) ? 1 : 0;
}
