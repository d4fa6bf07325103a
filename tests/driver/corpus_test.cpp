// Every document of the shared corpus of real COLLADA files converts
// without a crash, a hang or a sanitizer report, with the default options
// and with libraries and without smoothing, and its output is well-formed
// XML unless the document's own names or texts hold characters that the
// output carries raw. A document without output says why in one line. The
// same holds for the documents under tests/regressions.
#include <expat.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "test_support.h"

namespace morvane {
namespace {

// Whether some attribute value or text of the document, once read, holds a
// character that markup or encoding would need escaped: names and texts
// are written as they stand, narrowed to one byte per character.
bool CarriesRawCharacters(const std::filesystem::path& document) {
    struct Scan {
        static bool Raw(const XML_Char* text, int length) {
            return std::any_of(text, text + length, [](char c) {
                return c == '<' || c == '&' || c == '\'' || static_cast<unsigned char>(c) >= 0x80;
            });
        }
        static void XMLCALL Start(void* found, const XML_Char*, const XML_Char** attributes) {
            for (; *attributes != nullptr; ++attributes) {
                if (Raw(*attributes, static_cast<int>(std::char_traits<char>::length(*attributes)))) {
                    *static_cast<bool*>(found) = true;
                }
            }
        }
        static void XMLCALL Text(void* found, const XML_Char* text, int length) {
            if (Raw(text, length)) *static_cast<bool*>(found) = true;
        }
    };
    bool found = false;
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, &found);
    XML_SetStartElementHandler(parser, Scan::Start);
    XML_SetCharacterDataHandler(parser, Scan::Text);
    const std::string text = test::ReadFile(document);
    XML_Parse(parser, text.data(), static_cast<int>(text.size()), XML_TRUE);
    XML_ParserFree(parser);
    return found;
}

// Converts each of `documents` with `options`, then those it names itself
// in a comment "<!-- options: -l -ss -->".
void ConvertAll(const std::vector<std::filesystem::path>& documents, const std::vector<std::string>& options) {
    test::ScratchDirectory scratch;
    for (const auto& document : documents) {
        std::vector<std::string> args = options;
        const std::string text = test::ReadFile(document);
        if (const std::size_t mark = text.find("<!-- options:"); mark != std::string::npos) {
            for (const std::string& word : test::Words(text.substr(mark + 13, text.find("-->", mark) - mark - 13))) {
                args.push_back(word);
            }
        }
        args.push_back(document.string());
        args.push_back((scratch / "out.x3d").string());
        const auto result = test::RunMorvane(scratch.Path(), args);
        EXPECT_EQ(result.exitCode, 0) << document;
        const auto output = scratch / "out.x3d";
        EXPECT_EQ(test::DiagnosticProblem(result.err, document.string(), std::filesystem::exists(output)), "");
        if (std::filesystem::exists(output)) {
            if (!CarriesRawCharacters(document)) {
                EXPECT_EQ(test::XmlErrors(test::ReadFile(output)), "") << document;
            }
            std::filesystem::remove(output);
        }
    }
}

void ConvertCorpus(const std::vector<std::string>& options) {
    const auto documents = test::Documents(test::CorpusDirectory());
    if (documents.empty()) GTEST_SKIP() << "no corpus at " << test::CorpusDirectory();
    ConvertAll(documents, options);
}

TEST(Corpus, ConvertsEveryDocumentWithDefaultOptions) { ConvertCorpus({"-fs"}); }

TEST(Corpus, ConvertsEveryDocumentWithLibrariesAndWithoutSmoothing) { ConvertCorpus({"-l", "-ss"}); }

// Every document under tests/regressions once broke a conversion: a crash,
// a hang or a sanitizer report.
TEST(RegressionInputs, EachConvertsOrSaysWhyNot) {
    const auto documents = test::Documents(std::filesystem::path(MORVANE_SOURCE_DIR) / "tests" / "regressions");
    ASSERT_FALSE(documents.empty());
    ConvertAll(documents, {});
}

}  // namespace
}  // namespace morvane
