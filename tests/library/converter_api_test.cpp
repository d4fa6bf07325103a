// The public interface, used as a program outside the converter uses it:
// options as words, output streamed or whole, diagnostics as values, and
// converters that can be used again.
#include <gtest/gtest.h>
#include <langinfo.h>
#include <locale.h>

#include <cstdlib>
#include <set>
#include <stdexcept>

#include "library/diagnostic_kinds.h"
#include "morvane/morvane.h"
#include "morvane/morvane.hpp"
#include "test_support.h"

// The leak checker's switch, where the tests run under it: glibc keeps the
// search path of a locale loaded through LOCPATH for good.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace {

const std::string& kDocument = morvane::test::kNestedTriangle;
using morvane::test::CubeDocument;

std::string Text(morvane::Converter& converter, const std::string& document) {
    std::string x3d;
    EXPECT_EQ(converter.Convert(document, x3d), morvane::Status::kOk);
    return x3d;
}

TEST(Library, GivesTheProgramsBytesWholeOrStreamed) {
    const std::string cube = CubeDocument();
    morvane::test::ScratchDirectory scratch;
    morvane_converter* converter = morvane_new();
    ASSERT_NE(converter, nullptr);
    for (const std::vector<const char*>& options : {std::vector<const char*>{}, {"-l", "-ss", "-sv"}}) {
        // The program writes over a longer file, of which nothing may be left.
        morvane::test::WriteFile(scratch / "output.x3d", std::string(100000, 'x'));
        std::vector<std::string> args(options.begin(), options.end());
        args.insert(args.end(), {std::string(MORVANE_SOURCE_DIR) + "/examples/cube.dae", "output.x3d"});
        ASSERT_EQ(morvane::test::RunMorvane(scratch.Path(), args).exitCode, 0);
        const std::string written = morvane::test::ReadFile(scratch / "output.x3d");
        ASSERT_EQ(morvane_set_options(converter, options.data(), options.size()), MORVANE_OK);

        char* text = nullptr;
        std::size_t size = 0;
        ASSERT_EQ(morvane_convert_to_text(converter, cube.data(), cube.size(), &text, &size), MORVANE_OK);
        EXPECT_EQ(std::string(text, size), written);
        EXPECT_EQ(text[size], '\0');
        morvane_free_text(text);

        std::vector<std::string> pieces;
        const auto append = [](void* user, const char* data, std::size_t length) {
            static_cast<std::vector<std::string>*>(user)->emplace_back(data, length);
            return 0;
        };
        EXPECT_EQ(morvane_convert(converter, cube.data(), cube.size(), append, &pieces), MORVANE_OK);
        EXPECT_FALSE(pieces.empty());
        std::string streamed;
        for (const std::string& piece : pieces) streamed += piece;
        EXPECT_EQ(streamed, written);
        EXPECT_EQ(morvane_diagnostic_count(converter), 0u);
    }
    morvane_free(converter);
}

TEST(Library, OptionWordsAreTheCommandLinesAndEachCallStartsFromTheDefaults) {
    morvane::Converter converter;
    const std::string cube = CubeDocument();
    EXPECT_NE(Text(converter, cube).find("<Viewpoint DEF='output Front'"), std::string::npos);
    ASSERT_EQ(converter.SetOptions({"-SV", "-a45.5", "-fm", "-z", "-sp", "--faithful"}), morvane::Status::kOk);
    ASSERT_EQ(converter.SetOptions({"-sv"}), morvane::Status::kOk);
    EXPECT_EQ(Text(converter, cube).find("<Viewpoint"), std::string::npos);
    // 45 degrees in radians, as the creaseAngle is written.
    ASSERT_EQ(converter.SetOptions({"-a45"}), morvane::Status::kOk);
    const std::string angled = Text(converter, cube);
    EXPECT_NE(angled.find("creaseAngle='0.785398'"), std::string::npos);
    EXPECT_NE(angled.find("<Viewpoint"), std::string::npos);

    // Words the command line passes over, file names, and the angle apart
    // from its number are refused, and the options stay as they were.
    for (const char* word : {"-q", "cube.dae", "", "-", "-a", "-ax", "-syy", "-s", "--fast", "-faithful", "30"}) {
        EXPECT_EQ(converter.SetOptions({"-sv", word}), morvane::Status::kBadOption) << word;
    }
    EXPECT_NE(Text(converter, cube).find("creaseAngle='0.785398'"), std::string::npos);

    const char* words[] = {"-sv", nullptr};
    EXPECT_EQ(morvane_set_options(converter.Handle(), words, 2), MORVANE_INVALID_ARGUMENT);
    EXPECT_EQ(morvane_set_options(converter.Handle(), nullptr, 1), MORVANE_INVALID_ARGUMENT);
    EXPECT_EQ(morvane_set_options(converter.Handle(), nullptr, 0), MORVANE_OK);
    EXPECT_NE(Text(converter, cube).find("creaseAngle='1.047198'"), std::string::npos);
}

