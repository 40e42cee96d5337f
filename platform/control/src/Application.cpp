#include "Application.h"

#include <glib.h>

#include <filesystem>
#include <memory>
#include <system_error>

namespace orvane::plexa::control {

namespace {

// Empty when there is none.
std::string FindProgram(const std::string& inName) {
    const std::unique_ptr<char, decltype(&g_free)> path(g_find_program_in_path(inName.c_str()), &g_free);
    return path != nullptr ? path.get() : "";
}

bool IsUTF8(const std::string& inText) {
    return g_utf8_validate(inText.data(), static_cast<gssize>(inText.size()), nullptr) != FALSE;
}

}  // namespace

std::optional<Application> FindApplication(const DesktopEntry& inEntry, const std::string& inEntryFile) {
    if (!inEntry.mTry.empty() && FindProgram(inEntry.mTry).empty()) return std::nullopt;
    std::string program = FindProgram(inEntry.mCommand[ProgramWord(inEntry.mCommand)]);
    if (!program.starts_with('/')) return std::nullopt;
    std::error_code error;
    std::string path = std::filesystem::canonical(program, error).string();
    if (error) return std::nullopt;
    // The entry is UTF-8, what its links lead to needn't be.
    if (!IsUTF8(path)) path = program;
    if (!IsUTF8(path)) return std::nullopt;
    return Application{inEntry, inEntryFile, std::move(program), std::move(path)};
}

}  // namespace orvane::plexa::control
