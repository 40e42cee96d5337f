#include "Application.h"

#include <glib.h>

#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

namespace orvane::plexa::control {

namespace {

bool IsUTF8(const std::string& inText) {
    return g_utf8_validate(inText.data(), static_cast<gssize>(inText.size()), nullptr) != FALSE;
}

}  // namespace

Program FindProgram(const std::string& inName) {
    if (IsRelativePath(inName)) return {};
    const std::unique_ptr<char, decltype(&g_free)> found(g_find_program_in_path(inName.c_str()), &g_free);
    if (found == nullptr || *found != '/') return {};
    std::error_code error;
    std::string path = std::filesystem::canonical(found.get(), error).string();
    return error ? Program() : Program{found.get(), std::move(path)};
}

std::optional<Application> FindApplication(const DesktopEntry& inEntry, const std::string& inEntryFile) {
    if (!inEntry.mTry.empty() && FindProgram(inEntry.mTry).mName.empty()) return std::nullopt;
    const auto [name, resolved] = FindProgram(inEntry.mCommand[ProgramWord(inEntry.mCommand)]);
    // The entry is UTF-8, what its links lead to needn't be.
    const std::string& path = IsUTF8(resolved) ? resolved : name;
    if (path.empty() || !IsUTF8(path)) return std::nullopt;
    return Application{inEntry, inEntryFile, name, path, resolved};
}

}  // namespace orvane::plexa::control
