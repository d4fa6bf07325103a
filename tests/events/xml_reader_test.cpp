#include "events/xml_reader.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "events/narrow_text.h"
#include "test_support.h"

namespace morvane {
namespace {

// Writes down every event, narrowed, in one line of text; refuses an
// element named "bad".
class Recorder final : public SaxContentHandler {
public:
    ResultCode startDocument() override { return Note("[start]"); }
    ResultCode endDocument() override { return Note("[end]"); }
    ResultCode startElement(std::string_view name, const AttributeList& attributes) override {
        if (name == "bad") throw UnreadableDocument("bad element");
        ++elements;
        std::string_view id;
        Note("<" + Narrow(name) + (attributes.GetValueFromName("id", id) ? " id=" + Narrow(id) : "") + ">");
        return kResultOk;
    }
    ResultCode endElement(std::string_view name) override { return Note("</" + Narrow(name) + ">"); }
    ResultCode characters(const char* chars, std::size_t count) override {
        return Note(Narrow(std::string_view(chars, count)));
    }
    std::string log;
    int elements = 0;

private:
    ResultCode Note(const std::string& text) {
        log += text;
        return kResultOk;
    }
};

ResultCode ParseText(Recorder& recorder, const std::string& xml) {
    XmlReader reader;
    reader.PutContentHandler(&recorder);
    return reader.ParseBuffer(xml);
}

// Nested entities that would expand to 46 * 10^12 characters.
std::string EntityBomb() {
    std::string bomb = "<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx'>";
    for (int i = 1; i <= 12; ++i) {
        bomb += "<!ENTITY e" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j) bomb += "&e" + std::to_string(i - 1) + ";";
        bomb += "'>";
    }
    return bomb + "]><a>&e12;</a>";
}

TEST(XmlReader, AMalformedRefusedOrUnreadableDocumentFailsWithoutEndDocument) {
    const std::vector<std::string> documents = {"<a><b></a>", "<a>", "", "\x01\x02garbage", "<a/><b/>",
                                                "<a><bad/></a>",  // refused by the handler
                                                "<?xml version='1.0' encoding='koi8-r'?><a>x</a>", EntityBomb()};
    for (const std::string& broken : documents) {
        Recorder recorder;
        EXPECT_NE(ParseText(recorder, broken), kResultOk) << broken.substr(0, 60);
        EXPECT_EQ(recorder.log.find("[end]"), std::string::npos) << broken.substr(0, 60);
    }
}

TEST(XmlReader, SaysWhyAParseFailed) {
    const std::pair<std::string, std::string> cases[] = {
        // expat counts columns from 0, and places a mismatched end tag at its name.
        {"<a>\n<b></a>", "not well-formed XML at line 2, column 6: mismatched tag"},
        {"<a>", "not well-formed XML at line 1, column 4: no element found"},
        {"<?xml version='1.0' encoding='koi8-r'?><a/>", "unsupported encoding koi8-r"},
        {"<a><bad/></a>", "bad element"},
    };
    for (const auto& [text, reason] : cases) {
        Recorder recorder;
        XmlReader reader;
        reader.PutContentHandler(&recorder);
        EXPECT_NE(reader.ParseBuffer(text), kResultOk) << text;
        EXPECT_EQ(reader.FailureReason(), reason) << text;
        EXPECT_EQ(reader.ParseBuffer("<a/>"), kResultOk);
        EXPECT_EQ(reader.FailureReason(), "");
    }
}

TEST(XmlReader, NoHandlerRunsOnceOneHasRefusedTheDocument) {
    Recorder recorder;
    // expat still ends an empty element whose start stopped the parse.
    EXPECT_NE(ParseText(recorder, "<a><bad/><c/>text</a>"), kResultOk);
    EXPECT_EQ(recorder.log, "[start]<a>");
}

TEST(XmlReader, ReadsUtf16Latin1AndWindows1252) {
    std::string utf16 = "\xFF\xFE";  // little-endian byte order mark
    for (char c : std::string("<?xml version='1.0' encoding='UTF-16'?><a>\xE9</a>")) utf16 += {c, '\0'};
    const std::pair<std::string, const char*> cases[] = {
        {utf16, "[start]<a>\xE9</a>[end]"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>", "[start]<a>\xE9</a>[end]"},
        // 0x80 is the euro sign (above Latin-1: '?'), 0xE9 e-acute, 0x81 undefined and kept as U+0081.
        {"<?xml version='1.0' encoding='Windows-1252'?><a>\x80\xE9\x81</a>", "[start]<a>?\xE9\x81</a>[end]"},
    };
    for (const auto& [text, log] : cases) {
        Recorder recorder;
        EXPECT_EQ(ParseText(recorder, text), kResultOk) << text;
        EXPECT_EQ(recorder.log, log);
    }
}

TEST(XmlReader, NeverLoadsExternalEntities) {
    test::ScratchDirectory scratch;
    test::WriteFile(scratch / "secret.txt", "SECRET");
    Recorder recorder;
    const std::string url = "file://" + (scratch / "secret.txt").string();
    ParseText(recorder, "<!DOCTYPE a [<!ENTITY s SYSTEM '" + url + "'>]><a>&s;</a>");
    EXPECT_EQ(recorder.log.find("SECRET"), std::string::npos);
}

TEST(XmlReader, ReadsFilesAndFileUrls) {
    test::ScratchDirectory scratch;
    // Larger than one read block, so that the document crosses block edges.
    std::string big = "<a>";
    int elements = 1;
    for (; big.size() < (3u << 20); ++elements) big += "<b>0123456789</b>";
    test::WriteFile(scratch / "big.xml", big + "</a>");
    const std::string path = (scratch / "big.xml").string();
    for (const std::string& name : {path, "file://" + path}) {
        Recorder recorder;
        XmlReader reader;
        reader.PutContentHandler(&recorder);
        EXPECT_EQ(reader.ParseUrl(name), kResultOk) << name;
        EXPECT_EQ(recorder.elements, elements) << name;
        EXPECT_TRUE(recorder.log.ends_with("[end]")) << name;
    }
    // A file URL is read by the transfer library, in its own words.
    const std::pair<std::string, std::string> failures[] = {
        {path + ".missing", "cannot open: No such file or directory"},
        {scratch.Path().string(), "cannot open: Is a directory"},
        {"file://" + path + ".missing", "download failed: "}};
    for (const auto& [name, reason] : failures) {
        Recorder recorder;
        XmlReader reader;
        reader.PutContentHandler(&recorder);
        EXPECT_NE(reader.ParseUrl(name), kResultOk) << name;
        EXPECT_EQ(reader.FailureReason().substr(0, reason.ends_with(": ") ? reason.size() : std::string::npos), reason);
        EXPECT_EQ(recorder.log.find("[end]"), std::string::npos) << name;
    }
}

TEST(XmlReader, OnlyARegularFileIsOpenedWhenNothingElseWillDo) {
    test::ScratchDirectory scratch;
    // Opened, the FIFO would wait for a writer for ever.
    ASSERT_EQ(mkfifo((scratch / "fifo").c_str(), 0600), 0);
    test::WriteFile(scratch / "plain", "<a/>");
    for (const char* name : {"fifo", ""}) {
        Recorder recorder;
        XmlReader reader;
        reader.PutContentHandler(&recorder);
        EXPECT_NE(reader.ParseUrl((scratch / name).string(), true), kResultOk) << name;
        EXPECT_EQ(reader.FailureReason(), "not a regular file") << name;
        EXPECT_EQ(recorder.log, "") << name;
    }
    XmlReader reader;
    EXPECT_EQ(reader.ParseUrl((scratch / "plain").string(), true), kResultOk);
}

TEST(XmlReader, StreamsDocumentsFromHttp) {
    test::LocalHttpServer server({
        {"/doc.dae", test::HttpOk("<a id='web'>served</a>")},
        {"/moved.dae", "HTTP/1.1 302 Found\r\nLocation: /doc.dae\r\nContent-Length: 0\r\n\r\n"},
        {"/broken.dae", test::HttpOk("<a>cut")},
        {"/error.dae", "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 8\r\n\r\n<a>x</a>"},
    });
    XmlReader reader;

    for (const char* path : {"/doc.dae", "/moved.dae"}) {
        Recorder served;
        reader.PutContentHandler(&served);
        EXPECT_EQ(reader.ParseUrl(server.Url(path)), kResultOk) << path;
        EXPECT_EQ(served.log, "[start]<a id=web>served</a>[end]") << path;
    }
    for (const auto& [path, reason] : {std::pair{"/missing.dae", "download failed: HTTP status 404"},
                                       {"/broken.dae", "not well-formed XML at line 1, column 7: no element found"},
                                       {"/error.dae", "download failed: HTTP status 500"}}) {
        Recorder failed;
        reader.PutContentHandler(&failed);
        EXPECT_NE(reader.ParseUrl(server.Url(path)), kResultOk) << path;
        EXPECT_EQ(reader.FailureReason(), reason);
        EXPECT_EQ(failed.log.find("[end]"), std::string::npos) << path;
    }
    EXPECT_EQ(server.Requests(), 6);
}

}  // namespace
}  // namespace morvane
