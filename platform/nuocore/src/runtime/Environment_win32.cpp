#include <cstdlib>
#include <string_view>

#include "Environment.h"
#include "nuocore/StringConversion.h"

namespace nuocore::environment {

std::string GetVariable(const char* inName) {
    const UTF16String name = string::UTF8to16(inName);
    const wchar_t* const value = _wgetenv(reinterpret_cast<const wchar_t*>(name.c_str()));
    if (value == nullptr) {
        return {};
    }
    return string::UTF8ToStdString(
        string::UTF16to8(std::u16string_view(reinterpret_cast<const char16_t*>(value))));
}

}  // namespace nuocore::environment
