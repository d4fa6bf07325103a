#include "faithful/x3d_text.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace morvane::faithful {
namespace {

const std::string kReplacement = "\xEF\xBF\xBD";

std::string Attribute(std::string_view text) {
    std::string out;
    AppendAttributeText(out, text);
    return out;
}

std::string MFString(const std::vector<std::string>& values) {
    std::string out;
    AppendMFString(out, values);
    return out;
}

TEST(X3dText, AttributeValuesEscapeMarkupQuotesAndLineEnds) {
    EXPECT_EQ(Attribute("Tom & Jerry's <box> \"1\""), "Tom &amp; Jerry&apos;s &lt;box&gt; &quot;1&quot;");
    EXPECT_EQ(Attribute("a\tb\nc\r"), "a&#9;b&#10;c&#13;");
    // Backslashes mean nothing to XML.
    EXPECT_EQ(Attribute("C:\\maps"), "C:\\maps");
    // What XML 1.0 cannot carry: other controls, U+FFFE and U+FFFF, bytes
    // that are not UTF-8.
    EXPECT_EQ(Attribute(std::string("a\x01" "b\0c", 5)), "a" + kReplacement + "b" + kReplacement + "c");
    EXPECT_EQ(Attribute("\xEF\xBF\xBE|\xEF\xBF\xBF"), kReplacement + "|" + kReplacement);
    EXPECT_EQ(Attribute("caf\xE9"), "caf" + kReplacement);
    // Everything else passes as it is, astral planes and C1 controls included.
    const std::string kept = "Mat\xC3\xA9riau \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80 \xC2\x85 \xEF\xBF\xBD";
    EXPECT_EQ(Attribute(kept), kept);
}

TEST(X3dText, Utf8IsCheckedAndMendedByLongestStarts) {
    EXPECT_TRUE(IsValidUtf8(""));
    EXPECT_TRUE(IsValidUtf8("plain \xC3\xA9 \xE2\x82\xAC \xF4\x8F\xBF\xBF"));
    const auto mended = [](std::string_view text) { return RepairUtf8(text); };
    const std::string one = kReplacement, two = one + one, three = two + one, four = three + one;
    // A stray continuation byte, and an overlong '/' (C0 starts nothing).
    EXPECT_EQ(mended("a\x80z"), "a" + one + "z");
    EXPECT_EQ(mended("\xC0\xAF"), two);
    // A euro sign cut short: one replacement for both bytes.
    EXPECT_EQ(mended("\xE2\x82" "a"), one + "a");
    EXPECT_EQ(mended("\xF0\x9F\x98"), one);
    // A surrogate and a code point past U+10FFFF fail at their second byte.
    EXPECT_EQ(mended("\xED\xA0\x80"), three);
    EXPECT_EQ(mended("\xF4\x90\x80\x80"), four);
    EXPECT_EQ(mended("\xE0\x80\xAF"), three);
    for (std::string_view bad : {"a\x80z", "\xC0\xAF", "\xE2\x82" "a", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF"}) {
        EXPECT_FALSE(IsValidUtf8(bad)) << bad;
        EXPECT_TRUE(IsValidUtf8(RepairUtf8(bad)));
    }
    const std::string good = "ok \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
    EXPECT_EQ(mended(good), good);

    EXPECT_EQ(Latin1ToUtf8("caf\xE9 \xFF \x7F"), "caf\xC3\xA9 \xC3\xBF \x7F");
    EXPECT_EQ(Latin1ToUtf8("\x80"), "\xC2\x80");
}

TEST(X3dText, MFStringsQuoteEachValue) {
    EXPECT_EQ(MFString({"a.png", "http://host/a.png"}), "\"a.png\" \"http://host/a.png\"");
    EXPECT_EQ(MFString({"say \"hi\"", "C:\\x"}), "\"say \\\"hi\\\"\" \"C:\\\\x\"");
    // The quoting comes first, then the XML escaping.
    EXPECT_EQ(MFString({"a&b", "it's <it>"}), "\"a&amp;b\" \"it&apos;s &lt;it&gt;\"");
    EXPECT_EQ(MFString({}), "");
    EXPECT_EQ(MFString({""}), "\"\"");
    std::string one;
    AppendMFString(one, "x\"y");
    EXPECT_EQ(one, "\"x\\\"y\"");
}

TEST(X3dText, NamesBecomeValidDefNames) {
    EXPECT_EQ(ValidName("a&b<c'd\"e>f"), "a_b_c_d_e_f");
    EXPECT_EQ(ValidName("my node.001"), "my_node_001");
    EXPECT_EQ(ValidName("a#b,c:d[e]f{g}h\\i+j"), "a_b_c_d_e_f_g_h_i_j");
    EXPECT_EQ(ValidName("tab\there"), "tab_here");
    // What may not come first gets a '_' before it; digits and '-' are kept.
    EXPECT_EQ(ValidName("3dsMax"), "_3dsMax");
    EXPECT_EQ(ValidName("-x"), "_-x");
    EXPECT_EQ(ValidName("+x"), "_x");
    EXPECT_EQ(ValidName("\xCC\x81" "a"), "_\xCC\x81" "a");  // a combining accent
    EXPECT_EQ(ValidName("a-1_b"), "a-1_b");
    EXPECT_EQ(ValidName(""), "_");
    // X3D's keywords cannot be names.
    EXPECT_EQ(ValidName("USE"), "_USE");
    EXPECT_EQ(ValidName("TRUE"), "_TRUE");
    EXPECT_EQ(ValidName("True"), "True");
    // Letters of any script stay; ill-formed bytes and symbols do not.
    EXPECT_EQ(ValidName("Mat\xC3\xA9riau_\xE6\x97\xA5"), "Mat\xC3\xA9riau_\xE6\x97\xA5");
    EXPECT_EQ(ValidName("\xE9t\xE9"), "_t_");
    EXPECT_EQ(ValidName("a\xC3\x97" "b"), "a_b");  // U+00D7, the multiplication sign
}

TEST(X3dText, DefNamesAreUniqueAndDeterministic) {
    DefNames names;
    EXPECT_EQ(names.Give("box"), "box");
    EXPECT_EQ(names.Give("box"), "box_1");
    EXPECT_EQ(names.Give("box"), "box_2");
    // A later node that wants a name already handed out as a rename.
    EXPECT_EQ(names.Give("box_1"), "box_1_1");
    // Two names that become one when made valid.
    EXPECT_EQ(names.Give("a b"), "a_b");
    EXPECT_EQ(names.Give("a_b"), "a_b_1");
    EXPECT_EQ(names.Give(""), "_");
    EXPECT_EQ(names.Give(""), "__1");

    // Reserved first, a wanted name is kept for the node that wants it.
    DefNames reserved;
    for (const char* wanted : {"a", "a", "a_1"}) reserved.Reserve(wanted);
    EXPECT_EQ(reserved.Give("a"), "a");
    EXPECT_EQ(reserved.Give("a"), "a_2");
    EXPECT_EQ(reserved.Give("a_1"), "a_1");

    // Many nodes of one name: all distinct, in order.
    DefNames many;
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) seen.insert(many.Give(i % 2 ? "n" : "n_5"));
    EXPECT_EQ(seen.size(), 1000u);
    EXPECT_EQ(many.Give("n"), "n_501");
}

}  // namespace
}  // namespace morvane::faithful
