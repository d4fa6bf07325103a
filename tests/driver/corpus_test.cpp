// Every document of the shared corpus of real COLLADA files converts
// without a crash, a hang or a sanitizer report, with the default options
// and with libraries and without smoothing.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"

namespace morvane {
namespace {

std::filesystem::path CorpusDirectory() {
    return std::filesystem::path(MORVANE_SOURCE_DIR).parent_path() / "shared" / "corpus";
}

std::vector<std::filesystem::path> CorpusDocuments() {
    std::vector<std::filesystem::path> documents;
    if (!std::filesystem::is_directory(CorpusDirectory())) return documents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(CorpusDirectory())) {
        if (entry.is_regular_file() && entry.path().extension() == ".dae") documents.push_back(entry.path());
    }
    std::sort(documents.begin(), documents.end());
    return documents;
}

void ConvertAll(const std::vector<std::string>& options) {
    const auto documents = CorpusDocuments();
    if (documents.empty()) GTEST_SKIP() << "no corpus at " << CorpusDirectory();
    test::ScratchDirectory scratch;
    for (const auto& document : documents) {
        std::vector<std::string> args = options;
        args.push_back(document.string());
        args.push_back((scratch / "out.x3d").string());
        const auto result = test::RunMorvane(scratch.Path(), args);
        EXPECT_EQ(result.exitCode, 0) << document;
        EXPECT_EQ(result.err, "") << document;
    }
}

TEST(Corpus, ConvertsEveryDocumentWithDefaultOptions) { ConvertAll({"-fs"}); }

TEST(Corpus, ConvertsEveryDocumentWithLibrariesAndWithoutSmoothing) { ConvertAll({"-l", "-ss"}); }

}  // namespace
}  // namespace morvane
