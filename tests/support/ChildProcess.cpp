#include "support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace support {

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void Fail(const std::string& inWhat, int inError) {
    throw std::runtime_error(inWhat + ": " + std::strerror(inError));  // NOLINT(concurrency-mt-unsafe)
}

void Close(int& ioDescriptor) {
    if (ioDescriptor >= 0) ::close(std::exchange(ioDescriptor, -1));
}

struct Pipe {
    int mRead = -1;
    int mWrite = -1;

    Pipe() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) Fail("pipe", errno);
        mRead = ends[0];
        mWrite = ends[1];
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        Close(mRead);
        Close(mWrite);
    }
};

/// A terminal that is nobody's, in place of the pipe of the output.
void MakeTerminal(Pipe& outPipe) {
    Close(outPipe.mRead);
    Close(outPipe.mWrite);
    if (::openpty(&outPipe.mRead, &outPipe.mWrite, nullptr, nullptr, nullptr) != 0) Fail("openpty", errno);
    ::fcntl(outPipe.mRead, F_SETFD, FD_CLOEXEC);
    ::fcntl(outPipe.mWrite, F_SETFD, FD_CLOEXEC);
}

std::vector<std::string> EnvironmentOf(const Command& inCommand) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text(*entry);
        if (!inCommand.mEnvironment.contains(text.substr(0, text.find('=')))) environment.push_back(text);
    }
    for (const auto& [name, value] : inCommand.mEnvironment) {
        if (value) environment.push_back(name + "=" + *value);
    }
    return environment;
}

std::vector<char*> Pointers(std::vector<std::string>& ioTexts) {
    std::vector<char*> pointers;
    pointers.reserve(ioTexts.size() + 1);
    for (std::string& text : ioTexts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

pid_t Spawn(Command& ioCommand, int inInput, int inOutput, int inErrors) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, inInput, STDIN_FILENO);
    if (ioCommand.mOutput == Command::Output::kFile) {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, ioCommand.mFile.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
    } else {
        posix_spawn_file_actions_adddup2(&actions, inOutput, STDOUT_FILENO);
    }
    posix_spawn_file_actions_adddup2(&actions, inErrors, STDERR_FILENO);

    // The program starts with the signals as a shell would give them, whatever this test has done to its own.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    // It leads a group, so that what it starts can be ended with it.
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);

    std::vector<std::string> environment = EnvironmentOf(ioCommand);
    pid_t id = -1;
    const int error = ::posix_spawn(&id, ioCommand.mArguments.front().c_str(), &actions, &attributes,
                                    Pointers(ioCommand.mArguments).data(), Pointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) Fail("cannot start " + ioCommand.mArguments.front(), error);
    return id;
}

}  // namespace

ChildProcess::ChildProcess(Command inCommand) : mInputText(std::move(inCommand.mInput)) {
    std::signal(SIGPIPE, SIG_IGN);
    Pipe input;
    Pipe output;
    Pipe errors;
    if (inCommand.mOutput == Command::Output::kReaderGone) Close(output.mRead);
    if (inCommand.mOutput == Command::Output::kTerminal) MakeTerminal(output);
    mId = Spawn(inCommand, input.mRead, output.mWrite, errors.mWrite);
    // The C library of Debian 12 declares its wrapper without C linkage.
    mEnded = static_cast<int>(::syscall(SYS_pidfd_open, mId, 0));
    mInput = std::exchange(input.mWrite, -1);
    mErrors.mDescriptor = std::exchange(errors.mRead, -1);
    switch (inCommand.mOutput) {
        case Command::Output::kCollected:
        case Command::Output::kTerminal:
            mOutput.mDescriptor = std::exchange(output.mRead, -1);
            break;
        case Command::Output::kUnread:
            mUnread = std::exchange(output.mRead, -1);
            break;
        case Command::Output::kReaderGone:
        case Command::Output::kFile:
            break;
    }
    ::fcntl(mInput, F_SETFL, O_NONBLOCK);
}

ChildProcess::~ChildProcess() {
    if (!mExitCode) {
        ::kill(-mId, SIGKILL);
        ::waitpid(mId, nullptr, 0);
    }
    for (int* const descriptor : {&mEnded, &mInput, &mOutput.mDescriptor, &mErrors.mDescriptor, &mUnread}) {
        Close(*descriptor);
    }
}

void ChildProcess::Signal(int inSignal) const {
    if (!mExitCode) ::kill(mId, inSignal);
}

void ChildProcess::PassInput() {
    const ssize_t written =
        ::write(mInput, mInputText.data() + mInputPassed, mInputText.size() - mInputPassed);
    if (written > 0) mInputPassed += static_cast<std::size_t>(written);
    const bool isRefused = written < 0 && errno != EAGAIN && errno != EINTR;
    if (mInputPassed == mInputText.size() || isRefused) Close(mInput);
}

void ChildProcess::Collect(Stream& ioStream) {
    std::array<char, std::size_t{64} * 1024> buffer{};
    const ssize_t count = ::read(ioStream.mDescriptor, buffer.data(), buffer.size());
    if (count > 0) {
        ioStream.mText.append(buffer.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
        Close(ioStream.mDescriptor);
    }
}

// Passes on what can be passed on, after a wait for it. Streams that have been closed are skipped by poll.
void ChildProcess::Pass(std::chrono::milliseconds inLimit, bool inWithEnd) {
    std::array<pollfd, 4> wanted{{{mInput, POLLOUT, 0},
                                  {mOutput.mDescriptor, POLLIN, 0},
                                  {mErrors.mDescriptor, POLLIN, 0},
                                  {inWithEnd ? mEnded : -1, POLLIN, 0}}};
    if (::poll(wanted.data(), wanted.size(), static_cast<int>(std::max(inLimit.count(), std::int64_t{0}))) <=
        0) {
        return;
    }
    if (wanted[0].revents != 0) PassInput();
    if (wanted[1].revents != 0) Collect(mOutput);
    if (wanted[2].revents != 0) Collect(mErrors);
}

std::optional<int> ChildProcess::Wait(std::chrono::milliseconds inLimit) {
    const auto deadline = Clock::now() + inLimit;
    while (!mExitCode) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return std::nullopt;
        Pass(left, true);
        int status = 0;
        if (::waitpid(mId, &status, WNOHANG) == mId) {
            mExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
    }
    // What it left in the pipes. A program that it started may hold them open: what is there now counts.
    for (Stream* const stream : {&mOutput, &mErrors}) {
        pollfd readable{stream->mDescriptor, POLLIN, 0};
        while (stream->mDescriptor >= 0 && ::poll(&readable, 1, 0) == 1) Collect(*stream);
    }
    return mExitCode;
}

bool ChildProcess::Await(const Stream& inStream, const std::string& inText) {
    const auto deadline = Clock::now() + kPatience;
    while (inStream.mText.find(inText) == std::string::npos) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0 || inStream.mDescriptor < 0) return false;
        Pass(left, false);
    }
    return true;
}

bool ChildProcess::AwaitOutput(const std::string& inText) { return Await(mOutput, inText); }
bool ChildProcess::AwaitErrors(const std::string& inText) { return Await(mErrors, inText); }

Finished Run(Command inCommand) {
    const std::string program = inCommand.mArguments.front();
    ChildProcess process(std::move(inCommand));
    const std::optional<int> code = process.Wait();
    if (!code) throw std::runtime_error(program + " does not end");
    return {*code, process.Output(), process.Errors()};
}

}  // namespace support
