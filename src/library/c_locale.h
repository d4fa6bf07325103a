// Numbers in documents and in the output are always read and written as in
// the C locale ("1.5", never "1,5"), whatever locale a host program chose:
// the few reads that go through scanf would otherwise follow it.
#pragma once

#include <clocale>
#include <locale.h>

namespace morvane {

// Holds the calling thread to the C locale while it lives, and gives it back
// its own locale after. Other threads are not touched.
class CLocaleScope {
public:
    CLocaleScope();
    ~CLocaleScope();
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

private:
    locale_t previous_ = nullptr;
};

}  // namespace morvane
