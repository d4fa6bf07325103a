// -z under --faithful: a gzip-compressed output named .x3dz, the names that
// the faithful output derives from its input, the documents it never
// replaces, and -z without --faithful, which changes nothing.
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <utility>
#include <string>
#include <vector>

#include "driver/conversion.h"
#include "test_support.h"

namespace morvane {
namespace {

namespace fs = std::filesystem;
using test::Gunzip;
using test::ReadFile;
using test::RunMorvane;
using test::ScratchDirectory;
using test::WriteFile;

TEST(FaithfulOutputNames, ReplaceTheLastExtensionOfADocumentOrArchiveElseAppend) {
    const std::pair<const char*, const char*> names[] = {
        {"Model.DAE", "Model.x3d"}, {"city.kmz", "city.x3d"}, {"a/b/c.ZaE", "a/b/c.x3d"},
        {"a.dae.kmz", "a.dae.x3d"}, {"a.dae.bak", "a.dae.bak.x3d"}, {"model", "model.x3d"},
        {"model.daex", "model.daex.x3d"}, {".dae", ".dae.x3d"}, {"proj.dae/model", "proj.dae/model.x3d"},
        // URLs: the last path component, in the working folder; a file URL
        // beside the file it names.
        {"http://h/p/m.zae", "m.x3d"}, {"file:///srv/m/house.Kmz", "/srv/m/house.x3d"},
    };
    for (const auto& [input, output] : names) {
        EXPECT_EQ(DeriveOutputName(input, kOutputExtension, OutputNaming::kFaithful), output) << input;
    }
    EXPECT_EQ(DeriveOutputName("city.KMZ", kCompressedOutputExtension, OutputNaming::kFaithful), "city.x3dz");
    // The classic naming is untouched.
    EXPECT_EQ(DeriveOutputName("proj.dae/model", ".x3d"), "proj.x3d/model");
    EXPECT_EQ(DeriveOutputName("Model.DAE", ".x3d"), "Model.DAE.x3d");

    EXPECT_TRUE(IsProtectedDocumentName("dir/a.Kmz", OutputNaming::kFaithful));
    EXPECT_TRUE(IsProtectedDocumentName("a.ZAE", OutputNaming::kFaithful));
    EXPECT_TRUE(IsProtectedDocumentName("a.DAE", OutputNaming::kClassic));
    EXPECT_FALSE(IsProtectedDocumentName("a.kmz", OutputNaming::kClassic));
    EXPECT_FALSE(IsProtectedDocumentName("a.kmz.x3d", OutputNaming::kFaithful));
}

// The views are named after the output, so each compressed output is
// compared with the plain one of the same name in a folder of its own.
TEST(GzipOutput, InflatesToThePlainFaithfulOutputUnderADerivedOrAGivenName) {
    ScratchDirectory dir;
    fs::create_directory(dir / "plain");
    WriteFile(dir / "Model.DAE", test::kNestedTriangle);
    ASSERT_EQ(RunMorvane(dir.Path(), {"--faithful", "Model.DAE"}).err, "");
    const std::string plain = ReadFile(dir / "Model.x3d");
    ASSERT_NE(plain.find("<X3D"), std::string::npos);

    EXPECT_EQ(RunMorvane(dir.Path(), {"--faithful", "-z", "Model.DAE"}).err, "");
    EXPECT_EQ(Gunzip(ReadFile(dir / "Model.x3dz")), plain);

    // A given name is used as it is, whatever its extension.
    ASSERT_EQ(RunMorvane(dir.Path(), {"-Z", "--faithful", "Model.DAE", "given.x3d"}).err, "");
    ASSERT_EQ(RunMorvane(dir.Path(), {"--faithful", "Model.DAE", "plain/given.x3d"}).err, "");
    EXPECT_EQ(Gunzip(ReadFile(dir / "given.x3d")), ReadFile(dir / "plain" / "given.x3d"));

    // A batch into a folder: each output under its new name.
    fs::create_directory(dir / "out");
    ASSERT_EQ(RunMorvane(dir.Path(), {"--faithful", "-z", "*.DAE", "out"}).err, "");
    EXPECT_EQ(Gunzip(ReadFile(dir / "out" / "Model.x3dz")), plain);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / "out"), fs::directory_iterator()), 1);
}

TEST(GzipOutput, WithoutFaithfulMinusZChangesNothing) {
    ScratchDirectory dir;
    WriteFile(dir / "m.dae", test::kNestedTriangle);
    fs::create_directory(dir / "plain");
    ASSERT_EQ(RunMorvane(dir.Path(), {"m.dae", "plain"}).err, "");
    ASSERT_EQ(RunMorvane(dir.Path(), {"-z", "m.dae"}).err, "");
    EXPECT_EQ(ReadFile(dir / "m.x3d"), ReadFile(dir / "plain" / "m.x3d"));
    EXPECT_FALSE(fs::exists(dir / "m.x3dz"));
    // The library hands X3D text with -z too: compression is the file's.
    const std::vector<std::string> faithful = {"--faithful"};
    const std::vector<std::string> withZ = {"--faithful", "-z"};
    const std::string text = test::ConvertInMemory(test::kNestedTriangle, withZ);
    EXPECT_EQ(text.substr(0, 5), "<?xml");
    EXPECT_EQ(text, test::ConvertInMemory(test::kNestedTriangle, faithful));
}

TEST(GzipOutput, AnExistingArchiveIsNeverReplacedAndAFailedWriteLeavesNoTrace) {
    ScratchDirectory dir;
    WriteFile(dir / "m.dae", test::kNestedTriangle);
    WriteFile(dir / "Earlier.KMZ", "an archive");
    EXPECT_EQ(RunMorvane(dir.Path(), {"--faithful", "-z", "m.dae", "Earlier.KMZ"}).err,
              "morvane: m.dae: refused: Earlier.KMZ is an existing .kmz file\n");
    EXPECT_EQ(ReadFile(dir / "Earlier.KMZ"), "an archive");
    WriteFile(dir / "a.zae", "another");
    EXPECT_EQ(RunMorvane(dir.Path(), {"--faithful", "m.dae", "a.zae"}).err,
              "morvane: m.dae: refused: a.zae is an existing .zae file\n");
    EXPECT_EQ(ReadFile(dir / "a.zae"), "another");

    // The limit holds standard error's line, not the compressed text.
    constexpr long kLimit = 128;
    ASSERT_EQ(RunMorvane(dir.Path(), {"--faithful", "-z", "m.dae", "whole.x3dz"}).err, "");
    ASSERT_GT(static_cast<long>(fs::file_size(dir / "whole.x3dz")), kLimit);
    WriteFile(dir / "m.x3dz", "earlier");
    const test::Launch launch{
        .Directory = dir.Path(), .Args = {"--faithful", "-z", "m.dae"}, .FileSizeLimit = kLimit};
    const test::Ending limited = test::Execute(launch);
    EXPECT_EQ(limited.signal, 0);
    EXPECT_EQ(limited.exitCode, 0);
    EXPECT_EQ(limited.err, "morvane: m.dae: cannot write m.x3dz: File too large\n");
    EXPECT_EQ(ReadFile(dir / "m.x3dz"), "earlier");
    EXPECT_TRUE(test::HiddenEntries(dir.Path()).empty());
}

}  // namespace
}  // namespace morvane
