// The converter's entry point: a document from memory, a file or a URL, to
// an output sink, with the outcome as a value.
#include "document/document_converter.h"

#include <gtest/gtest.h>

#include <string>

#include "test_support.h"

namespace morvane {
namespace {

const std::string kMesh =
    "<COLLADA><library_geometries><geometry id='g'><mesh>"
    "<source id='pos'><float_array id='pos-array'>0 0 0 1 0 0 0 1 0</float_array></source>"
    "<vertices id='v'><input semantic='POSITION' source='#pos'/></vertices>"
    "<triangles count='1'><input semantic='VERTEX' source='#v' offset='0'/><p>0 1 2</p></triangles>"
    "</mesh></geometry></library_geometries>"
    "<library_visual_scenes><visual_scene><node id='n'><instance_geometry url='#g'/></node>"
    "</visual_scene></library_visual_scenes></COLLADA>";

// Writes down what the conversion does with its sink: B(egin), T(ake) with
// the size, C(ommit), A(bandon); refuses the piece after `takes` pieces.
class SinkLog final : public OutputSink {
public:
    explicit SinkLog(int takes = 1000) : takes_(takes) {}
    void Begin() override { log += "B"; }
    void Take(std::string_view piece) override {
        if (takes_-- == 0) throw ConversionError(ErrorKind::kCannotWrite, "cannot write the test's sink");
        log += "T";
        text += piece;
    }
    void Commit() override { log += "C"; }
    void Abandon() override { log += "A"; }
    std::string log;
    std::string text;

private:
    int takes_;
};

ConversionJob MemoryJob(const std::string& document) {
    return {DocumentInput::Memory(document), {}, "model.x3d", {}};
}

TEST(DocumentConverter, GivesTheRefusalWithItsKindWordsAndPlace) {
    const struct {
        std::string document;
        ErrorKind kind;
        std::string message;
        std::uint64_t line;
        std::uint64_t column;
        const char* sink;
    } cases[] = {
        {"<COLLADA>\n  <asset>\n</COLLADA>", ErrorKind::kMalformedXml,
         "not well-formed XML at line 3, column 3: mismatched tag", 3, 3, ""},
        // Read to its end, but with nothing to write: the sink never begins.
        {"<COLLADA><asset/></COLLADA>", ErrorKind::kNothingToConvert,
         "nothing to convert (no triangles, polylist, polygons or lines)", 0, 0, ""},
    };
    for (const auto& c : cases) {
        SinkLog sink;
        const ConversionResult result = ConvertDocument(MemoryJob(c.document), sink);
        ASSERT_FALSE(result.Written()) << c.document;
        EXPECT_EQ(result.Refusal->Kind(), c.kind);
        EXPECT_EQ(result.Refusal->Message(), c.message);
        EXPECT_EQ(result.Refusal->Line(), c.line);
        EXPECT_EQ(result.Refusal->Column(), c.column);
        EXPECT_EQ(sink.log, c.sink);
    }
}

TEST(DocumentConverter, CommitsAWholeOutputAndAbandonsOneThatFailsOnTheWay) {
    SinkLog whole;
    EXPECT_TRUE(ConvertDocument(MemoryJob(kMesh), whole).Written());
    EXPECT_EQ(whole.log, "BTC");  // the document fits in one piece
    EXPECT_EQ(whole.text.rfind("<?xml", 0), 0u);

    SinkLog failing(0);
    const ConversionResult result = ConvertDocument(MemoryJob(kMesh), failing);
    ASSERT_FALSE(result.Written());
    EXPECT_EQ(result.Refusal->Kind(), ErrorKind::kCannotWrite);
    EXPECT_EQ(failing.log, "BA");
}

// One converter serves a run of jobs: each job's options count, and nothing
// of one document reaches the next.
TEST(DocumentConverter, EachJobHasItsOwnOptions) {
    DocumentConverter converter;
    ConversionJob bare = MemoryJob(kMesh);
    bare.Options.AutoBackground = false;
    bare.Options.AutoViewpoint = false;
    SinkLog first;
    SinkLog second;
    SinkLog third;
    ASSERT_TRUE(converter.Convert(bare, first).Written());
    ASSERT_TRUE(converter.Convert(MemoryJob(kMesh), second).Written());
    ASSERT_TRUE(converter.Convert(bare, third).Written());
    EXPECT_EQ(first.text.find("<Background"), std::string::npos);
    EXPECT_EQ(first.text.find("<Viewpoint"), std::string::npos);
    EXPECT_NE(second.text.find("<Background"), std::string::npos);
    EXPECT_NE(second.text.find("<Viewpoint DEF='model Front'"), std::string::npos);
    EXPECT_EQ(third.text, first.text);
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
    SinkLog sink;
    const ConversionResult file = ConvertDocument({DocumentInput::File("http://localhost/x.dae"), {}, "", {}}, sink);
    ASSERT_FALSE(file.Written());
    EXPECT_EQ(file.Refusal->Message(), "cannot open: No such file or directory");
    const ConversionResult url = ConvertDocument({DocumentInput::Url(path), {}, "", {}}, sink);
    ASSERT_FALSE(url.Written());
    EXPECT_EQ(url.Refusal->Kind(), ErrorKind::kCannotOpen);
}

}  // namespace
}  // namespace morvane
