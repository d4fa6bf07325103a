// Every document of the shared corpus of real COLLADA files converts
// without a crash, a hang or a sanitizer report, with the default options
// and with libraries and without smoothing, and its output is well-formed
// XML unless the document's own names or texts hold characters that the
// output carries raw. A document without output says why in one line.
#include <expat.h>
#include <gtest/gtest.h>

#include <algorithm>
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

TEST(Corpus, ConvertsEveryDocumentWithDefaultOptions) { ConvertAll({"-fs"}); }

TEST(Corpus, ConvertsEveryDocumentWithLibrariesAndWithoutSmoothing) { ConvertAll({"-l", "-ss"}); }

}  // namespace
}  // namespace morvane
