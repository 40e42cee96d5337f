#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "nuocore/StringConversion.h"
#include "transport/BrokerLocation.h"
#include "xdg/ConfigurationFolders.h"

namespace nuoplexasupport {

namespace {

std::string Environment(const char* inName) {
    const char* value =
        std::getenv(inName);  // NOLINT(concurrency-mt-unsafe): nothing here changes the environment
    return value != nullptr ? value : "";
}

std::vector<std::string> KeyFiles() {
    std::vector<std::string> files = orvane::plexa::xdg::ConfigurationFolders(
        Environment("XDG_CONFIG_HOME"), Environment("HOME"), Environment("XDG_CONFIG_DIRS"));
    for (std::string& file : files) {
        file.append("/orvane/plexa/5.0");
    }
    return files;
}

// A pipe would keep the host waiting for a writer, and a folder holds no value: only a file counts.
bool IsFile(const std::string& inPath) {
    struct stat status {};
    return ::stat(inPath.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// The substitute for the registry key is a small text file, orvane/plexa/5.0 in a configuration directory;
// the first one that exists counts. Its line "OrvaneIPCBroker=PATH" is the stored value.
class PosixSearch final : public IBrokerSearchSystem {
  public:
    UTF16String FallbackBase() const override {
        return nuocore::string::UTF8to16(NUOPLEXA_BROKER_FALLBACK_BASE);
    }
    UTF16String BrokerSuffix() const override {
        return u"/Orvane/Orvane Desktop Common/IPCBox/OrvaneIPCBroker.exe";
    }

    std::optional<UTF16String> ReadEnvironment(const char* inName) const override {
        const char* value = std::getenv(inName);  // NOLINT(concurrency-mt-unsafe)
        if (value == nullptr) {
            return std::nullopt;
        }
        return nuocore::string::UTF8to16(value);
    }

    bool PathExists(const UTF16String& inPath) const override {
        struct stat status {};
        return ::stat(nuocore::string::UTF16to8(inPath).c_str(), &status) == 0;
    }

    bool OpenKey() override {
        for (const std::string& file : KeyFiles()) {
            if (IsFile(file)) {
                mKey.open(file);
                return mKey.is_open();
            }
        }
        return false;
    }

    bool QueryBrokerPath(char16_t* outBuffer, std::size_t inBufferBytes) override {
        constexpr std::string_view kName = "OrvaneIPCBroker=";
        constexpr std::size_t kMaxKeyFileBytes = std::size_t{64} * 1024;
        std::string text(kMaxKeyFileBytes, '\0');
        mKey.read(text.data(), static_cast<std::streamsize>(text.size()));
        std::string_view rest(text.data(), static_cast<std::size_t>(mKey.gcount()));
        while (!rest.empty()) {
            const std::string_view line = rest.substr(0, rest.find('\n'));
            rest.remove_prefix(std::min(rest.size(), line.size() + 1));
            if (line.starts_with(kName)) {
                const UTF16String path = nuocore::string::UTF8to16(line.substr(kName.size()));
                if ((path.size() + 1) * sizeof(char16_t) > inBufferBytes) {
                    return false;
                }
                std::copy(path.begin(), path.end(), outBuffer);
                return true;
            }
        }
        return false;
    }

    void CloseKey() override { mKey.close(); }

  private:
    std::ifstream mKey;
};

}  // namespace

PlexaMessageErrorCode LocateBroker() {
    PosixSearch system;
    return LocateBroker(system);
}

}  // namespace nuoplexasupport
