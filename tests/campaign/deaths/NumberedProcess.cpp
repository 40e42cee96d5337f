#include "NumberedProcess.h"

#include <linux/sched.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>

namespace campaign::deaths {

namespace wire = orvane::plexa::wire;

namespace {

constexpr int kPatienceMilliseconds = 60'000;

/// Like fork, and the new process has the number inId.
long ForkAs(pid_t inId) {
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&inId);
    arguments.set_tid_size = 1;
    return ::syscall(SYS_clone3, &arguments, sizeof arguments);
}

}  // namespace

NumberedProcess::NumberedProcess(pid_t inId, std::vector<std::string> inWords) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    mOutput = wire::FileDescriptor(ends[0]);
    const wire::FileDescriptor writing(ends[1]);
    std::vector<char*> words;
    for (std::string& word : inWords) words.push_back(word.data());
    words.push_back(nullptr);
    const long made = ForkAs(inId);
    if (made < 0) throw std::system_error(errno, std::generic_category(), "clone3");
    if (made == 0) {
        // Nothing but system calls: this is the copy of a process of several threads.
        ::syscall(SYS_dup3, ends[1], STDOUT_FILENO, 0);
        ::syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, 0U);
        ::syscall(SYS_execve, words[0], words.data(), environ);
        ::syscall(SYS_exit_group, 127);
    }
    mId = inId;
}

NumberedProcess::~NumberedProcess() { End(); }

void NumberedProcess::End() {
    if (mId == 0) return;
    ::kill(mId, SIGKILL);
    ::waitpid(mId, nullptr, 0);
    mId = 0;
}

std::string NumberedProcess::NextLine() {
    for (;;) {
        if (const std::size_t end = mRead.find('\n'); end != std::string::npos) {
            std::string line = mRead.substr(0, end);
            mRead.erase(0, end + 1);
            return line;
        }
        pollfd readable{mOutput.Get(), POLLIN, 0};
        std::array<char, 256> text{};
        if (::poll(&readable, 1, kPatienceMilliseconds) != 1) return {};
        const ssize_t count = ::read(mOutput.Get(), text.data(), text.size());
        if (count <= 0) return {};
        mRead.append(text.data(), static_cast<std::size_t>(count));
    }
}

bool CanChooseProcessIds() {
    const pid_t child = ::_Fork();
    if (child == 0) ::syscall(SYS_exit_group, 0);
    if (child < 0) return false;
    ::waitpid(child, nullptr, 0);
    const long again = ForkAs(child);
    if (again == 0) ::syscall(SYS_exit_group, 0);
    if (again < 0) return errno != EPERM && errno != ENOSYS && errno != EINVAL;
    ::waitpid(child, nullptr, 0);
    return true;
}

}  // namespace campaign::deaths
