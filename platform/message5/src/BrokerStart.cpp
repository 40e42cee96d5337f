#include "BrokerStart.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::message5 {

namespace {

[[noreturn]] void Fail(const char* inWhat) { throw std::system_error(errno, std::system_category(), inWhat); }

/// Ends a forked process without anything that was prepared for the host's end.
[[noreturn]] void EndProcess(int inCode) {
    for (;;) {
        ::syscall(SYS_exit_group, inCode);
    }
}

/// In the new process: what the host has set for itself must not reach the program. Calls nothing that a
/// forked process of many threads may not call.
[[noreturn]] void Execute(char* const* inArguments, int inReady) {
    struct sigaction usual {};
    usual.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal) {
        ::sigaction(signal, &usual, nullptr);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
    ::fcntl(inReady, F_SETFD, 0);
    ::execv(inArguments[0], inArguments);
    EndProcess(127);
}

/// Runs a program as a grandchild, whose parent ends at once. The host's fork handlers are not run: nothing
/// of the host goes on in the new processes.
bool RunDetached(char* const* inArguments, int inReady) {
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    // No handler of the host may run in the new processes.
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = ::_Fork();
    if (child == 0) {
        ::setsid();
        const pid_t program = ::_Fork();
        if (program == 0) {
            Execute(inArguments, inReady);
        }
        EndProcess(program < 0 ? 1 : 0);
    }
    const int error = errno;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (child < 0) {
        errno = error;
        return false;
    }
    // A host that reaps all its children may have been faster.
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return true;
}

}  // namespace

std::optional<StartLock> StartLock::TryTake(const std::string& inRuntimeDirectory) {
    const std::string path = wire::RuntimePath(inRuntimeDirectory, wire::kStartLockName);
    wire::FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file) {
        Fail("cannot open the start lock");
    }
    if (::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK || errno == EINTR) {
            return std::nullopt;
        }
        Fail("cannot lock the start lock");
    }
    return StartLock(std::move(file));
}

StartLock::~StartLock() {
    // Said aloud, because a process that the host has forked meanwhile shares the open file.
    if (mFile) {
        ::flock(mFile.Get(), LOCK_UN);
    }
}

BrokerStart::BrokerStart(const std::string& inProgram) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        Fail("cannot make a pipe");
    }
    mReady = wire::FileDescriptor(ends[0]);
    const wire::FileDescriptor writing(ends[1]);
    std::string program = inProgram;
    std::string onDemand = "--on-demand";
    std::string readyOption = "--ready-fd";
    std::string readyNumber = std::to_string(writing.Get());
    const std::array<char*, 5> arguments = {program.data(), onDemand.data(), readyOption.data(),
                                            readyNumber.data(), nullptr};
    if (!RunDetached(arguments.data(), writing.Get())) {
        Fail("cannot make a process");
    }
}

BrokerStart::State BrokerStart::Poll() {
    char byte = 0;
    const ssize_t count = ::read(mReady.Get(), &byte, 1);
    if (count < 0) {
        return errno == EAGAIN || errno == EINTR ? State::kStarting : State::kEnded;
    }
    return count == 0 ? State::kEnded : State::kReady;
}

}  // namespace orvane::plexa::message5
