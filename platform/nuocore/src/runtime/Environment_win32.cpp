#include <cstdlib>
#include <string>
#include <string_view>

#include "Environment.h"
#include "nuocore/StringConversion.h"

namespace nuocore::environment {

std::string GetVariable(const char* inName) {
    const UTF16String name = string::UTF8to16(inName);
    const wchar_t* const value = _wgetenv(std::wstring(name.begin(), name.end()).c_str());
    if (value == nullptr) {
        return {};
    }
    const std::wstring_view found(value);
    return string::UTF8ToStdString(string::UTF16to8(UTF16String(found.begin(), found.end())));
}

}  // namespace nuocore::environment
