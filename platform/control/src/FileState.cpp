#include "FileState.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <system_error>

namespace orvane::plexa::control {

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
// Longer than a step of any file system's clock that is in use, but for those that count whole seconds.
constexpr std::int64_t kStep = kSecond / 20;

std::int64_t Nanoseconds(const timespec& inTime) noexcept { return inTime.tv_sec * kSecond + inTime.tv_nsec; }

}  // namespace

FileState StateOf(const std::string& inPath) noexcept {
    struct stat status {};
    if (::stat(inPath.c_str(), &status) != 0) return {};
    // Of its two times the one that nobody can set.
    return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
            Nanoseconds(status.st_ctim), status.st_mode};
}

bool IsSettled(const FileState& inState) noexcept {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t step = inState.mChanged % kSecond == 0 ? kSecond : kStep;
    // A clock that was set back makes a state of the future, which never settles.
    return inState.mChanged + step < Nanoseconds(now);
}

void ThrowUnlessLasting(int inError, const std::string& inPath) {
    constexpr std::array kLasting{0,     EACCES,       EPERM, ENOENT, ENOTDIR,
                                  ELOOP, ENAMETOOLONG, ENXIO, ENODEV, ESRCH};
    if (std::find(kLasting.begin(), kLasting.end(), inError) == kLasting.end())
        throw std::system_error(inError, std::generic_category(), "\"" + inPath + "\" can't be read now");
}

bool IsShortage(int inError) noexcept { return inError == EMFILE || inError == ENFILE || inError == ENOMEM; }

}  // namespace orvane::plexa::control
