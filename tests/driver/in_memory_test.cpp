// A conversion held in memory gives the very text that the program writes.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"

namespace morvane {
namespace {

TEST(InMemory, GivesTheTextOfTheFileWhateverThePieces) {
    const std::filesystem::path cube = std::filesystem::path(MORVANE_SOURCE_DIR) / "examples" / "cube.dae";
    const std::string document = test::ReadFile(cube);
    test::ScratchDirectory scratch;
    for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"-l", "-ss", "-sv"}}) {
        std::vector<std::string> args = options;
        args.push_back(cube.string());
        args.push_back((scratch / "cube.x3d").string());
        ASSERT_EQ(test::RunMorvane(scratch.Path(), args).exitCode, 0);
        const std::string written = test::ReadFile(scratch / "cube.x3d");
        ASSERT_NE(written, "");
        EXPECT_EQ(test::ConvertInMemory(document, options, "cube.x3d"), written);
        EXPECT_EQ(test::ConvertInPieces(document, options, "cube.x3d", 7), written);
    }
}

TEST(InMemory, ADocumentWithoutMeshOrMalformedGivesNothing) {
    EXPECT_EQ(test::ConvertInMemory("<COLLADA><asset/></COLLADA>", {}), "");
    EXPECT_EQ(test::ConvertInMemory("<COLLADA><library_geometries>", {}), "");
}

}  // namespace
}  // namespace morvane
