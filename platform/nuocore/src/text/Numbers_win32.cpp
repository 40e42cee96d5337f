#include <cstdlib>

#include <locale.h>

#include "nuocore/Numbers.h"

namespace nuocore::string {

double ToDouble(const UTF8String& inText) noexcept {
    static const _locale_t sClassic = ::_create_locale(LC_ALL, "C");
    return ::_strtod_l(inText.c_str(), nullptr, sClassic);
}

}  // namespace nuocore::string
