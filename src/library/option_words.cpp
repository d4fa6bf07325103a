#include "library/option_words.h"

#include <cctype>
#include <cstdio>

#include "driver/command_line.h"

namespace morvane {

namespace {

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

bool OneOf(char letter, std::string_view letters) { return letters.find(letter) != std::string_view::npos; }

}  // namespace

bool IsOptionWord(std::string_view word) {
    if (word == "--faithful") return true;
    if (word.size() < 2 || word[0] != '-') return false;
    const char letter = Lower(word[1]);
    const std::string_view rest = word.substr(2);
    switch (letter) {
        case 's': return rest.size() == 1 && OneOf(Lower(rest[0]), "ylpvbnesm");
        case 'f': return rest.size() == 1 && OneOf(Lower(rest[0]), "ylpvbmnes");
        case 'l':
        case 'z': return rest.empty();
        case 'a': {
            // The angle is read as the command line reads it; without a
            // number it would be left as it was, which is never what a
            // caller meant.
            const std::string number(rest);
            float angle = 0.0f;
            return std::sscanf(number.c_str(), "%f", &angle) == 1;
        }
        default: return false;
    }
}

bool ReadOptionWords(const std::vector<std::string>& words, ConversionOptions& options, std::string& refused) {
    for (const std::string& word : words) {
        if (!IsOptionWord(word)) {
            refused = word;
            return false;
        }
    }
    std::vector<std::string> args{"morvane"};
    args.insert(args.end(), words.begin(), words.end());
    ConversionOptions read;
    ApplyArguments(args, read);
    options = read;
    return true;
}

}  // namespace morvane
