#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>

#include "BrokerSearch.h"

namespace orvane::plexa::message5 {

namespace {

class ThisMachine final : public IBrokerSearchSystem {
  public:
    std::optional<std::string> Environment(const char* inName) const override {
        const char* value = std::getenv(inName);  // NOLINT(concurrency-mt-unsafe): nothing here changes it
        return value == nullptr ? std::nullopt : std::optional<std::string>(value);
    }

    std::string FallbackBase() const override { return NUOPLEXA_BROKER_FALLBACK_BASE; }

    bool Exists(const std::string& inPath) const override {
        struct stat status {};
        return ::stat(inPath.c_str(), &status) == 0;
    }

    std::optional<std::string> ReadFile(const std::string& inPath) const override {
        constexpr std::size_t kMostBytes = std::size_t{64} << 10U;
        // A pipe would keep the host waiting for a writer.
        std::error_code error;
        if (!std::filesystem::is_regular_file(inPath, error)) {
            return std::nullopt;
        }
        std::ifstream file(inPath);
        if (!file) {
            return std::nullopt;
        }
        std::string text(kMostBytes, '\0');
        file.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(file.gcount()));
        return text;
    }
};

}  // namespace

std::optional<std::string> FindBroker() { return FindBroker(ThisMachine()); }

}  // namespace orvane::plexa::message5
