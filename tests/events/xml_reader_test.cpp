#include "events/xml_reader.h"

#include <gtest/gtest.h>

#include <optional>

#include "support/narrow_text.h"
#include "test_support.h"

namespace morvane {
namespace {

// Writes down every event, narrowed, in one line of text; refuses an
// element named "bad".
class Recorder final : public SaxContentHandler {
public:
    Recorder() { reader.PutContentHandler(this); }
    // Parses `text`, or the file or URL it names; gives the refusal, or
    // nothing when the parse went through.
    std::optional<ConversionError> Parse(const std::string& text, bool named = false) {
        try {
            named ? reader.ParseUrl(text) : reader.ParseBuffer(text);
        } catch (const ConversionError& refusal) {
            return refusal;
        }
        return std::nullopt;
    }
    void startDocument() override { log += "[start]"; }
    void endDocument() override { log += "[end]"; }
    void startElement(std::string_view name, const AttributeList& attributes) override {
        if (name == "bad") throw ConversionError(ErrorKind::kTooDeep, "bad element");
        ++elements;
        std::string_view id;
        log += "<" + Narrow(name) + (attributes.GetValueFromName("id", id) ? " id=" + Narrow(id) : "") + ">";
    }
    void endElement(std::string_view name) override { log += "</" + Narrow(name) + ">"; }
    void characters(const char* chars, std::size_t count) override { log += Narrow(std::string_view(chars, count)); }
    XmlReader reader;
    std::string log;
    int elements = 0;
};

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

TEST(XmlReader, AMalformedRefusedOrUnreadableDocumentFailsWithoutEndDocumentAndSaysWhy) {
    const struct {
        std::string text;
        ErrorKind kind;
        std::string message;
        std::uint64_t line = 0;
        std::uint64_t column = 0;
    } cases[] = {
        // expat counts columns from 0, and places a mismatched end tag at its
        // name; the refusal counts from 1 and carries the place.
        {"<a>\n<b></a>", ErrorKind::kMalformedXml, "not well-formed XML at line 2, column 6: mismatched tag", 2, 6},
        {"<a>", ErrorKind::kMalformedXml, "not well-formed XML at line 1, column 4: no element found", 1, 4},
        {"<?xml version='1.0' encoding='koi8-r'?><a>x</a>", ErrorKind::kUnsupportedEncoding,
         "unsupported encoding koi8-r"},
        // Refused by the handler: its own kind and words, no place.
        {"<a>\n<bad/></a>", ErrorKind::kTooDeep, "bad element"},
        // Failures whose words are not looked at here.
        {"", ErrorKind::kMalformedXml, ""},
        {"\x01\x02garbage", ErrorKind::kMalformedXml, ""},
        {"<a/><b/>", ErrorKind::kMalformedXml, ""},
        {EntityBomb(), ErrorKind::kMalformedXml, ""}};
    for (const auto& c : cases) {
        Recorder recorder;
        const std::optional<ConversionError> refusal = recorder.Parse(c.text);
        ASSERT_TRUE(refusal.has_value()) << c.text.substr(0, 60);
        EXPECT_EQ(refusal->Kind(), c.kind) << c.text.substr(0, 60);
        EXPECT_EQ(recorder.log.find("[end]"), std::string::npos) << c.text.substr(0, 60);
        if (!c.message.empty()) {
            EXPECT_EQ(refusal->Message(), c.message);
            EXPECT_EQ(refusal->Line(), c.line) << c.text;
            EXPECT_EQ(refusal->Column(), c.column) << c.text;
        }
        // The next parse is not touched by the failure.
        EXPECT_FALSE(recorder.Parse("<a/>").has_value());
    }
}

TEST(XmlReader, NoHandlerRunsOnceOneHasRefusedTheDocument) {
    Recorder recorder;
    // expat still ends an empty element whose start stopped the parse.
    EXPECT_TRUE(recorder.Parse("<a><bad/><c/>text</a>").has_value());
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
        EXPECT_FALSE(recorder.Parse(text).has_value()) << text;
        EXPECT_EQ(recorder.log, log);
    }
}

TEST(XmlReader, NeverLoadsExternalEntities) {
    test::ScratchDirectory scratch;
    test::WriteFile(scratch / "secret.txt", "SECRET");
    Recorder recorder;
    const std::string url = "file://" + (scratch / "secret.txt").string();
    recorder.Parse("<!DOCTYPE a [<!ENTITY s SYSTEM '" + url + "'>]><a>&s;</a>");
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
        EXPECT_FALSE(recorder.Parse(name, true).has_value()) << name;
        EXPECT_EQ(recorder.elements, elements) << name;
        EXPECT_TRUE(recorder.log.ends_with("[end]")) << name;
    }
    // A file URL is read as the file it names, its path percent-decoded.
    test::WriteFile(scratch / "a b#c.xml", "<a id='decoded'/>");
    Recorder decoded;
    EXPECT_FALSE(decoded.Parse("file://" + scratch.Path().string() + "/a%20b%23c.xml?q#f", true).has_value());
    EXPECT_EQ(decoded.log, "[start]<a id=decoded></a>[end]");
    Recorder missing;
    const std::optional<ConversionError> refusal = missing.Parse("file://" + path + ".missing", true);
    ASSERT_TRUE(refusal.has_value());
    EXPECT_EQ(refusal->Message(), "cannot open: No such file or directory");
    EXPECT_EQ(missing.log.find("[end]"), std::string::npos);
}

TEST(XmlReader, StreamsDocumentsFromHttp) {
    test::LocalHttpServer server({
        {"/doc.dae", test::HttpOk("<a id='web'>served</a>")},
        {"/moved.dae", "HTTP/1.1 302 Found\r\nLocation: /doc.dae\r\nContent-Length: 0\r\n\r\n"},
        {"/broken.dae", test::HttpOk("<a>cut")},
        {"/error.dae", "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 8\r\n\r\n<a>x</a>"},
    });
    for (const char* path : {"/doc.dae", "/moved.dae"}) {
        Recorder served;
        EXPECT_FALSE(served.Parse(server.Url(path), true).has_value()) << path;
        EXPECT_EQ(served.log, "[start]<a id=web>served</a>[end]") << path;
    }
    for (const auto& [path, reason] : {std::pair{"/broken.dae", "not well-formed XML at line 1, column 7: no element found"},
                                       {"/error.dae", "download failed: HTTP status 500"}}) {
        Recorder failed;
        const std::optional<ConversionError> refusal = failed.Parse(server.Url(path), true);
        ASSERT_TRUE(refusal.has_value()) << path;
        EXPECT_EQ(refusal->Message(), reason);
        EXPECT_EQ(failed.log.find("[end]"), std::string::npos) << path;
    }
    EXPECT_EQ(server.Requests(), 5);
}

}  // namespace
}  // namespace morvane
