#include "library/c_locale.h"

namespace morvane {

namespace {

// Made once for the whole process and never freed: threads only read it.
locale_t TheCLocale() {
    static const locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return c;
}

}  // namespace

CLocaleScope::CLocaleScope() {
    if (const locale_t c = TheCLocale(); c != nullptr) previous_ = uselocale(c);
}

CLocaleScope::~CLocaleScope() {
    if (previous_ != nullptr) uselocale(previous_);
}

}  // namespace morvane
