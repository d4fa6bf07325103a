// Every document of the shared corpus converts under --faithful without a
// crash or a sanitizer report, and every output is well-formed XML with
// the X3D 3.3 header; a document without output says why. Images are
// looked up but not converted, so that the test stays quick.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "document/document_converter.h"
#include "test_support.h"

namespace morvane {
namespace {

TEST(FaithfulCorpus, EveryDocumentGivesWellFormedX3dOrAReason) {
    const std::filesystem::path corpus = std::filesystem::path(MORVANE_SOURCE_DIR).parent_path() / "shared" / "corpus";
    if (!std::filesystem::is_directory(corpus)) GTEST_SKIP() << "no corpus at " << corpus;
    std::vector<std::filesystem::path> documents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(corpus)) {
        if (entry.is_regular_file() && entry.path().extension() == ".dae") documents.push_back(entry.path());
    }
    std::sort(documents.begin(), documents.end());
    ASSERT_GT(documents.size(), 100u);
    std::size_t written = 0;
    ConversionOptions options;
    options.Faithful = true;
    DocumentConverter converter;
    for (const auto& document : documents) {
        MemorySink sink;
        const ConversionResult result =
            converter.Convert({DocumentInput::File(document.string()), options, "/nonexistent/out.x3d", {}}, sink);
        if (!result.Written()) {
            EXPECT_FALSE(result.Refusal->Message().empty()) << document;
            continue;
        }
        ++written;
        const std::string text = sink.TakeText();
        EXPECT_TRUE(text.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<X3D profile='Immersive' version='3.3'"))
            << document;
        EXPECT_EQ(test::XmlErrors(text), "") << document;
    }
    // Nearly all of them have something to show.
    EXPECT_GT(written, documents.size() * 9 / 10);
}

}  // namespace
}  // namespace morvane
