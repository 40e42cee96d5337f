#include "BrokerBeside.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace orvane::plexa::tool {

namespace {

constexpr std::array<const char*, 2> kBaseVariables = {"CommonProgramFiles(x86)", "CommonProgramFiles"};
constexpr const char* kBrokerBelowBase = "Orvane/Orvane Desktop Common/IPCBox/OrvaneIPCBroker.exe";

}  // namespace

void UseBrokerBeside() {
    for (const char* const variable : kBaseVariables) {
        if (std::getenv(variable) != nullptr) return;  // NOLINT(concurrency-mt-unsafe): no other thread yet
    }
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return;
    const std::filesystem::path prefix = program.parent_path().parent_path();
    for (const char* const folder : {PLEXA_TOOL_LIBRARY_FOLDER, "lib"}) {
        const std::filesystem::path base = prefix / folder;
        if (std::filesystem::exists(base / kBrokerBelowBase, error)) {
            ::setenv(kBaseVariables[1], base.c_str(), 1);  // NOLINT(concurrency-mt-unsafe): as above
            return;
        }
    }
}

}  // namespace orvane::plexa::tool
