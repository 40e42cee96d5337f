#include "program/Process.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "common/Failure.h"
#include "install/Disk.h"

namespace orvane::plexa::zarnd {

using wire::FileDescriptor;

namespace {

constexpr mode_t kFileMode = 0600;
constexpr off_t kMaxLogBytes = off_t{1} << 20U;

sigset_t EndSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGUSR1}) ::sigaddset(&signals, signal);
    return signals;
}

}  // namespace

void SettleSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const sigset_t signals = EndSignals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void AwaitEndSignal() {
    const sigset_t signals = EndSignals();
    int signal = 0;
    ::sigwait(&signals, &signal);
}

void Detach(const std::filesystem::path& inLog) {
    MakeFolders(inLog.parent_path());
    // Fails for the leader of a process group only, which has a session or a job of its own already.
    ::setsid();
    const FileDescriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
    const FileDescriptor log(
        ::open(inLog.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    if (!nothing || !log) throw SystemFailure("cannot open " + inLog.string(), errno);
    // The records of earlier runs stay, but not for ever.
    if (::lseek(log.Get(), 0, SEEK_END) > kMaxLogBytes && ::ftruncate(log.Get(), 0) != 0) {
        throw SystemFailure("cannot empty " + inLog.string(), errno);
    }
    ::dup2(nothing.Get(), STDIN_FILENO);
    ::dup2(nothing.Get(), STDOUT_FILENO);
    ::dup2(log.Get(), STDERR_FILENO);
}

std::optional<FileDescriptor> LockFolder(const std::filesystem::path& inFolder) {
    MakeFolders(inFolder);
    const std::filesystem::path path = inFolder / "lock";
    FileDescriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    if (!lock) throw SystemFailure("cannot open " + path.string(), errno);
    if (::flock(lock.Get(), LOCK_EX | LOCK_NB) == 0) return lock;
    if (errno == EWOULDBLOCK) return std::nullopt;
    throw SystemFailure("cannot lock " + path.string(), errno);
}

}  // namespace orvane::plexa::zarnd
