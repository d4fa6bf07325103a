// The fixed words by which the library names the kinds of refusals and
// warnings, for programs that act on them.
#pragma once

#include "support/conversion_error.h"

namespace morvane {

// A lower-case word with hyphens, never null, that never changes for a kind
// once given; the public header lists them all.
const char* KindWord(ErrorKind kind);

}  // namespace morvane
