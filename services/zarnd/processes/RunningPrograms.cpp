#include "processes/RunningPrograms.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

namespace orvane::plexa::zarnd {

namespace fs = std::filesystem;

namespace {

// What the system appends to an executable that has been replaced, or removed.
constexpr std::string_view kDeleted = " (deleted)";

bool IsProcessOf(const fs::path& inFolder, uid_t inUser) {
    const std::string name = inFolder.filename().string();
    struct stat status {};
    return name.find_first_not_of("0123456789") == std::string::npos &&
           ::stat(inFolder.c_str(), &status) == 0 && status.st_uid == inUser;
}

std::string ExecutableOf(const fs::path& inProcess) {
    std::error_code error;
    std::string path = fs::read_symlink(inProcess / "exe", error).string();
    if (path.ends_with(kDeleted)) path.resize(path.size() - kDeleted.size());
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

std::vector<std::string> RunningPrograms(const std::vector<std::string>& inNames) {
    std::set<std::string> running;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        if (IsProcessOf(entry->path(), ::geteuid())) running.insert(ExecutableOf(entry->path()));
    }
    std::vector<std::string> found = inNames;
    std::erase_if(found, [&](const std::string& inName) { return !running.contains(inName); });
    return found;
}

}  // namespace orvane::plexa::zarnd
