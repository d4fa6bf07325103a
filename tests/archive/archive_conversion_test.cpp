// Archives converted by the real program and by the library: the document
// found, its images extracted into one folder named after the output, and
// hostile archives refused in one line with nothing written anywhere.
#include <gtest/gtest.h>

#include <set>

#include "archive/zip_writer.h"
#include "driver/image_files.h"
#include "morvane/morvane.hpp"
#include "test_support.h"

namespace morvane {
namespace {

namespace fs = std::filesystem;
using test::MakeZip;
using test::ReadFile;
using test::TexturedDocument;
using test::WriteFile;
using test::ZipEntry;

struct Outcome {
    test::Ending run;
    std::string output;
    // Every file and folder under the working folder's parent, from there,
    // and what the files hold.
    std::set<std::string> files;
    std::map<std::string, std::string> contents;
};

std::set<std::string> Listing(const fs::path& root) {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        names.insert(fs::relative(entry.path(), root).string());
    }
    return names;
}

// Converts `zip`, saved as work/in.kmz, to work/in.x3d over an earlier
// file; `prepare` may add files first.
Outcome Convert(const std::string& zip, const std::function<void(const fs::path&)>& prepare = {}) {
    test::ScratchDirectory parent;
    const fs::path work = parent / "work";
    fs::create_directory(work);
    WriteFile(work / "in.kmz", zip);
    WriteFile(work / "in.x3d", "earlier");
    if (prepare) prepare(work);
    Outcome outcome;
    outcome.run = test::RunMorvane(work, {"--faithful", "in.kmz", "in.x3d"});
    EXPECT_EQ(outcome.run.exitCode, 0);
    outcome.output = ReadFile(work / "in.x3d");
    outcome.files = Listing(parent.Path());
    for (const std::string& name : outcome.files) {
        if (fs::is_regular_file(parent / name)) outcome.contents[name] = ReadFile(parent / name);
    }
    return outcome;
}

// The signature that makes bytes a PNG image to the converter.
const std::string kPng = "\x89PNG\r\n\x1a\n";

const std::set<std::string> kUntouched = {"work", "work/in.kmz", "work/in.x3d"};

TEST(ArchiveConversion, ImagesAreExtractedBesideTheOutputAndNamedFromIt) {
    const std::string wood = kPng + " wood";
    const std::string zip = MakeZip({
        {"doc.kml", test::Kml("models/m.dae")},
        {"models/m.dae", TexturedDocument({"../textures/wood.png", "maps/stone.tga", "http://example.org/sky.png",
                                           "../../outside.png", "C:\\Users\\me\\grass.jpg"})},
        {"textures/wood.png", wood},
        // A 2 x 2 uncompressed TGA, a format browsers cannot show.
        {"models/maps/stone.tga", std::string("\0\0\2", 3) + std::string(9, '\0') + std::string("\2\0\2\0\x18\0", 6) +
                                      std::string(12, '\xff')},
        {"models/grass.jpg", "\xff\xd8\xff grass"},
        {"outside.png", "x"},
    });
    const Outcome outcome = Convert(zip);
    EXPECT_EQ(outcome.run.err, "morvane: in.kmz: warning: image not found in the archive: ../../outside.png\n");
    const std::set<std::string> expected = {"work", "work/in.kmz", "work/in.x3d", "work/in_files",
                                            "work/in_files/textures", "work/in_files/textures/wood.png",
                                            "work/in_files/models", "work/in_files/models/maps",
                                            "work/in_files/models/maps/stone.png",
                                            "work/in_files/models/grass.jpg"};
    EXPECT_EQ(outcome.files, expected);
    EXPECT_EQ(outcome.contents.at("work/in_files/textures/wood.png"), wood);
    EXPECT_EQ(outcome.contents.at("work/in_files/models/grass.jpg"), "\xff\xd8\xff grass");
    EXPECT_TRUE(outcome.contents.at("work/in_files/models/maps/stone.png").starts_with("\x89PNG"));
    // The path of another machine is found by its file name beside the
    // document.
    for (const std::string url : {"in_files/textures/wood.png", "in_files/models/maps/stone.png",
                                  "http://example.org/sky.png", "../../outside.png", "in_files/models/grass.jpg"}) {
        EXPECT_NE(outcome.output.find("<ImageTexture url='\"" + url + "\"'/>"), std::string::npos) << url;
    }
    EXPECT_NE(outcome.output.find("<WorldInfo info='\"KML Location: longitude=-122.08 latitude=37.42\"'/>"),
              std::string::npos);
}

TEST(ArchiveConversion, ExtractedImagesNeverReplaceAFileNorFollowALink) {
    const std::string zip = MakeZip({{"m.dae", TexturedDocument({"a/wood.png", "b/stone.png"})},
                                     {"a/wood.png", kPng + "new wood"},
                                     {"b/stone.png", kPng + "new stone"}});
    const Outcome outcome = Convert(zip, [](const fs::path& work) {
        fs::create_directories(work / "in_files" / "a");
        WriteFile(work / "in_files" / "a" / "wood.png", "earlier wood");
        fs::create_directory(work.parent_path() / "elsewhere");
        fs::create_directory_symlink(work.parent_path() / "elsewhere", work / "in_files" / "b");
    });
    EXPECT_NE(outcome.output.find("url='\"in_files/a/wood-1.png\"'"), std::string::npos);
    EXPECT_EQ(outcome.contents.at("work/in_files/a/wood.png"), "earlier wood");
    EXPECT_EQ(outcome.contents.at("work/in_files/a/wood-1.png"), kPng + "new wood");
    EXPECT_EQ(outcome.files.count("elsewhere/stone.png"), 0u);
    EXPECT_EQ(outcome.run.err, "morvane: in.kmz: warning: image b/stone.png not extracted: cannot write "
                               "in_files/b/stone.png: Not a directory\n");
}

TEST(ArchiveConversion, ImageFilesKeepNamesWithFoldersBelowTheOutput) {
    test::ScratchDirectory dir;
    fs::create_directory(dir / "out");
    ImageFiles files((dir / "out" / "model.x3d").string());
    std::string reason;
    for (const std::string name : {"../x.png", "a/../../x.png", "a//x.png", "./x.png", "/tmp/x.png", "a/"}) {
        std::string placed = name;
        EXPECT_FALSE(files.PlaceImage(placed, "x", reason)) << name;
        EXPECT_EQ(reason, "cannot write " + (dir / "out").string() + "/" + name + ": Invalid argument");
    }
    std::string placed = "model_files/a/b/x.png";
    ASSERT_TRUE(files.PlaceImage(placed, "x", reason)) << reason;
    EXPECT_EQ(placed, "model_files/a/b/x.png");
    EXPECT_EQ(ReadFile(dir / "out" / "model_files" / "a" / "b" / "x.png"), "x");
    EXPECT_EQ(Listing(dir.Path()).size(), 5u);
}

TEST(ArchiveConversion, HostileArchivesAreRefusedInOneLineWithNothingWritten) {
    ZipEntry link{"maps/a.png", "../../../etc/passwd"};
    link.Mode = 0120777;
    ZipEntry secret{"m.dae", TexturedDocument()};
    secret.Flags = 1;
    ZipEntry lying{"m.dae", TexturedDocument()};
    lying.Crc = 7;
    const std::string whole = MakeZip({{"m.dae", TexturedDocument()}});
    std::vector<ZipEntry> crowd(100001, ZipEntry{"", "", false});
    for (std::size_t i = 0; i < crowd.size(); ++i) crowd[i].Name = std::to_string(i) + ".dae";
    const struct {
        std::string zip;
        std::string reason;
    } cases[] = {
        {MakeZip({{"m.dae", TexturedDocument()}, {"../evil.png", "x"}}),
         "zip archive entry with an unsafe name: ../evil.png"},
        {MakeZip({{"m.dae", TexturedDocument()}, {"/tmp/evil.png", "x"}}),
         "zip archive entry with an unsafe name: /tmp/evil.png"},
        {MakeZip({{"m.dae", TexturedDocument()}, link}), "zip archive entry that is a symbolic link: maps/a.png"},
        {MakeZip({secret}), "zip archive entry that is encrypted: m.dae"},
        {whole.substr(0, whole.size() - 30), "not a readable zip archive (truncated or corrupt)"},
        {MakeZip({lying}), "zip archive entry m.dae is corrupt (its checksum does not match)"},
        {MakeZip({{"readme.txt", "x"}}),
         "zip archive without a COLLADA document (no .kml, manifest.xml or .dae entry)"},
        {MakeZip({{"doc.kml", test::Kml("model.dae")}, {"models/model.dae", "x"}}),
         "doc.kml names model.dae, which the archive does not hold"},
        {MakeZip(crowd), "zip archive with more than 100000 entries"},
        {MakeZip({{"m.dae", "<COLLADA><unclosed></COLLADA>"}}),
         "not well-formed XML at line 1, column 22: mismatched tag"},
    };
    for (const auto& hostile : cases) {
        const Outcome outcome = Convert(hostile.zip);
        EXPECT_EQ(outcome.run.err, "morvane: in.kmz: " + hostile.reason + "\n");
        EXPECT_EQ(outcome.output, "earlier") << hostile.reason;
        EXPECT_EQ(outcome.files, kUntouched) << hostile.reason;
    }
}

TEST(ArchiveConversion, DecompressionBombsStopAtTheirLimits) {
    // A document that inflates past 64 MiB from an archive of a few
    // kilobytes is stopped while it streams.
    const std::string bomb = "<COLLADA><asset/>" + std::string((std::size_t{64} << 20) + 1, ' ') + "</COLLADA>";
    const Outcome document = Convert(MakeZip({{"m.dae", bomb}}));
    EXPECT_EQ(document.run.err,
              "morvane: in.kmz: zip archive entry m.dae inflates to more than 64 MiB, the most for an archive of its "
              "size\n");
    EXPECT_EQ(document.files, kUntouched);

    // Within that, what the document would take in memory passes the 48 MiB
    // that so small an archive allows: two million empty nodes (14 MB), whose
    // tree takes 40 bytes a node, or one comment of 40 MiB, which the parser
    // holds whole until it ends.
    std::string nodes = "<COLLADA><library_nodes>";
    for (int i = 0; i < 2000000; ++i) nodes += "<node/>";
    for (const std::string& heavy : {nodes + "</library_nodes></COLLADA>",
                                     "<COLLADA><!--" + std::string(std::size_t{40} << 20, 'a') + "--></COLLADA>"}) {
        const Outcome outcome = Convert(MakeZip({{"m.dae", heavy}}));
        EXPECT_EQ(outcome.run.err,
                  "morvane: in.kmz: needs more memory than its size allows (48 MiB, 4 bytes for each byte of input)\n");
        EXPECT_EQ(outcome.files, kUntouched);
    }

    // An image past its limit is left out; the output is written. Stored
    // padding of 6 MiB lets the archive hold 4 x 6 + 48 MiB, so the image's
    // own limit of 64 MiB is the one met; in an archive of a few kilobytes
    // the memory budget's 48 MiB, less the tree's few hundred kilobytes, is.
    const std::string big((std::size_t{64} << 20) + 1, '\0');
    const Outcome image = Convert(MakeZip({{"m.dae", TexturedDocument({"big.png"})},
                                           {"big.png", big},
                                           {"padding", std::string(std::size_t{6} << 20, 'p'), false}}));
    EXPECT_EQ(image.run.err, "morvane: in.kmz: warning: image big.png not extracted: it inflates to more than 64 MiB\n");
    EXPECT_NE(image.output, "earlier");
    EXPECT_EQ(image.files, kUntouched);
    const Outcome small = Convert(MakeZip({{"m.dae", TexturedDocument({"big.png"})}, {"big.png", big}}));
    EXPECT_EQ(small.run.err, "morvane: in.kmz: warning: image big.png not extracted: it inflates to more than 47 MiB\n");
}

TEST(ArchiveConversion, DuplicateNamesAreReadFirstAndWarnedOf) {
    // A backslash is a folder's separator too.
    const Outcome outcome = Convert(MakeZip({{"m.dae", TexturedDocument({"maps/a.png"})},
                                             {"maps\\a.png", kPng + "first"},
                                             {"m.dae", "<COLLADA/>"},
                                             {"maps/a.png", kPng + "second"}}));
    EXPECT_EQ(outcome.run.err,
              "morvane: in.kmz: warning: zip archive holds m.dae more than once: the first is read\n"
              "morvane: in.kmz: warning: zip archive holds maps/a.png more than once: the first is read\n");
    EXPECT_NE(outcome.output.find("url='\"in_files/maps/a.png\"'"), std::string::npos);
    EXPECT_EQ(outcome.contents.at("work/in_files/maps/a.png"), kPng + "first");
}

TEST(ArchiveConversion, AnArchiveIsKnownByItsContentFromAFileAUrlOrMemory) {
    const std::string zip = MakeZip({{"manifest.xml", "<dae_root>scene.dae</dae_root>"},
                                     {"scene.dae", TexturedDocument({"t.png"})},
                                     {"t.png", kPng}});
    test::ScratchDirectory dir;
    // Named .dae, read from a file URL and over HTTP, it is an archive all the same.
    WriteFile(dir / "model.dae", zip);
    test::LocalHttpServer server({{"/model.zae", test::HttpOk(zip)}, {"/plain.dae", test::HttpOk(TexturedDocument())}});
    for (const std::string& input : {std::string("model.dae"), "file://" + (dir / "model.dae").string(), server.Url("/model.zae")}) {
        fs::remove_all(dir / "out_files");
        const test::Ending run = test::RunMorvane(dir.Path(), {"--faithful", input, "out.x3d"});
        EXPECT_EQ(run.err, "") << input;
        EXPECT_NE(ReadFile(dir / "out.x3d").find("url='\"out_files/t.png\"'"), std::string::npos) << input;
        EXPECT_EQ(ReadFile(dir / "out_files" / "t.png"), kPng) << input;
    }
    // A plain document from a URL is still read as it arrives.
    const test::Ending plain = test::RunMorvane(dir.Path(), {"--faithful", server.Url("/plain.dae"), "plain.x3d"});
    EXPECT_EQ(plain.err, "");
    EXPECT_NE(ReadFile(dir / "plain.x3d").find("<IndexedFaceSet"), std::string::npos);

    // The library takes the archive's bytes and hands its images over.
    Converter converter;
    ASSERT_EQ(converter.SetOptions({"--faithful"}), Status::kOk);
    ASSERT_EQ(converter.SetOutputName("dir/house.x3d"), Status::kOk);
    std::map<std::string, std::string> images;
    converter.SetImageHandler([&](const std::string& name, std::string_view bytes) {
        images[name] = bytes;
        return true;
    });
    std::string x3d;
    ASSERT_EQ(converter.Convert(zip, x3d), Status::kOk);
    EXPECT_NE(x3d.find("url='\"house_files/t.png\"'"), std::string::npos);
    EXPECT_EQ(images, (std::map<std::string, std::string>{{"house_files/t.png", kPng}}));
    // A hostile one is refused with its kind.
    ASSERT_EQ(converter.Convert(MakeZip({{"../m.dae", "x"}}), x3d), Status::kRefused);
    ASSERT_EQ(converter.Diagnostics().size(), 1u);
    EXPECT_EQ(converter.Diagnostics()[0].kind, "bad-archive");
    // The classic output reads an archive as the XML it is not.
    ASSERT_EQ(converter.SetOptions({}), Status::kOk);
    EXPECT_EQ(converter.Convert(zip, x3d), Status::kRefused);
    EXPECT_EQ(converter.Diagnostics()[0].kind, "malformed-xml");
}

}  // namespace
}  // namespace morvane
