#include "faithful/image_paths.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace morvane::faithful {
namespace {

using Kind = ImageReference::Kind;

std::string Describe(const ImageReference& r) {
    static const char* const kKinds[] = {"none", "relative", "absolute", "foreign", "url"};
    std::string out = kKinds[static_cast<int>(r.Type)];
    out += " " + r.Path + " [" + r.FileName + "]";
    if (!r.Undecoded.empty()) out += " undecoded " + r.Undecoded + " [" + r.UndecodedFileName + "]";
    return out;
}

std::string Read(std::string_view text) { return Describe(ReadImageReference(text)); }

TEST(ImagePaths, ReferencesOfEveryKind) {
    EXPECT_EQ(Read("textures/a.png"), "relative textures/a.png [a.png]");
    EXPECT_EQ(Read("  ./a.tif\n"), "relative ./a.tif [a.tif]");
    EXPECT_EQ(Read("maps\\wood.jpg"), "relative maps/wood.jpg [wood.jpg]");
    EXPECT_EQ(Read("./With%20%53%70aces/my%20map.png"),
              "relative ./With Spaces/my map.png [my map.png] undecoded ./With%20%53%70aces/my%20map.png "
              "[my%20map.png]");
    // A '%' that starts no escape is a character of the name.
    EXPECT_EQ(Read("100%.png"), "relative 100%.png [100%.png]");
    EXPECT_EQ(Read("a%00.png"), "relative a%00.png [a%00.png]");
    EXPECT_EQ(Read("/abs/a.png"), "absolute /abs/a.png [a.png]");

    EXPECT_EQ(Read("file:///home/u/a.png"), "absolute /home/u/a.png [a.png]");
    EXPECT_EQ(Read("FILE://LocalHost/x%20y.png?v=2#top"), "absolute /x y.png [x y.png]");
    EXPECT_EQ(Read("file:/home/u/a.png"), "absolute /home/u/a.png [a.png]");
    EXPECT_EQ(Read("file:///C:/Users/x/y.tif"), "foreign C:/Users/x/y.tif [y.tif]");
    EXPECT_EQ(Read("file:///C|/x/a.png"), "foreign C:/x/a.png [a.png]");
    EXPECT_EQ(Read("file://C:\\Users\\Administrator\\aws_Desk_01.png"),
              "foreign C:/Users/Administrator/aws_Desk_01.png [aws_Desk_01.png]");
    EXPECT_EQ(Read("file://server/share/a.png"), "foreign //server/share/a.png [a.png]");
    EXPECT_EQ(Read("file://localhostname/a.png"), "foreign //localhostname/a.png [a.png]");
    EXPECT_EQ(Read("C:\\maps\\a.tga"), "foreign C:/maps/a.tga [a.tga]");
    EXPECT_EQ(Read("d:/maps/a.tga"), "foreign d:/maps/a.tga [a.tga]");
    EXPECT_EQ(Read("\\\\server\\share\\a.png"), "foreign //server/share/a.png [a.png]");

    EXPECT_EQ(Read("http://host/a.png"), "url http://host/a.png []");
    EXPECT_EQ(Read("HTTPS://host/a b.png"), "url HTTPS://host/a b.png []");
    EXPECT_EQ(Read(" \t\n"), "none  []");
}

TEST(ImagePaths, CandidatesInOrderWithoutRepeats) {
    const ImageReference r = ReadImageReference("../materials/textures/wood.JPG");
    const std::vector<std::string> expected = {
        "models/m/materials/textures/wood.JPG",  // where it is named
        "models/m/materials/textures/wood.jpg",
        "models/m/meshes/wood.JPG",  // beside the document
        "models/m/meshes/wood.jpg",
        "models/m/meshes/textures/wood.JPG",
        "models/m/meshes/textures/wood.jpg",
        "models/m/meshes/images/wood.JPG",
        "models/m/meshes/images/wood.jpg",
        "models/m/textures/wood.JPG",
        "models/m/textures/wood.jpg",
        // ../materials/textures/ is where it was named: not again.
    };
    EXPECT_EQ(ImageCandidates(r, "models/m/meshes/robot.dae"), expected);

    // A path of another machine: only its name is looked for; a document
    // in the working directory gives paths without a folder.
    const std::vector<std::string> foreign = {"a.tga",        "a.TGA",          "textures/a.tga",
                                              "textures/a.TGA", "images/a.tga", "images/a.TGA",
                                              "../textures/a.tga", "../textures/a.TGA", "../materials/textures/a.tga",
                                              "../materials/textures/a.TGA"};
    EXPECT_EQ(ImageCandidates(ReadImageReference("C:\\maps\\a.tga"), "scene.dae"), foreign);
    // Decoded before undecoded; a name without extension has one spelling.
    const std::vector<std::string> spelled = {"/d/x y/m n", "/d/x%20y/m%20n", "/d/m n", "/d/m%20n",
                                              "/d/textures/m n", "/d/textures/m%20n", "/d/images/m n",
                                              "/d/images/m%20n", "/textures/m n", "/textures/m%20n",
                                              "/materials/textures/m n", "/materials/textures/m%20n"};
    EXPECT_EQ(ImageCandidates(ReadImageReference("x%20y/m%20n"), "/d/a.dae"), spelled);
    EXPECT_TRUE(ImageCandidates(ReadImageReference("http://host/a.png"), "a.dae").empty());
    EXPECT_TRUE(ImageCandidates(ReadImageReference(""), "a.dae").empty());
}

// A file system of the given regular files.
struct Files {
    std::set<std::string> Paths;
    bool operator()(const std::string& path) const { return Paths.contains(path); }
};

std::string Located(std::string_view reference, std::string_view document, std::string_view output,
                    std::set<std::string> files) {
    const ImageLocation l = LocateImage(reference, document, output, "/work", Files{std::move(files)});
    static const char* const kStatuses[] = {"named", "nearby", "missing", "remote"};
    return std::string(kStatuses[static_cast<int>(l.Status)]) + " " + l.File + " -> " + l.Url;
}

TEST(ImagePaths, LocalDocumentsFindTheirImages) {
    const std::string document = "/data/models/m/meshes/robot.dae";
    EXPECT_EQ(Located("../materials/textures/wood.jpg", document, "/out/robot.x3d",
                      {"/data/models/m/materials/textures/wood.jpg"}),
              "named /data/models/m/materials/textures/wood.jpg -> ../data/models/m/materials/textures/wood.jpg");
    // Named four levels up, kept in the model's own textures folder.
    EXPECT_EQ(Located("../../../../photos/P.jpg", document, "/data/models/m/meshes/robot.x3d",
                      {"/data/models/m/materials/textures/P.jpg", "/data/models/m/materials/textures/Q.jpg"}),
              "nearby /data/models/m/materials/textures/P.jpg -> ../materials/textures/P.jpg");
    EXPECT_EQ(Located("file:///C:/Users/x/a.tga", document, "/data/models/m/meshes/robot.x3d",
                      {"/data/models/m/meshes/a.tga"}),
              "nearby /data/models/m/meshes/a.tga -> a.tga");
    EXPECT_EQ(Located("file:///data/t/a.png", document, "/data/out.x3d", {"/data/t/a.png"}),
              "named /data/t/a.png -> t/a.png");
    EXPECT_EQ(Located("a.PNG", "scene/a.dae", "scene/a.x3d", {"scene/a.png"}), "nearby scene/a.png -> a.png");

    // Relative document and output, from the working directory.
    EXPECT_EQ(Located("tex/my%20map.png", "scene/a.dae", "scene/a.x3d", {"scene/tex/my map.png"}),
              "named scene/tex/my map.png -> tex/my%20map.png");
    EXPECT_EQ(Located("tex/my%20map.png", "scene/a.dae", "scene/a.x3d", {"scene/tex/my%20map.png"}),
              "named scene/tex/my%20map.png -> tex/my%2520map.png");
    EXPECT_EQ(Located("./t.png", "in/a.dae", "/tmp/o/a.x3d", {"in/t.png"}),
              "named in/t.png -> ../../work/in/t.png");
    EXPECT_EQ(Located("t.png", "file://localhost/data/a%20b/a.dae", "/data/a b/a.x3d", {"/data/a b/t.png"}),
              "named /data/a b/t.png -> t.png");
    // Characters a URL cannot hold are encoded, a ':' included.
    EXPECT_EQ(Located("a#1 \xC3\xBC:&.png", "a.dae", "a.x3d", {"a#1 \xC3\xBC:&.png"}),
              "named a#1 \xC3\xBC:&.png -> a%231%20%C3%BC%3A%26.png");

    // Not found: named where it should be, or beside the document.
    EXPECT_EQ(Located("textures/gone.png", "scene/a.dae", "scene/a.x3d", {}), "missing  -> textures/gone.png");
    EXPECT_EQ(Located("C:\\x\\gone.png", "scene/a.dae", "out/a.x3d", {}), "missing  -> ../scene/gone.png");
    EXPECT_EQ(Located("", "scene/a.dae", "scene/a.x3d", {"scene/a.png"}), "missing  -> ");
    // The name in a textures folder beside the document.
    EXPECT_EQ(Located("a.png", "s/a.dae", "s/a.x3d", {"s/textures/a.png"}), "nearby s/textures/a.png -> textures/a.png");
}

TEST(ImagePaths, UrlsStayUrls) {
    const std::string document = "http://host/models/a.dae?version=2";
    EXPECT_EQ(Located("../tex/a b.png", document, "a.x3d", {}), "remote  -> http://host/tex/a%20b.png");
    EXPECT_EQ(Located("tex\\a.png", document, "a.x3d", {}), "remote  -> http://host/models/tex/a.png");
    EXPECT_EQ(Located("/abs/a.png", document, "a.x3d", {}), "remote  -> http://host/abs/a.png");
    // Paths of the author's machine: the name beside the document.
    EXPECT_EQ(Located("C:\\maps\\a b.tga", document, "a.x3d", {}), "remote  -> http://host/models/a%20b.tga");
    EXPECT_EQ(Located("file:///home/u/a.png", document, "a.x3d", {}), "remote  -> http://host/models/a.png");
    EXPECT_EQ(Located("https://cdn.example.org/a b.png", "a.dae", "a.x3d", {"a b.png"}),
              "remote  -> https://cdn.example.org/a%20b.png");
    // Escapes already there are kept; a bare '%' is not one.
    EXPECT_EQ(Located("my%20map 100%.png", "https://h/a.dae", "a.x3d", {}), "remote  -> https://h/my%20map%20100%25.png");
}

TEST(ImagePaths, UrlAndPathArithmetic) {
    // The examples of the URI standard's reference resolution.
    const std::string base = "http://a/b/c/d;p?q";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"g", "http://a/b/c/g"},      {"./g", "http://a/b/c/g"},       {"g/", "http://a/b/c/g/"},
        {"/g", "http://a/g"},         {"//g", "http://g"},             {"g?y", "http://a/b/c/g?y"},
        {"g#s", "http://a/b/c/g#s"},  {".", "http://a/b/c/"},          {"..", "http://a/b/"},
        {"../g", "http://a/b/g"},     {"../../../g", "http://a/g"},    {"/./g", "http://a/g"},
        {"g/./h/../i", "http://a/b/c/g/i"}, {"ftp://x/y", "ftp://x/y"}};
    for (const auto& [reference, expected] : cases) EXPECT_EQ(ResolveUrl(base, reference), expected) << reference;
    EXPECT_EQ(ResolveUrl("http://host", "a.png"), "http://host/a.png");

    EXPECT_EQ(NormalizePath("a/./b/../c"), "a/c");
    EXPECT_EQ(NormalizePath("a/../../x"), "../x");
    EXPECT_EQ(NormalizePath("/../x//y/"), "/x/y");
    EXPECT_EQ(NormalizePath("a/.."), ".");
    EXPECT_EQ(NormalizePath("/"), "/");

    EXPECT_EQ(RelativeUrl("/a/b/out.x3d", "/a/c/t.png", "/"), "../c/t.png");
    EXPECT_EQ(RelativeUrl("/a/out.x3d", "/a/out.x3d.png", "/"), "out.x3d.png");
    EXPECT_EQ(RelativeUrl("out.x3d", "/t.png", "/w/x"), "../../t.png");
    EXPECT_EQ(EncodeUrl("a b\"<>\\^`{|}\x7F\xC3\xBC%2f%"), "a%20b%22%3C%3E%5C%5E%60%7B%7C%7D%7F%C3%BC%2f%25");
}

}  // namespace
}  // namespace morvane::faithful
