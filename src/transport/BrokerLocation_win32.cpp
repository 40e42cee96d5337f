#include <sys/stat.h>
#include <windows.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "transport/BrokerLocation.h"

namespace nuoplexasupport {

namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

std::wstring Wide(const UTF16String& inText) { return {inText.begin(), inText.end()}; }

class WindowsSearch final : public IBrokerSearchSystem {
  public:
    UTF16String FallbackBase() const override { return u"C:\\Program Files\\Common Files"; }
    UTF16String BrokerSuffix() const override {
        return u"\\Orvane\\Orvane Desktop Common\\IPCBox\\OrvaneIPCBroker.exe";
    }

    std::optional<UTF16String> ReadEnvironment(const char* inName) const override {
        const std::wstring name(inName, inName + std::char_traits<char>::length(inName));
        wchar_t* value = nullptr;
        std::size_t length = 0;
        const bool found = _wdupenv_s(&value, &length, name.c_str()) == 0 && value != nullptr;
        const std::unique_ptr<wchar_t, decltype(&std::free)> owner(value, &std::free);
        std::optional<UTF16String> result;
        if (found) {
            result.emplace(value, value + std::char_traits<wchar_t>::length(value));
        }
        return result;
    }

    bool PathExists(const UTF16String& inPath) const override {
        struct _stat64i32 status {};
        return _wstat64i32(Wide(inPath).c_str(), &status) == 0;
    }

    bool OpenKey() override {
        return RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Orvane\\Plexa\\5.0", 0,
                             KEY_READ | KEY_WOW64_64KEY, &mKey) == ERROR_SUCCESS;
    }
    bool QueryBrokerPath(char16_t* outBuffer, std::size_t inBufferBytes) override {
        auto bytes = static_cast<DWORD>(inBufferBytes);
        return RegQueryValueExW(mKey, L"OrvaneIPCBroker", nullptr, nullptr,
                                reinterpret_cast<BYTE*>(outBuffer), &bytes) == ERROR_SUCCESS;
    }
    void CloseKey() override { RegCloseKey(mKey); }

  private:
    HKEY mKey = nullptr;
};

}  // namespace

PlexaMessageErrorCode LocateBroker() {
    WindowsSearch system;
    return LocateBroker(system);
}

}  // namespace nuoplexasupport
