// Whole conversions compared with expected files. Each case under
// tests/cases is a document `<case>.dae` with one or more expectations:
//   <case>.x3d               the output with no options
//   <case>.<variant>.args    options for a variant, separated by blanks
//   <case>.<variant>.x3d     the output of that variant
//   <case>[.<variant>].out   optional: what is printed on standard output
// The document is converted as `<case>.dae` in a scratch directory, so the
// output is `<case>.x3d` and the viewpoints are named after `<case>`.
// Every output must also be well-formed XML. Each case is converted a
// second time at the end of a batch of every other case's document, and
// must come out the same: nothing of one document may reach a later one.
#include <gtest/gtest.h>

#include <algorithm>

#include "test_support.h"

namespace morvane {
namespace {

namespace fs = std::filesystem;

struct ConversionCase {
    fs::path document;
    std::vector<std::string> options;
    fs::path expected;
    fs::path expectedOut;  // empty when standard output is not checked
    // The documents converted before it in a batch: all the others, from
    // the one after it in the list round to the one before it.
    std::vector<fs::path> before;
};

fs::path CasesDirectory() { return fs::path(MORVANE_SOURCE_DIR) / "tests" / "cases"; }

std::vector<ConversionCase> FindCases() {
    std::vector<ConversionCase> cases;
    if (!fs::is_directory(CasesDirectory())) return cases;
    for (const auto& entry : fs::recursive_directory_iterator(CasesDirectory())) {
        const fs::path& path = entry.path();
        if (path.extension() != ".x3d") continue;
        // <case>.x3d or <case>.<variant>.x3d
        const std::string stem = path.stem().string();
        const auto dot = stem.find('.');
        ConversionCase c;
        const std::string caseName = stem.substr(0, dot);
        c.document = path.parent_path() / (caseName + ".dae");
        if (dot != std::string::npos) c.options = test::Words(test::ReadFile(path.parent_path() / (stem + ".args")));
        c.expected = path;
        const fs::path out = path.parent_path() / (stem + ".out");
        if (fs::exists(out)) c.expectedOut = out;
        cases.push_back(std::move(c));
    }
    std::sort(cases.begin(), cases.end(),
              [](const ConversionCase& a, const ConversionCase& b) { return a.expected < b.expected; });
    const std::vector<fs::path> documents = test::Documents(CasesDirectory());
    for (ConversionCase& c : cases) {
        const std::size_t at = static_cast<std::size_t>(
            std::find(documents.begin(), documents.end(), c.document) - documents.begin());
        for (std::size_t step = 1; step < documents.size(); ++step) {
            c.before.push_back(documents[(at + step) % documents.size()]);
        }
    }
    return cases;
}

// Names the case in failure messages by its expected file.
void PrintTo(const ConversionCase& c, std::ostream* out) {
    *out << fs::relative(c.expected, CasesDirectory()).string();
}

class Conversion : public testing::TestWithParam<ConversionCase> {};

TEST_P(Conversion, WritesTheExpectedDocument) {
    const ConversionCase& c = GetParam();
    test::ScratchDirectory scratch;
    const std::string name = c.document.stem().string();
    fs::copy_file(c.document, scratch / (name + ".dae"));
    std::vector<std::string> args = c.options;
    args.push_back(name + ".dae");
    const auto result = test::RunMorvane(scratch.Path(), args);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    const std::string written = test::ReadFile(scratch / (name + ".x3d"));
    EXPECT_EQ(written, test::ReadFile(c.expected));
    EXPECT_EQ(test::XmlErrors(written), "");
    if (!c.expectedOut.empty()) {
        EXPECT_EQ(result.out, test::ReadFile(c.expectedOut));
    }
}

TEST_P(Conversion, WritesTheSameDocumentAfterAllTheOthersInABatch) {
    const ConversionCase& c = GetParam();
    ASSERT_FALSE(c.before.empty()) << "a single document among the cases";
    test::ScratchDirectory scratch;
    const std::string name = c.document.stem().string();
    // Matched in this order, and before the case itself: digits come
    // before every letter.
    for (std::size_t i = 0; i < c.before.size(); ++i) {
        const std::string number = std::to_string(1000 + i).substr(1);
        fs::copy_file(c.before[i], scratch / (number + "-" + c.before[i].filename().string()));
    }
    fs::copy_file(c.document, scratch / (name + ".dae"));
    std::vector<std::string> args = c.options;
    args.push_back("*.dae");
    const auto result = test::RunMorvane(scratch.Path(), args);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err.find("morvane: " + name + ".dae:"), std::string::npos) << result.err;
    EXPECT_EQ(test::ReadFile(scratch / (name + ".x3d")), test::ReadFile(c.expected))
        << "right after " << fs::relative(c.before.back(), CasesDirectory()).string();
}

std::string CaseName(const testing::TestParamInfo<ConversionCase>& info) {
    std::string name = fs::relative(info.param.expected, CasesDirectory()).replace_extension().string();
    for (char& ch : name) {
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Cases, Conversion, testing::ValuesIn(FindCases()), CaseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Conversion);

}  // namespace
}  // namespace morvane
