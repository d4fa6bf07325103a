#include "events/xml_reader.h"

#include <gtest/gtest.h>

#include "events/narrow_text.h"
#include "test_support.h"

namespace morvane {
namespace {

// Writes down every event, narrowed, in one line of text.
class Recorder final : public SaxContentHandler {
public:
    ResultCode startDocument() override { return Note("[start]"); }
    ResultCode endDocument() override { return Note("[end]"); }
    ResultCode startElement(std::string_view name, const AttributeList& attributes) override {
        std::string_view id;
        Note("<" + Narrow(name) + (attributes.GetValueFromName("id", id) ? " id=" + Narrow(id) : "") + ">");
        return kResultOk;
    }
    ResultCode endElement(std::string_view name) override { return Note("</" + Narrow(name) + ">"); }
    ResultCode characters(const char* chars, std::size_t count) override {
        return Note(Narrow(std::string_view(chars, count)));
    }
    std::string log;

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

TEST(XmlReader, DeliversEventsInDocumentOrder) {
    Recorder recorder;
    EXPECT_EQ(ParseText(recorder, "<a id='1'>x<b/>y</a>"), kResultOk);
    EXPECT_EQ(recorder.log, "[start]<a id=1>x<b></b>y</a>[end]");
}

TEST(XmlReader, AMalformedDocumentFailsWithoutEndDocument) {
    for (const char* broken : {"<a><b></a>", "<a>", "", "\x01\x02garbage", "<a/><b/>"}) {
        Recorder recorder;
        EXPECT_NE(ParseText(recorder, broken), kResultOk) << broken;
        EXPECT_EQ(recorder.log.find("[end]"), std::string::npos) << broken;
    }
}

TEST(XmlReader, ReadsUtf16AndLatinOneDocuments) {
    Recorder utf16;
    const std::string text = "<?xml version='1.0' encoding='UTF-16'?><a>\xE9</a>";
    std::string wide = "\xFF\xFE";  // little-endian byte order mark
    for (char c : text) {
        wide += c;
        wide += '\0';
    }
    EXPECT_EQ(ParseText(utf16, wide), kResultOk);
    EXPECT_EQ(utf16.log, "[start]<a>\xE9</a>[end]");

    Recorder latin;
    EXPECT_EQ(ParseText(latin, "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>"), kResultOk);
    EXPECT_EQ(latin.log, "[start]<a>\xE9</a>[end]");
}

TEST(XmlReader, ReadsWindows1252AndNoOtherLegacyEncoding) {
    Recorder recorder;
    // 0x80 is the euro sign (above Latin-1: '?'), 0xE9 e-acute, 0x81 undefined and kept as U+0081.
    EXPECT_EQ(ParseText(recorder, "<?xml version='1.0' encoding='Windows-1252'?><a>\x80\xE9\x81</a>"), kResultOk);
    EXPECT_EQ(recorder.log, "[start]<a>?\xE9\x81</a>[end]");

    Recorder other;
    EXPECT_NE(ParseText(other, "<?xml version='1.0' encoding='koi8-r'?><a>x</a>"), kResultOk);
    EXPECT_EQ(other.log.find("[end]"), std::string::npos);
}

TEST(XmlReader, NeverLoadsExternalEntities) {
    test::ScratchDirectory scratch;
    test::WriteFile(scratch / "secret.txt", "SECRET");
    const std::string path = (scratch / "secret.txt").string();
    Recorder recorder;
    ParseText(recorder, "<!DOCTYPE a [<!ENTITY s SYSTEM 'file://" + path + "'>]><a>&s;</a>");
    EXPECT_EQ(recorder.log.find("SECRET"), std::string::npos);
}

TEST(XmlReader, RefusesEntityExpansionBombs) {
    std::string bomb = "<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx'>";
    for (int i = 1; i <= 12; ++i) {
        bomb += "<!ENTITY e" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j) bomb += "&e" + std::to_string(i - 1) + ";";
        bomb += "'>";
    }
    bomb += "]><a>&e12;</a>";
    struct Counter final : SaxContentHandler {
        std::size_t bytes = 0;
        bool ended = false;
        ResultCode startDocument() override { return kResultOk; }
        ResultCode endDocument() override {
            ended = true;
            return kResultOk;
        }
        ResultCode startElement(std::string_view, const AttributeList&) override { return kResultOk; }
        ResultCode endElement(std::string_view) override { return kResultOk; }
        ResultCode characters(const char*, std::size_t count) override {
            bytes += count;
            return kResultOk;
        }
    } counter;
    XmlReader reader;
    reader.PutContentHandler(&counter);
    EXPECT_NE(reader.ParseBuffer(bomb), kResultOk);
    EXPECT_FALSE(counter.ended);
}

TEST(XmlReader, AHandlerCanRefuseTheDocument) {
    struct Refuser final : SaxContentHandler {
        bool ended = false;
        ResultCode startDocument() override { return kResultOk; }
        ResultCode endDocument() override {
            ended = true;
            return kResultOk;
        }
        ResultCode startElement(std::string_view name, const AttributeList&) override {
            if (name == "bad") throw UnreadableDocument("bad element");
            return kResultOk;
        }
        ResultCode endElement(std::string_view) override { return kResultOk; }
        ResultCode characters(const char*, std::size_t) override { return kResultOk; }
    } refuser;
    XmlReader reader;
    reader.PutContentHandler(&refuser);
    EXPECT_NE(reader.ParseBuffer("<a><bad/></a>"), kResultOk);
    EXPECT_FALSE(refuser.ended);
}

TEST(XmlReader, ReadsFilesAndFileUrls) {
    test::ScratchDirectory scratch;
    // Larger than one read block, so that the document crosses block edges.
    std::string big = "<a>";
    while (big.size() < (3u << 20)) big += "<b>0123456789</b>";
    big += "</a>";
    test::WriteFile(scratch / "big.xml", big);
    struct Tally final : SaxContentHandler {
        int elements = 0;
        bool ended = false;
        ResultCode startDocument() override { return kResultOk; }
        ResultCode endDocument() override {
            ended = true;
            return kResultOk;
        }
        ResultCode startElement(std::string_view, const AttributeList&) override {
            ++elements;
            return kResultOk;
        }
        ResultCode endElement(std::string_view) override { return kResultOk; }
        ResultCode characters(const char*, std::size_t) override { return kResultOk; }
    };
    const int expected = 1 + static_cast<int>((big.size() - 7) / 17);
    for (const std::string& name : {(scratch / "big.xml").string(), "file://" + (scratch / "big.xml").string()}) {
        Tally tally;
        XmlReader reader;
        reader.PutContentHandler(&tally);
        EXPECT_EQ(reader.ParseUrl(name), kResultOk) << name;
        EXPECT_EQ(tally.elements, expected) << name;
        EXPECT_TRUE(tally.ended) << name;
    }

    Recorder missing;
    XmlReader reader;
    reader.PutContentHandler(&missing);
    EXPECT_NE(reader.ParseUrl((scratch / "missing.xml").string()), kResultOk);
    EXPECT_NE(reader.ParseUrl(scratch.Path().string()), kResultOk);
    EXPECT_NE(reader.ParseUrl("file://" + (scratch / "missing.xml").string()), kResultOk);
    EXPECT_EQ(missing.log.find("[end]"), std::string::npos);
}

TEST(XmlReader, StreamsDocumentsFromHttp) {
    test::LocalHttpServer server({
        {"/doc.dae", test::HttpOk("<a id='web'>served</a>")},
        {"/moved.dae", "HTTP/1.1 302 Found\r\nLocation: /doc.dae\r\nContent-Length: 0\r\n\r\n"},
        {"/broken.dae", test::HttpOk("<a>cut")},
        {"/error.dae", "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 8\r\n\r\n<a>x</a>"},
    });
    XmlReader reader;

    Recorder direct;
    reader.PutContentHandler(&direct);
    EXPECT_EQ(reader.ParseUrl(server.Url("/doc.dae")), kResultOk);
    EXPECT_EQ(direct.log, "[start]<a id=web>served</a>[end]");

    Recorder redirected;
    reader.PutContentHandler(&redirected);
    EXPECT_EQ(reader.ParseUrl(server.Url("/moved.dae")), kResultOk);
    EXPECT_EQ(redirected.log, "[start]<a id=web>served</a>[end]");

    for (const char* path : {"/missing.dae", "/broken.dae", "/error.dae"}) {
        Recorder failed;
        reader.PutContentHandler(&failed);
        EXPECT_NE(reader.ParseUrl(server.Url(path)), kResultOk) << path;
        EXPECT_EQ(failed.log.find("[end]"), std::string::npos) << path;
    }
    EXPECT_EQ(server.Requests(), 6);
}

}  // namespace
}  // namespace morvane