TEST(Library, TheOutputNameNamesTheViewpoints) {
    morvane::Converter converter;
    ASSERT_EQ(converter.SetOutputName("models/ship.x3d"), morvane::Status::kOk);
    const std::string x3d = Text(converter, CubeDocument());
    EXPECT_NE(x3d.find("<Viewpoint DEF='ship Front'"), std::string::npos);
    EXPECT_EQ(x3d.find("output"), std::string::npos);
    // The name is cut at its last dot, even one in a folder's name.
    for (const auto& [name, base] : {std::pair{"v1.2/model", "v1"}, {"model.x3d.x3d", "model.x3d"}}) {
        ASSERT_EQ(converter.SetOutputName(name), morvane::Status::kOk);
        EXPECT_NE(Text(converter, kDocument).find(std::string("<Viewpoint DEF='") + base + " Front'"), std::string::npos);
    }
}

TEST(Library, RefusalsAreDiagnosticsWithKindAndPlace) {
    morvane::Converter converter;
    std::string x3d = "left over";
    // The name of the end tag that does not match is the eighth character of
    // line 2.
    EXPECT_EQ(converter.Convert("<COLLADA>\n  <a></b>\n</COLLADA>", x3d), morvane::Status::kRefused);
    EXPECT_EQ(x3d, "");
    std::vector<morvane::Diagnostic> diagnostics = converter.Diagnostics();
    ASSERT_EQ(diagnostics.size(), 1u);
    EXPECT_EQ(diagnostics[0].severity, morvane::Severity::kError);
    EXPECT_EQ(diagnostics[0].kind, "malformed-xml");
    EXPECT_EQ(diagnostics[0].line, 2u);
    EXPECT_EQ(diagnostics[0].column, 8u);
    EXPECT_NE(diagnostics[0].message.find("mismatched tag"), std::string::npos);

    EXPECT_EQ(converter.Convert("<COLLADA><asset/></COLLADA>", x3d), morvane::Status::kRefused);
    diagnostics = converter.Diagnostics();
    ASSERT_EQ(diagnostics.size(), 1u);
    EXPECT_EQ(diagnostics[0].kind, "nothing-to-convert");
    EXPECT_EQ(diagnostics[0].line, 0u);
    EXPECT_EQ(diagnostics[0].column, 0u);

    // A refused document leaves nothing behind for the next one.
    morvane::Converter fresh;
    EXPECT_EQ(Text(converter, kDocument), Text(fresh, kDocument));
    EXPECT_TRUE(converter.Diagnostics().empty());
    EXPECT_EQ(morvane_diagnostic_at(converter.Handle(), 0), nullptr);
}

TEST(Library, AWriterThatRefusesEndsTheConversion) {
    morvane_converter* converter = morvane_new();
    const std::string cube = CubeDocument();
    int calls = 0;
    const auto refuse = [](void* user, const char*, std::size_t) {
        ++*static_cast<int*>(user);
        return 1;
    };
    EXPECT_EQ(morvane_convert(converter, cube.data(), cube.size(), refuse, &calls), MORVANE_REFUSED);
    EXPECT_EQ(calls, 1);
    ASSERT_EQ(morvane_diagnostic_count(converter), 1u);
    const morvane_diagnostic* refusal = morvane_diagnostic_at(converter, 0);
    EXPECT_EQ(refusal->severity, MORVANE_ERROR);
    EXPECT_STREQ(refusal->kind, "cannot-write");
    morvane_free(converter);
}

TEST(Library, NullArgumentsAreRefusedAsValues) {
    morvane_converter* converter = morvane_new();
    const std::string cube = CubeDocument();
    char* text = reinterpret_cast<char*>(1);
    std::size_t size = 7;
    const auto ignore = [](void*, const char*, std::size_t) { return 0; };
    EXPECT_EQ(morvane_convert(nullptr, cube.data(), cube.size(), ignore, nullptr), MORVANE_INVALID_ARGUMENT);
    EXPECT_EQ(morvane_convert(converter, nullptr, 3, ignore, nullptr), MORVANE_INVALID_ARGUMENT);
    EXPECT_EQ(morvane_convert(converter, cube.data(), cube.size(), nullptr, nullptr), MORVANE_INVALID_ARGUMENT);
    EXPECT_EQ(morvane_convert_to_text(converter, cube.data(), cube.size(), &text, nullptr), MORVANE_INVALID_ARGUMENT);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(morvane_convert_to_text(nullptr, cube.data(), cube.size(), nullptr, &size), MORVANE_INVALID_ARGUMENT);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(morvane_set_output_name(converter, nullptr), MORVANE_INVALID_ARGUMENT);
    EXPECT_EQ(morvane_set_options(nullptr, nullptr, 0), MORVANE_INVALID_ARGUMENT);
    EXPECT_EQ(morvane_diagnostic_count(nullptr), 0u);
    // No bytes at all is a document like any other: not well-formed.
    EXPECT_EQ(morvane_convert(converter, nullptr, 0, ignore, nullptr), MORVANE_REFUSED);
    ASSERT_EQ(morvane_diagnostic_count(converter), 1u);
    EXPECT_STREQ(morvane_diagnostic_at(converter, 0)->kind, "malformed-xml");
    morvane_free(converter);
    morvane_free(nullptr);
}

