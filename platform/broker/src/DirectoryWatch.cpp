#include "DirectoryWatch.h"

#include <array>
#include <filesystem>

#include <sys/inotify.h>

namespace orvane::plexa::broker {

bool DirectoryWatch::Begin(const std::string& inPath) noexcept {
    if (!mNotices) mNotices = FileDescriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    // One name may take another's place in silence, so what comes counts as much as what goes.
    constexpr std::uint32_t kChanges =
        IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
    if (!mNotices) return false;
    // The path leads elsewhere, too, when a folder above is moved or removed, of which nothing is told below.
    const std::filesystem::path path(inPath);
    for (auto above = path.parent_path(); above.has_relative_path(); above = above.parent_path())
        ::inotify_add_watch(mNotices.Get(), above.c_str(), IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR);
    return ::inotify_add_watch(mNotices.Get(), inPath.c_str(), kChanges) >= 0;
}

void DirectoryWatch::Drain() noexcept {
    alignas(inotify_event) std::array<char, 4096> notices;
    while (::read(mNotices.Get(), notices.data(), notices.size()) > 0) {
    }
}

}  // namespace orvane::plexa::broker
