// The manual page against the program: every option of the usage text has
// an entry of its own under OPTIONS, the page carries the sections a reader
// of manual pages looks for, and its header names the version being built.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>
#include <sstream>

#include "driver/command_line.h"
#include "test_support.h"

namespace morvane {
namespace {

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// The run of lower-case letters that starts at `at`.
std::string LettersAt(const std::string& text, std::size_t at) {
    std::size_t end = at;
    while (end < text.size() && std::islower(static_cast<unsigned char>(text[end]))) ++end;
    return text.substr(at, end - at);
}

std::vector<std::string> PageLines() {
    return Lines(test::ReadFile(std::filesystem::path(MORVANE_SOURCE_DIR) / "man" / "morvane.1"));
}

// The options of the usage text: the rows that begin "-sy :", "-a  :" and so on.
std::vector<std::string> UsageOptions() {
    const std::string usage = test::CaptureOutput([](std::FILE* out) { PrintUsage(out); });
    std::vector<std::string> options;
    for (const std::string& line : Lines(usage)) {
        if (line.empty() || line[0] != '-') continue;
        const std::string letters = LettersAt(line, 1);
        const std::size_t blanks = 1 + letters.size();
        const std::size_t colon = line.find_first_not_of(' ', blanks);
        if (!letters.empty() && colon != std::string::npos && colon > blanks && line[colon] == ':') {
            options.push_back("-" + letters);
        }
    }
    return options;
}

// The options named in the tags of the OPTIONS entries (the line after each
// .TP), where roff writes the hyphen as "\-".
std::set<std::string> DocumentedOptions(const std::vector<std::string>& page) {
    std::set<std::string> options;
    bool inOptions = false;
    bool tagNext = false;
    for (const std::string& line : page) {
        if (line.rfind(".SH", 0) == 0) {
            inOptions = line == ".SH OPTIONS";
        } else if (inOptions && tagNext) {
            for (std::size_t at = line.find("\\-"); at != std::string::npos; at = line.find("\\-", at + 2)) {
                const std::string letters = LettersAt(line, at + 2);
                if (!letters.empty()) options.insert("-" + letters);
            }
        }
        tagNext = inOptions && line == ".TP";
    }
    return options;
}

TEST(ManualPage, EveryOptionHasAnEntry) {
    const std::vector<std::string> usage = UsageOptions();
    ASSERT_FALSE(usage.empty()) << "no option rows found in the usage text";
    const std::set<std::string> documented = DocumentedOptions(PageLines());
    for (const std::string& option : usage) EXPECT_TRUE(documented.count(option)) << option << " has no entry";
    // Accepted, but without a row in the usage text.
    EXPECT_TRUE(documented.count("-sm")) << "-sm has no entry";
}

TEST(ManualPage, HasTheUsualSectionsInOrder) {
    const std::vector<std::string> required = {"NAME",         "SYNOPSIS",    "DESCRIPTION", "OPTIONS",
                                               "OUTPUT FILES", "BATCHES",     "URLS",        "LIMITS",
                                               "DIAGNOSTICS",  "EXIT STATUS", "EXAMPLES",    "SEE ALSO"};
    std::vector<std::string> sections;
    for (const std::string& line : PageLines()) {
        if (line.rfind(".SH ", 0) == 0) sections.push_back(line.substr(4));
    }
    auto next = sections.begin();
    for (const std::string& name : required) {
        next = std::find(next, sections.end(), name);
        ASSERT_NE(next, sections.end()) << name << " missing or out of order";
    }
}

TEST(ManualPage, HeaderNamesTheVersionBeingBuilt) {
    const std::vector<std::string> page = PageLines();
    ASSERT_FALSE(page.empty());
    EXPECT_EQ(page.front().rfind(".TH MORVANE 1 ", 0), 0u) << page.front();
    EXPECT_NE(page.front().find("\"morvane " MORVANE_VERSION "\""), std::string::npos) << page.front();
}

}  // namespace
}  // namespace morvane
