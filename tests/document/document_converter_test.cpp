// The converter's entry point: a document from memory, a file or a URL, to
// an output sink, with the outcome as a value.
#include "document/document_converter.h"

#include <gtest/gtest.h>

#include "test_support.h"

namespace morvane {
namespace {

const std::string kMesh = test::MeshDocument();

using test::RecordingSink;

ConversionJob MemoryJob(const std::string& document) {
    return {DocumentInput::Memory(document), {}, "model.x3d", {}};
}

// A document refused, or read to its end with nothing to write, never
// begins the sink.
TEST(DocumentConverter, ARefusedDocumentLeavesTheSinkAlone) {
    for (const char* document : {"<COLLADA>\n  <asset>\n</COLLADA>", "<COLLADA><asset/></COLLADA>"}) {
        RecordingSink sink;
        EXPECT_FALSE(ConvertDocument(MemoryJob(document), sink).Written()) << document;
        EXPECT_EQ(sink.log, "") << document;
    }
}

TEST(DocumentConverter, CommitsAWholeOutputAndAbandonsOneThatFailsOnTheWay) {
    RecordingSink whole;
    EXPECT_TRUE(ConvertDocument(MemoryJob(kMesh), whole).Written());
    EXPECT_EQ(whole.log, "BC");
    EXPECT_EQ(whole.pieces.size(), 1u);  // the document fits in one piece
    EXPECT_EQ(whole.taken.rfind("<?xml", 0), 0u);

    RecordingSink failing;
    failing.room = 0;
    const ConversionResult result = ConvertDocument(MemoryJob(kMesh), failing);
    ASSERT_FALSE(result.Written());
    EXPECT_EQ(result.Refusal->Kind(), ErrorKind::kCannotWrite);
    EXPECT_EQ(failing.log, "BA");
}

TEST(DocumentConverter, ReadsFilesAndTellsAFileFromAUrl) {
    test::ScratchDirectory scratch;
    test::WriteFile(scratch / "model.dae", kMesh);
    const std::string path = (scratch / "model.dae").string();
    MemorySink fromMemory;
    ConvertDocument(MemoryJob(kMesh), fromMemory);
    const std::string expected = fromMemory.TakeText();
    for (const DocumentInput& input :
         {DocumentInput::File(path), DocumentInput::Named(path), DocumentInput::Url("file://" + path)}) {
        MemorySink sink;
        EXPECT_TRUE(ConvertDocument({input, {}, "model.x3d", {}}, sink).Written()) << input.Name;
        EXPECT_EQ(sink.TakeText(), expected) << input.Name;
    }
    // A file is never taken for a URL, nor a URL for a file.
    RecordingSink sink;
    const ConversionResult file = ConvertDocument({DocumentInput::File("http://localhost/x.dae"), {}, "", {}}, sink);
    ASSERT_FALSE(file.Written());
    EXPECT_EQ(file.Refusal->Message(), "cannot open: No such file or directory");
    const ConversionResult url = ConvertDocument({DocumentInput::Url(path), {}, "", {}}, sink);
    ASSERT_FALSE(url.Written());
    EXPECT_EQ(url.Refusal->Kind(), ErrorKind::kCannotOpen);
}

}  // namespace
}  // namespace morvane
