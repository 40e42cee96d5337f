#include "transport/BrokerLocation.h"

#include <array>
#include <string_view>

namespace nuoplexasupport {

namespace api = orvane::plexa::api5;

namespace {

constexpr std::u16string_view kBrokerFileName = u"OrvaneIPCBroker.exe";

bool LastComponentIsBroker(const UTF16String& inPath, char16_t inSeparator) {
    const std::size_t separator = inPath.rfind(inSeparator);
    return separator != UTF16String::npos &&
           std::u16string_view(inPath).substr(separator + 1) == kBrokerFileName;
}

bool ReadStoredPath(IBrokerSearchSystem& inSystem, UTF16String& outPath) {
    if (!inSystem.OpenKey()) {
        return false;
    }
    // The byte count is the number of units, half of what the buffer holds: stored paths of 130 units and
    // more have always been refused, and stay so.
    std::array<char16_t, 260> buffer{};
    const bool found = inSystem.QueryBrokerPath(buffer.data(), buffer.size());
    inSystem.CloseKey();
    outPath = buffer.data();
    return found;
}

}  // namespace

UTF16String MakeBrokerPathCandidate(const IBrokerSearchSystem& inSystem, bool inIs32BitVariant) {
    const char* variable = inIs32BitVariant ? "CommonProgramFiles(x86)" : "CommonProgramFiles";
    const std::optional<UTF16String> value = inSystem.ReadEnvironment(variable);
    return (value ? *value : inSystem.FallbackBase()) + inSystem.BrokerSuffix();
}

bool IsBrokerExecutablePath(const UTF16String& inPath) {
    return LastComponentIsBroker(inPath, u'\\') || LastComponentIsBroker(inPath, u'/');
}

PlexaMessageErrorCode LocateBroker(IBrokerSearchSystem& inSystem) {
    try {
        for (const bool is32BitVariant : {true, false}) {
            if (inSystem.PathExists(MakeBrokerPathCandidate(inSystem, is32BitVariant))) {
                return api::kPlexaMessageErrorCode_None;
            }
        }
    } catch (...) {
        return api::kPlexaMessageErrorCode_Unknown;
    }
    UTF16String path;
    if (ReadStoredPath(inSystem, path) && IsBrokerExecutablePath(path) && inSystem.PathExists(path)) {
        return api::kPlexaMessageErrorCode_None;
    }
    return api::kPlexaMessageErrorCode_BrokerFileDoesNotExist;
}

}  // namespace nuoplexasupport
