// Option words as a program hands them to the library: the command line's
// own options, each word spelled as the usage text spells it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "events/conversion_options.h"

namespace morvane {

// Whether the command line gives `word` a meaning as an option: -s and -f
// with one of their letters, -l, -z, -a with a number joined to it, and
// --faithful (letters after the dash in either case, as the command line
// reads them). A word the command line would pass over, a file name among
// them, is none.
bool IsOptionWord(std::string_view word);

// The options that `words` set from the defaults, read by the command line's
// own parser. False, with the first word that is no option in `refused`,
// when one is not; `options` is then left as it was.
bool ReadOptionWords(const std::vector<std::string>& words, ConversionOptions& options, std::string& refused);

}  // namespace morvane
