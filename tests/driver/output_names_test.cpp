#include <gtest/gtest.h>

#include <filesystem>

#include "driver/conversion.h"
#include "test_support.h"

namespace morvane {
namespace {

TEST(OutputName, FirstDaeFromTheSecondCharacterBecomesTheExtension) {
    EXPECT_EQ(DeriveOutputName("model.dae", ".x3d"), "model.x3d");
    EXPECT_EQ(DeriveOutputName("dir/model.dae", ".x3d"), "dir/model.x3d");
    EXPECT_EQ(DeriveOutputName("a.dae.dae", ".x3d"), "a.x3d.dae");
    EXPECT_EQ(DeriveOutputName("my.daemon.txt", ".x3d"), "my.x3dmon.txt");
    // A name that starts with the extension keeps that first occurrence.
    EXPECT_EQ(DeriveOutputName(".dae", ".x3d"), ".dae.x3d");
    EXPECT_EQ(DeriveOutputName(".dae.dae", ".x3d"), ".dae.x3d");
}

TEST(OutputName, WithoutADaeTheExtensionIsAppended) {
    EXPECT_EQ(DeriveOutputName("model.DAE", ".x3d"), "model.DAE.x3d");
    EXPECT_EQ(DeriveOutputName("model.kmz", ".x3d"), "model.kmz.x3d");
    EXPECT_EQ(DeriveOutputName("", ".x3d"), ".x3d");
}

TEST(OutputName, UrlsLandInTheWorkingDirectory) {
    EXPECT_EQ(DeriveOutputName("http://host/models/house.dae", ".x3d"), "house.x3d");
    EXPECT_EQ(DeriveOutputName("https://host/a\\b/m.kmz", ".x3d"), "m.kmz.x3d");
    EXPECT_EQ(DeriveOutputName("http://host/dir\\x.dae", ".x3d"), "x.x3d");
    // Only names that begin with "http" lose their directory.
    EXPECT_EQ(DeriveOutputName("file:///data/m.dae", ".x3d"), "file:///data/m.x3d");
}

TEST(OutputName, AnExistingDirectoryReceivesTheDerivedName) {
    test::ScratchDirectory scratch;
    const std::string dir = scratch.Path().string();
    EXPECT_EQ(ResolveOutputName("in/model.dae", ".x3d", dir), dir + "/model.x3d");
    EXPECT_EQ(ResolveOutputName("in/model.dae", ".x3d", dir + "/"), dir + "/model.x3d");
    EXPECT_EQ(ResolveOutputName("http://h/p/q.dae", ".x3d", dir), dir + "/q.x3d");
    EXPECT_EQ(ResolveOutputName("in/model.dae", ".x3d", dir + "/new.x3d"), dir + "/new.x3d");
    EXPECT_EQ(ResolveOutputName("in/model.dae", ".x3d", ""), "in/model.x3d");
}

TEST(FilePattern, StarAndQuestionMarkAreTheOnlyWildcards) {
    EXPECT_TRUE(MatchesPattern("*.dae", "a.dae"));
    EXPECT_TRUE(MatchesPattern("*.dae", ".dae"));
    EXPECT_FALSE(MatchesPattern("*.dae", "a.DAE"));
    EXPECT_TRUE(MatchesPattern("a*b*c", "aXbYbZc"));
    EXPECT_FALSE(MatchesPattern("a*b*c", "aXbYbZ"));
    EXPECT_TRUE(MatchesPattern("?.dae", "x.dae"));
    EXPECT_FALSE(MatchesPattern("?.dae", "xy.dae"));
    EXPECT_TRUE(MatchesPattern("**", ""));
    EXPECT_TRUE(MatchesPattern("100%.dae", "100%.dae"));
    EXPECT_FALSE(MatchesPattern("100%.dae", "1000.dae"));
    EXPECT_TRUE(MatchesPattern("[a].dae", "[a].dae"));
    EXPECT_FALSE(MatchesPattern("[a].dae", "a.dae"));
    EXPECT_TRUE(MatchesPattern("a\\*", "a\\bc"));
}

TEST(FilePattern, MatchesAreSortedAndKeepThePatternsDirectory) {
    test::ScratchDirectory scratch;
    for (const char* name : {"b.dae", "a.dae", "C.dae", ".hidden.dae", "a.x3d"}) test::WriteFile(scratch / name, "");
    std::filesystem::create_directory(scratch / "dir.dae");
    const std::string dir = scratch.Path().string() + "/";
    EXPECT_EQ(FindMatchingFiles(dir + "*.dae"),
              (std::vector<std::string>{dir + "C.dae", dir + "a.dae", dir + "b.dae", dir + "dir.dae"}));
    EXPECT_EQ(FindMatchingFiles(dir + ".*.dae"), (std::vector<std::string>{dir + ".hidden.dae"}));
    EXPECT_TRUE(FindMatchingFiles(dir + "*.obj").empty());
    EXPECT_TRUE(FindMatchingFiles(dir + "missing/*.dae").empty());
}

TEST(FileSize, CountsOnlyReadableRegularFiles) {
    test::ScratchDirectory scratch;
    test::WriteFile(scratch / "five", "12345");
    EXPECT_EQ(FileSize((scratch / "five").string()), 5u);
    EXPECT_EQ(FileSize((scratch / "missing").string()), 0u);
    EXPECT_EQ(FileSize(scratch.Path().string()), 0u);
    EXPECT_EQ(FileSize("http://127.0.0.1/five"), 0u);
}

}  // namespace
}  // namespace morvane
