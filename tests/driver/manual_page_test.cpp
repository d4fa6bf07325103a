// The manual page against the program: every option of the usage text has
// an entry of its own under OPTIONS, the page carries the sections a reader
// of manual pages looks for, and its header names the version being built.
// GCC 12 warns of an uninitialised member deep inside std::regex's
// compiler when it optimises with the sanitizers on; a known false alarm.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

#include "test_support.h"

namespace morvane {
namespace {

std::vector<std::string> PageLines() {
    std::istringstream page(test::ReadFile(std::filesystem::path(MORVANE_SOURCE_DIR) / "man" / "morvane.1"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(page, line);) lines.push_back(line);
    return lines;
}

// Every "-letters" that `pattern` finds in `text`, from its first group.
std::set<std::string> Options(const std::string& text, const std::regex& pattern) {
    std::set<std::string> options;
    for (std::sregex_iterator at(text.begin(), text.end(), pattern), end; at != end; ++at) options.insert((*at)[1]);
    return options;
}

// The options named in the tags of the OPTIONS entries (the line after each
// .TP), where roff writes the hyphen as "\-".
std::set<std::string> DocumentedOptions(const std::vector<std::string>& page) {
    std::string tags;
    bool inOptions = false;
    for (std::size_t i = 0; i + 1 < page.size(); ++i) {
        if (page[i].starts_with(".SH")) inOptions = page[i] == ".SH OPTIONS";
        if (inOptions && page[i] == ".TP") tags += page[i + 1] + "\n";
    }
    return Options(tags, std::regex(R"(\\(-[a-z]+))"));
}

TEST(ManualPage, EveryOptionHasAnEntry) {
    // The rows of the usage text that begin "-sy :", "-a  :" and so on.
    test::ScratchDirectory scratch;
    const std::set<std::string> usage =
        Options(test::RunMorvane(scratch.Path(), {}).out, std::regex(R"(\n(-[a-z]+) +:)"));
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
