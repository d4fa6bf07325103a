// Every document under tests/regressions once broke a conversion: a crash,
// a hang or a sanitizer report. Each must now convert cleanly with the real
// program, or be refused with one line that says why. A document may name
// the options it needs in a comment of its own, "<!-- options: -l -ss -->";
// without one it runs with the defaults.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "test_support.h"

namespace morvane {
namespace {

std::vector<std::filesystem::path> RegressionDocuments() {
    std::vector<std::filesystem::path> documents;
    const auto directory = std::filesystem::path(MORVANE_SOURCE_DIR) / "tests" / "regressions";
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().extension() == ".dae") documents.push_back(entry.path());
    }
    std::sort(documents.begin(), documents.end());
    return documents;
}

std::vector<std::string> OptionsOf(const std::string& document) {
    const std::string mark = "<!-- options:";
    const std::size_t start = document.find(mark);
    if (start == std::string::npos) return {};
    const std::size_t end = document.find("-->", start);
    std::istringstream words(document.substr(start + mark.size(), end - start - mark.size()));
    std::vector<std::string> options;
    for (std::string word; words >> word;) options.push_back(word);
    return options;
}

TEST(RegressionInputs, EachConvertsOrSaysWhyNot) {
    const auto documents = RegressionDocuments();
    ASSERT_FALSE(documents.empty());
    test::ScratchDirectory scratch;
    for (const auto& document : documents) {
        std::vector<std::string> args = OptionsOf(test::ReadFile(document));
        args.push_back(document.string());
        args.push_back((scratch / "out.x3d").string());
        const auto result = test::RunMorvane(scratch.Path(), args);
        EXPECT_EQ(result.exitCode, 0) << document;
        const bool written = std::filesystem::exists(scratch / "out.x3d");
        EXPECT_EQ(test::DiagnosticProblem(result.err, document.string(), written), "");
        std::filesystem::remove(scratch / "out.x3d");
    }
}

}  // namespace
}  // namespace morvane