TEST(Library, ProgressMarksReachTheHandler) {
    morvane::Converter converter;
    std::string marks;
    converter.SetProgressHandler([&marks](char mark) { marks += mark; });
    // The triangle read, the face welded, the library's mesh, then the
    // nodes b (inside a), a and c as each is written.
    ASSERT_EQ(converter.SetOptions({"-l"}), morvane::Status::kOk);
    Text(converter, kDocument);
    EXPECT_EQ(marks, "..!+++");
    marks.clear();
    ASSERT_EQ(converter.SetOptions({"-l", "-ss"}), morvane::Status::kOk);
    Text(converter, kDocument);
    EXPECT_EQ(marks, ".!+++");
    marks.clear();
    converter.SetProgressHandler(nullptr);
    Text(converter, kDocument);
    EXPECT_EQ(marks, "");
}

TEST(Library, ACallbacksExceptionReachesTheCaller) {
    morvane::Converter converter;
    const auto throwing = [](std::string_view) -> bool { throw std::runtime_error("disk full"); };
    EXPECT_THROW(converter.Convert(kDocument, throwing), std::runtime_error);
    ASSERT_EQ(converter.Diagnostics().size(), 1u);
    EXPECT_EQ(converter.Diagnostics()[0].kind, "cannot-write");

    converter.SetProgressHandler([](char) { throw std::logic_error("stop"); });
    std::string x3d;
    EXPECT_THROW(converter.Convert(kDocument, x3d), std::logic_error);
    // The next conversion does not throw what the last one did.
    converter.SetProgressHandler(nullptr);
    EXPECT_EQ(converter.Convert(kDocument, x3d), morvane::Status::kOk);

    morvane::Converter moved = std::move(converter);
    EXPECT_EQ(moved.Convert(kDocument, x3d), morvane::Status::kOk);
}

TEST(Library, NumbersReadAsInTheCLocaleWhateverTheThreadsLocale) {
    // "0.5x" is read as far as it goes, 0.5, as scanf reads it in the C
    // locale; where the decimal point is a comma scanf would stop at "0".
    const std::string document = morvane::test::MeshDocument("<node id='a'><instance_geometry url='#g'/></node>",
                                                             morvane::test::kOneTriangle, "0 0 0 1 0 0 0 0.5x 0");
    morvane::Converter converter;
    const std::string inC = Text(converter, document);
    // The third point, 0.5 inch (the unit a document without one has) up.
    ASSERT_NE(inC.find("0.000000 0.012700 0.000000"), std::string::npos);

    morvane::test::ScratchDirectory scratch;
    const std::string command = "localedef -i de_DE -f UTF-8 " + (scratch / "de_DE.UTF-8").string() + " 2>/dev/null";
    if (std::system(command.c_str()) != 0) GTEST_SKIP() << "localedef cannot make de_DE.UTF-8";
    setenv("LOCPATH", scratch.Path().c_str(), 1);
    if (__lsan_disable != nullptr) __lsan_disable();
    const locale_t german = newlocale(LC_ALL_MASK, "de_DE.UTF-8", static_cast<locale_t>(nullptr));
    if (__lsan_enable != nullptr) __lsan_enable();
    unsetenv("LOCPATH");
    ASSERT_NE(german, nullptr);
    ASSERT_STREQ(nl_langinfo_l(RADIXCHAR, german), ",");
    const locale_t previous = uselocale(german);
    const std::string inGerman = Text(converter, document);
    const locale_t after = uselocale(previous);
    freelocale(german);
    EXPECT_EQ(inGerman, inC);
    EXPECT_EQ(after, german);
}

TEST(Library, EveryKindHasAWordOfItsOwn) {
    std::set<std::string> words;
    const int kinds = static_cast<int>(morvane::ErrorKind::kInternalError) + 1;
    for (int kind = 0; kind < kinds; ++kind) {
        const std::string word = morvane::KindWord(static_cast<morvane::ErrorKind>(kind));
        EXPECT_EQ(word.find_first_not_of("abcdefghijklmnopqrstuvwxyz-"), std::string::npos) << word;
        EXPECT_TRUE(words.insert(word).second) << word;
    }
}

TEST(Library, VersionIsTheProjects) {
    EXPECT_STREQ(morvane_version(), MORVANE_VERSION);
    EXPECT_EQ(morvane::Version(), MORVANE_VERSION);
}

}  // namespace
