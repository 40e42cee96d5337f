#include <cstdlib>

#include <locale.h>  // NOLINT(modernize-deprecated-headers): newlocale, which <clocale> needn't have

#include "nuocore/Numbers.h"

namespace nuocore::string {

double ToDouble(const UTF8String& inText) noexcept {
    static const locale_t sClassic = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return ::strtod_l(inText.c_str(), nullptr, sClassic);
}

}  // namespace nuocore::string
