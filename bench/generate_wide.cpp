// Writes a COLLADA document that holds N objects of one kind, so that the
// cost of a conversion can be followed as the number of objects grows. Each
// kind is a knob:
//
//   geometries       N geometries, each with its own three sources and one
//                    triangles element, each instanced by a node of its own
//   textured         N textured objects: image, effect with its sampler and
//                    surface, material, geometry with three sources, and a
//                    node that instances the geometry and binds the material
//   materials        N images, effects and materials, one small geometry
//   library-nodes    N library nodes, each instanced by a scene node
//   missing-nodes    N library nodes and N scene nodes that instance ids
//                    no node bears
//   cameras          N cameras, each instanced by a node
//   lights           N point lights, each instanced by a node
//   animations       N animations, each with a time and an angle source
//   animation-curves one animation with N time and angle sources and N samplers
//   primitives       one geometry with N triangles elements, each with a
//                    material of its own, bound by one instance
//   shared-array     one geometry whose N triangles elements all read one
//                    position array of N points
//   node-instances   one node that instances N geometries, binding a
//                    material to each
//
//   generate_wide KNOB N output.dae
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

namespace {

std::FILE* out = nullptr;

void Put(const char* format, auto... values) { std::fprintf(out, format, values...); }

void Header() {
    Put("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<COLLADA xmlns=\"http://www.collada.org/2005/11/COLLADASchema\" version=\"1.4.1\">\n"
        "<asset><contributor><authoring_tool>wide document generator</authoring_tool></contributor>"
        "<unit name=\"meter\" meter=\"1\"/><up_axis>Y_UP</up_axis></asset>\n");
}

void Footer() { Put("<scene><instance_visual_scene url=\"#scene\"/></scene>\n</COLLADA>\n"); }

void Source(const char* geometry, long i, const char* channel, const char* values, int stride, int count) {
    Put("<source id=\"%s%ld-%s\"><float_array id=\"%s%ld-%s-array\" count=\"%d\">%s</float_array>"
        "<technique_common><accessor source=\"#%s%ld-%s-array\" count=\"%d\" stride=\"%d\"/></technique_common>"
        "</source>\n",
        geometry, i, channel, geometry, i, channel, count * stride, values, geometry, i, channel, count, stride);
}

// A unit square of two triangles with one normal and four texture
// coordinates; `material` is the symbol of its triangles, or empty.
void SquareGeometry(long i, const char* material) {
    Put("<geometry id=\"geo%ld\"><mesh>\n", i);
    Source("geo", i, "pos", "0 0 0 1 0 0 1 1 0 0 1 0", 3, 4);
    Source("geo", i, "nrm", "0 0 1", 3, 1);
    Source("geo", i, "uv", "0 0 1 0 1 1 0 1", 2, 4);
    Put("<vertices id=\"geo%ld-vtx\"><input semantic=\"POSITION\" source=\"#geo%ld-pos\"/></vertices>\n", i, i);
    Put("<triangles count=\"2\"%s%s%s><input semantic=\"VERTEX\" source=\"#geo%ld-vtx\" offset=\"0\"/>"
        "<input semantic=\"NORMAL\" source=\"#geo%ld-nrm\" offset=\"1\"/>"
        "<input semantic=\"TEXCOORD\" source=\"#geo%ld-uv\" offset=\"2\" set=\"0\"/>"
        "<p>0 0 0 1 0 1 2 0 2 0 0 0 2 0 2 3 0 3</p></triangles>\n",
        *material ? " material=\"" : "", material, *material ? "\"" : "", i, i, i);
    Put("</mesh></geometry>\n");
}

void Image(long i) { Put("<image id=\"img%ld\" name=\"img%ld\"><init_from>./tex/img%ld.tga</init_from></image>\n", i, i, i); }

void Material(long i) { Put("<material id=\"mat%ld\" name=\"mat%ld\"><instance_effect url=\"#fx%ld\"/></material>\n", i, i, i); }

void TexturedEffect(long i) {
    Put("<effect id=\"fx%ld\"><profile_COMMON>"
        "<newparam sid=\"surf%ld\"><surface type=\"2D\"><init_from>img%ld</init_from></surface></newparam>"
        "<newparam sid=\"samp%ld\"><sampler2D><source>surf%ld</source></sampler2D></newparam>"
        "<technique sid=\"common\"><phong><diffuse><texture texture=\"samp%ld\" texcoord=\"uv\"/></diffuse>"
        "<shininess><float>20</float></shininess></phong></technique></profile_COMMON></effect>\n",
        i, i, i, i, i, i);
}

void ColourEffect(long i) {
    Put("<effect id=\"fx%ld\"><profile_COMMON><technique sid=\"common\"><phong>"
        "<diffuse><color>%g 0.5 0.5 1</color></diffuse></phong></technique></profile_COMMON></effect>\n",
        i, static_cast<double>(i % 100) / 100.0);
}

void Binding(const char* symbol, long target) {
    Put("<bind_material><technique_common><instance_material symbol=\"%s\" target=\"#mat%ld\"/>"
        "</technique_common></bind_material>",
        symbol, target);
}

void SceneStart() { Put("<library_visual_scenes><visual_scene id=\"scene\">\n"); }
void SceneEnd() { Put("</visual_scene></library_visual_scenes>\n"); }

template <class F>
void Library(const char* name, long n, F each) {
    Put("<%s>\n", name);
    for (long i = 0; i < n; ++i) each(i);
    Put("</%s>\n", name);
}

// One node that shows geometry 0 and can be animated or lit.
void SingleNodeScene() {
    SceneStart();
    Put("<node id=\"node0\"><rotate sid=\"rotateY\">0 1 0 0</rotate><instance_geometry url=\"#geo0\"/></node>\n");
    SceneEnd();
}

void Geometries(long n) {
    Library("library_geometries", n, [](long i) { SquareGeometry(i, ""); });
    SceneStart();
    for (long i = 0; i < n; ++i) Put("<node id=\"node%ld\"><instance_geometry url=\"#geo%ld\"/></node>\n", i, i);
    SceneEnd();
}

void Textured(long n) {
    Library("library_images", n, Image);
    Library("library_materials", n, Material);
    Library("library_effects", n, TexturedEffect);
    Library("library_geometries", n, [](long i) { SquareGeometry(i, "m"); });
    SceneStart();
    for (long i = 0; i < n; ++i) {
        Put("<node id=\"node%ld\"><translate>%ld 0 0</translate><instance_geometry url=\"#geo%ld\">", i, i, i);
        Binding("m", i);
        Put("</instance_geometry></node>\n");
    }
    SceneEnd();
}

void Materials(long n) {
    Library("library_images", n, Image);
    Library("library_materials", n, Material);
    Library("library_effects", n, TexturedEffect);
    Library("library_geometries", 1, [](long i) { SquareGeometry(i, "m"); });
    SceneStart();
    Put("<node id=\"node0\"><instance_geometry url=\"#geo0\">");
    Binding("m", n - 1);
    Put("</instance_geometry></node>\n");
    SceneEnd();
}

void LibraryNodes(long n, bool missing) {
    Library("library_geometries", 1, [](long i) { SquareGeometry(i, ""); });
    Library("library_nodes", n, [](long i) { Put("<node id=\"lib%ld\"><instance_geometry url=\"#geo0\"/></node>\n", i); });
    SceneStart();
    for (long i = 0; i < n; ++i) {
        Put("<node id=\"node%ld\"><instance_node url=\"#%s%ld\"/></node>\n", i, missing ? "missing" : "lib", i);
    }
    SceneEnd();
}

// N definitions in a library, one small geometry, and a node for each
// definition that instances it with `instance`; ids are `prefix` and a number.
template <class Define>
void InstancedLibrary(long n, const char* library, const char* instance, const char* prefix, Define define) {
    Library(library, n, define);
    Library("library_geometries", 1, [](long i) { SquareGeometry(i, ""); });
    SceneStart();
    Put("<node id=\"node-geo\"><instance_geometry url=\"#geo0\"/></node>\n");
    for (long i = 0; i < n; ++i) Put("<node id=\"node%ld\"><%s url=\"#%s%ld\"/></node>\n", i, instance, prefix, i);
    SceneEnd();
}

void Cameras(long n) {
    InstancedLibrary(n, "library_cameras", "instance_camera", "cam", [](long i) {
        Put("<camera id=\"cam%ld\" name=\"cam%ld\"><optics><technique_common><perspective><xfov>45</xfov>"
            "<znear>0.1</znear><zfar>100</zfar></perspective></technique_common></optics></camera>\n",
            i, i);
    });
}

void Lights(long n) {
    InstancedLibrary(n, "library_lights", "instance_light", "light", [](long i) {
        Put("<light id=\"light%ld\" name=\"light%ld\"><technique_common><point><color>1 1 1</color>"
            "<constant_attenuation>1</constant_attenuation></point></technique_common></light>\n",
            i, i);
    });
}

void Curve(long i) {
    Put("<source id=\"time%ld\"><float_array id=\"time%ld-array\" count=\"2\">0 2</float_array>"
        "<technique_common><accessor source=\"#time%ld-array\" count=\"2\"><param name=\"TIME\" type=\"float\"/>"
        "</accessor></technique_common></source>\n"
        "<source id=\"angle%ld\"><float_array id=\"angle%ld-array\" count=\"2\">0 90</float_array>"
        "<technique_common><accessor source=\"#angle%ld-array\" count=\"2\"><param name=\"ANGLE\" type=\"float\"/>"
        "</accessor></technique_common></source>\n"
        "<sampler id=\"sampler%ld\"><input semantic=\"INPUT\" source=\"#time%ld\"/>"
        "<input semantic=\"OUTPUT\" source=\"#angle%ld\"/></sampler>\n",
        i, i, i, i, i, i, i, i, i);
}

void Channel() { Put("<channel source=\"#sampler0\" target=\"node0/rotateY.ANGLE\"/>\n"); }

void Animations(long n) {
    Library("library_geometries", 1, [](long i) { SquareGeometry(i, ""); });
    Library("library_animations", n, [](long i) {
        Put("<animation id=\"anim%ld\">\n", i);
        Curve(i);
        Channel();
        Put("</animation>\n");
    });
    SingleNodeScene();
}

void AnimationCurves(long n) {
    Library("library_geometries", 1, [](long i) { SquareGeometry(i, ""); });
    Put("<library_animations><animation id=\"anim\">\n");
    for (long i = 0; i < n; ++i) Curve(i);
    Channel();
    Put("</animation></library_animations>\n");
    SingleNodeScene();
}

void Primitives(long n) {
    Library("library_materials", n, Material);
    Library("library_effects", n, ColourEffect);
    Put("<library_geometries><geometry id=\"geo0\"><mesh>\n");
    Source("geo", 0, "pos", "0 0 0 1 0 0 1 1 0 0 1 0", 3, 4);
    Put("<vertices id=\"geo0-vtx\"><input semantic=\"POSITION\" source=\"#geo0-pos\"/></vertices>\n");
    for (long i = 0; i < n; ++i) {
        Put("<triangles count=\"1\" material=\"m%ld\"><input semantic=\"VERTEX\" source=\"#geo0-vtx\" offset=\"0\"/>"
            "<p>0 1 2</p></triangles>\n",
            i);
    }
    Put("</mesh></geometry></library_geometries>\n");
    SceneStart();
    Put("<node id=\"node0\"><instance_geometry url=\"#geo0\"><bind_material><technique_common>\n");
    for (long i = 0; i < n; ++i) Put("<instance_material symbol=\"m%ld\" target=\"#mat%ld\"/>\n", i, i);
    Put("</technique_common></bind_material></instance_geometry></node>\n");
    SceneEnd();
}

void SharedArray(long n) {
    Put("<library_geometries><geometry id=\"geo0\"><mesh>\n<source id=\"geo0-pos\">"
        "<float_array id=\"geo0-pos-array\" count=\"%ld\">",
        3 * n);
    for (long i = 0; i < n; ++i) Put("%ld %ld 0 ", i % 1000, i / 1000);
    Put("</float_array></source>\n"
        "<vertices id=\"geo0-vtx\"><input semantic=\"POSITION\" source=\"#geo0-pos\"/></vertices>\n");
    for (long i = 0; i < n; ++i) {
        Put("<triangles count=\"1\"><input semantic=\"VERTEX\" source=\"#geo0-vtx\" offset=\"0\"/>"
            "<p>%ld %ld %ld</p></triangles>\n",
            i, (i + 1) % n, (i + 2) % n);
    }
    Put("</mesh></geometry></library_geometries>\n");
    SceneStart();
    Put("<node id=\"node0\"><instance_geometry url=\"#geo0\"/></node>\n");
    SceneEnd();
}

void NodeInstances(long n) {
    Library("library_materials", 1, Material);
    Library("library_effects", 1, ColourEffect);
    Library("library_geometries", n, [](long i) { SquareGeometry(i, "m"); });
    SceneStart();
    Put("<node id=\"node0\">\n");
    for (long i = 0; i < n; ++i) {
        Put("<instance_geometry url=\"#geo%ld\">", i);
        Binding("m", 0);
        Put("</instance_geometry>\n");
    }
    Put("</node>\n");
    SceneEnd();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4 || std::atol(argv[2]) < 1) {
        std::fprintf(stderr, "usage: %s KNOB N output.dae\n", argv[0]);
        return 2;
    }
    const std::string knob = argv[1];
    const long n = std::atol(argv[2]);
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(argv[3], "w"), &std::fclose);
    if (!file) return 1;
    out = file.get();
    static char buffer[1 << 20];
    std::setvbuf(out, buffer, _IOFBF, sizeof buffer);

    Header();
    const std::pair<const char*, void (*)(long)> knobs[] = {
        {"geometries", Geometries},
        {"textured", Textured},
        {"materials", Materials},
        {"library-nodes", [](long count) { LibraryNodes(count, false); }},
        {"missing-nodes", [](long count) { LibraryNodes(count, true); }},
        {"cameras", Cameras},
        {"lights", Lights},
        {"animations", Animations},
        {"animation-curves", AnimationCurves},
        {"primitives", Primitives},
        {"shared-array", SharedArray},
        {"node-instances", NodeInstances},
    };
    const auto chosen = std::find_if(std::begin(knobs), std::end(knobs), [&](const auto& k) { return knob == k.first; });
    if (chosen == std::end(knobs)) {
        std::fprintf(stderr, "unknown knob %s\n", argv[1]);
        return 2;
    }
    chosen->second(n);
    Footer();
    return 0;
}
