#include "wire/RuntimeDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace orvane::plexa::wire {

namespace {

bool IsAbsolute(const char* inPath) { return inPath != nullptr && inPath[0] == '/'; }

std::string Quoted(const std::string& inDirectory) { return "runtime directory \"" + inDirectory + "\""; }

std::string SystemText(int inError) { return std::system_category().message(inError); }

}  // namespace

std::string RuntimeDirectoryPath(const char* inPlexaRuntimeDir, const char* inXdgRuntimeDir, uid_t inUser) {
    std::string path;
    if (IsAbsolute(inPlexaRuntimeDir)) {
        path = inPlexaRuntimeDir;
    } else if (IsAbsolute(inXdgRuntimeDir)) {
        path = std::string(inXdgRuntimeDir) + "/plexa";
    } else {
        path = "/tmp/plexa-" + std::to_string(inUser);
    }
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

std::string RuntimeDirectoryPath() {
    // NOLINTBEGIN(concurrency-mt-unsafe): reading the environment is safe as long as nobody changes it.
    return RuntimeDirectoryPath(std::getenv("PLEXA_RUNTIME_DIR"), std::getenv("XDG_RUNTIME_DIR"),
                                ::geteuid());
    // NOLINTEND(concurrency-mt-unsafe)
}

std::string RuntimePath(std::string_view inDirectory, std::string_view inName) {
    std::string path(inDirectory);
    path += '/';
    path += inName;
    return path;
}

std::string EnsureRuntimeDirectory(const std::string& inDirectory, uid_t inUser) {
    // The slash, and a character more while the socket is made under a provisional name.
    if (inDirectory.size() + 2 + kSocketName.size() >= sizeof(sockaddr_un::sun_path)) {
        return Quoted(inDirectory) +
               " is too long for a socket's address; set PLEXA_RUNTIME_DIR to a shorter path";
    }
    if (::mkdir(inDirectory.c_str(), 0700) != 0 && errno != EEXIST) {
        return "cannot make " + Quoted(inDirectory) + ": " + SystemText(errno) +
               "; set PLEXA_RUNTIME_DIR to a directory of yours";
    }
    const int descriptor = ::open(inDirectory.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) {
        return "cannot use " + Quoted(inDirectory) + ": " + SystemText(errno) +
               "; it has to be a directory, not a link";
    }
    struct stat status {};
    const int result = ::fstat(descriptor, &status);
    const int error = errno;
    ::close(descriptor);
    if (result != 0) return "cannot examine " + Quoted(inDirectory) + ": " + SystemText(error);
    if (status.st_uid != inUser) {
        return Quoted(inDirectory) + " belongs to user " + std::to_string(status.st_uid) + ", not to " +
               std::to_string(inUser) + "; remove it or set PLEXA_RUNTIME_DIR";
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return Quoted(inDirectory) + " can be written by others; run chmod 700 on it";
    }
    return {};
}

}  // namespace orvane::plexa::wire
