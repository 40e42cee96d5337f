// Where the settings come from: the environment and a file.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "Settings.h"
#include "xdg/ConfigurationFolders.h"

namespace orvane::plexa::broker {

namespace {

constexpr const char* kConfigurationName = "/orvane/plexa/broker.conf";

ConfigurationFile Read(const std::string& inPath) {
    constexpr std::size_t kMostBytes = std::size_t{64} << 10U;
    // A pipe would keep the broker waiting for a writer.
    std::error_code error;
    std::ifstream file;
    if (std::filesystem::is_regular_file(inPath, error)) file.open(inPath);
    std::string text(kMostBytes + 1, '\0');
    if (!file.is_open() || (file.read(text.data(), static_cast<std::streamsize>(text.size())), file.bad())) {
        throw std::runtime_error("cannot read the configuration file " + inPath);
    }
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (text.size() > kMostBytes) {
        throw std::runtime_error("the configuration file " + inPath + " is longer than 64 KiB");
    }
    return {inPath, std::move(text)};
}

}  // namespace

std::optional<ConfigurationFile> ReadConfigurationFile(const std::string& inPath,
                                                       const EnvironmentLookup& inLookup) {
    if (!inPath.empty()) return Read(inPath);
    for (const std::string& folder :
         xdg::ConfigurationFolders(inLookup("XDG_CONFIG_HOME").value_or(""), inLookup("HOME").value_or(""),
                                   inLookup("XDG_CONFIG_DIRS").value_or(""))) {
        const std::string path = folder + kConfigurationName;
        std::error_code error;
        if (std::filesystem::exists(path, error)) return Read(path);
    }
    return std::nullopt;
}

std::optional<std::string> ProcessEnvironment(const std::string& inName) {
    const char* const value = std::getenv(inName.c_str());  // NOLINT(concurrency-mt-unsafe): one thread
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

}  // namespace orvane::plexa::broker
