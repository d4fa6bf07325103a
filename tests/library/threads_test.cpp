// Converters on different threads share nothing: the corpus converted on
// eight threads at once gives, document by document, what one thread gives
// alone. Run under ThreadSanitizer by scripts/test, which also catches a
// race that happens to give the right bytes.
#include <gtest/gtest.h>

#include "morvane/morvane.hpp"
#include "test_support.h"

namespace {

namespace fs = std::filesystem;

// What a conversion gave: its text, its status and its diagnostics.
std::string Outcome(morvane::Converter& converter, std::size_t index, const std::string& document) {
    // Every other document with proto libraries and without welding, so
    // that both paths of the writer run side by side.
    static const std::vector<std::string> kPlain;
    static const std::vector<std::string> kLibraries{"-l", "-ss"};
    converter.SetOptions(index % 2 == 0 ? kPlain : kLibraries);
    std::string x3d;
    std::string outcome = std::to_string(static_cast<int>(converter.Convert(document, x3d))) + "\n";
    for (const morvane::Diagnostic& diagnostic : converter.Diagnostics()) {
        outcome += diagnostic.kind + ": " + diagnostic.message + "\n";
    }
    return outcome + x3d;
}

TEST(Threads, EightThreadsGiveWhatOneGives) {
    // Documents below a megabyte: all but a few dozen.
    const std::vector<fs::path> paths = morvane::test::Documents(morvane::test::CorpusDirectory(), 1000000);
    if (paths.empty()) GTEST_SKIP() << "no corpus beside the source tree";
    std::vector<std::string> documents;
    for (const fs::path& path : paths) documents.push_back(morvane::test::ReadFile(path));

    std::vector<std::string> alone(documents.size());
    morvane::Converter one;
    for (std::size_t i = 0; i < documents.size(); ++i) alone[i] = Outcome(one, i, documents[i]);

    std::vector<std::string> together(documents.size());
    std::atomic<std::size_t> next{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&] {
            morvane::Converter converter;
            for (std::size_t i = next++; i < documents.size(); i = next++) {
                together[i] = Outcome(converter, i, documents[i]);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    std::size_t written = 0;
    for (std::size_t i = 0; i < documents.size(); ++i) {
        EXPECT_EQ(together[i], alone[i]) << paths[i];
        if (alone[i].starts_with("0\n")) ++written;
    }
    // Most of the corpus converts: a comparison of refusals alone proves little.
    EXPECT_GT(written, documents.size() / 2);
}

}  // namespace
