#include "FolderNames.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

#include "FileState.h"

namespace orvane::plexa::control {

namespace {

struct CloseFolder {
    void operator()(DIR* inFolder) const noexcept { ::closedir(inFolder); }
};

}  // namespace

// The standard library's iterator ends the process when there is no memory for it.
std::vector<std::string> NamesIn(const std::string& inFolder) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, CloseFolder> folder(::opendir(inFolder.c_str()));
    while (folder != nullptr) {
        errno = 0;
        const dirent* const entry =
            ::readdir(folder.get());  // NOLINT(concurrency-mt-unsafe): nobody else has this one
        if (entry == nullptr) break;
        const std::string_view name(&entry->d_name[0]);
        if (name != "." && name != "..") names.emplace_back(name);
    }
    ThrowUnlessLasting(errno, inFolder);
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace orvane::plexa::control
