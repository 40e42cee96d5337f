#include "Daemon.h"

#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/stat.h>

namespace orvane::plexa::broker {

void Detach() {
    // Fails for the leader of a process group only, which then has a session or a job of its own already.
    ::setsid();
    const FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!null) return;
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) ::dup2(null.Get(), standard);
}

void SettleProcess() {
    if (::chdir("/") != 0) return;  // cannot happen: the root is always there
    ::umask(S_IRWXG | S_IRWXO);
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &files);
    }
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, nullptr);
    ::sigaction(SIGXFSZ, &ignore, nullptr);
}

FileDescriptor WatchTermination() {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGTERM);
    ::sigaddset(&signals, SIGINT);
    FileDescriptor watched(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!watched || ::pthread_sigmask(SIG_BLOCK, &signals, nullptr) != 0) {
        throw std::system_error(errno, std::system_category(), "cannot watch for signals");
    }
    return watched;
}

}  // namespace orvane::plexa::broker
