/// Where a user's broker and its clients meet: one directory of the user's own, with the broker's socket in
/// it. Any thread, except that the environment must not change meanwhile.
#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

namespace orvane::plexa::wire {

/// Names inside the runtime directory.
inline constexpr std::string_view kSocketName = "broker.sock";
inline constexpr std::string_view kMembersName = "members";
/// Whoever starts a broker holds an flock on this meanwhile, so that many starters start one.
inline constexpr std::string_view kStartLockName = "start.lock";

/// The directory's path: inPlexaRuntimeDir if it is an absolute path, else "plexa" below inXdgRuntimeDir if
/// that is one, else "/tmp/plexa-<user>". Both texts may be null. The result has no slash at its end.
std::string RuntimeDirectoryPath(const char* inPlexaRuntimeDir, const char* inXdgRuntimeDir, uid_t inUser);
/// The same from $PLEXA_RUNTIME_DIR, $XDG_RUNTIME_DIR and the effective user.
std::string RuntimeDirectoryPath();

/// A name of the runtime directory as a full path.
std::string RuntimePath(std::string_view inDirectory, std::string_view inName);

/// Makes the directory (0700) if it is missing, and checks that nobody else can have a hand in it: no
/// symbolic link, owned by inUser, not writable by group or others, and short enough for a socket's address.
/// Its parent must exist. Returns an empty text when it may be used, else what is wrong and what to do about
/// it.
std::string EnsureRuntimeDirectory(const std::string& inDirectory, uid_t inUser);

}  // namespace orvane::plexa::wire
