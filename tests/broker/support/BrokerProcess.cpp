#include "BrokerProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Eventually.h"
#include "FileDescriptor.h"

using orvane::plexa::broker::FileDescriptor;

namespace {

[[noreturn]] void Execute(const std::vector<std::string>& inArguments) {
    std::vector<char*> arguments;
    std::string program = NUOPLEXA_BROKER_PROGRAM;
    arguments.push_back(program.data());
    for (const std::string& argument : inArguments) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    ::execv(program.c_str(), arguments.data());
    ::_exit(127);
}

int ExitCode(int inStatus) { return WIFEXITED(inStatus) ? WEXITSTATUS(inStatus) : 128 + WTERMSIG(inStatus); }

pid_t Fork() {
    const pid_t process = ::fork();
    if (process < 0) throw std::system_error(errno, std::system_category(), "fork");
    return process;
}

}  // namespace

std::string TextOf(const std::string& inPath) {
    std::ostringstream text;
    text << std::ifstream(inPath).rdbuf();
    return text.str();
}

BrokerProcess::BrokerProcess(const std::string& inDirectory) : BrokerProcess(inDirectory, Setup{}) {}

BrokerProcess::BrokerProcess(const std::string& inDirectory, Setup inSetup) : mDirectory(inDirectory) {
    std::vector<std::string> arguments = {"--runtime-dir", inDirectory,  "--log",
                                          "debug",         "--log-file", inDirectory + "/log"};
    if (inSetup.bare) arguments.clear();
    arguments.insert(arguments.end(), inSetup.arguments.begin(), inSetup.arguments.end());
    std::array<int, 2> ready{};
    if (::pipe2(ready.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::system_category(), "pipe");
    const FileDescriptor reading(ready[0]);
    FileDescriptor writing(ready[1]);
    mProcess = Fork();
    if (mProcess == 0) {
        if (inSetup.awaitReady) {
            ::fcntl(writing.Get(), F_SETFD, 0);
            arguments.insert(arguments.end(), {"--ready-fd", std::to_string(writing.Get())});
        }
        inSetup.prepare();
        Execute(arguments);
    }
    writing.Close();
    if (!inSetup.awaitReady) return;
    pollfd state{reading.Get(), POLLIN, 0};
    char byte = 0;
    if (::poll(&state, 1, 20000) != 1 || ::read(reading.Get(), &byte, 1) != 1) {
        throw std::runtime_error("the broker did not become ready: " + Log());
    }
}

BrokerProcess::~BrokerProcess() {
    if (!Running()) return;
    ::kill(mProcess, SIGKILL);
    ::waitpid(mProcess, nullptr, 0);
}

void BrokerProcess::Signal(int inSignal) const { ::kill(mProcess, inSignal); }

bool BrokerProcess::Running() {
    int status = 0;
    if (!mExit && ::waitpid(mProcess, &status, WNOHANG) == mProcess) mExit = ExitCode(status);
    return !mExit;
}

std::optional<int> BrokerProcess::Wait() {
    Eventually([this] { return !Running(); });
    return mExit;
}

std::string BrokerProcess::SocketPath() const { return mDirectory + "/broker.sock"; }

std::string BrokerProcess::Log() const { return TextOf(mDirectory + "/log"); }

bool BrokerProcess::Logs(const std::string& inText) const {
    return Eventually([&] { return Log().find(inText) != std::string::npos; });
}

RunResult RunBrokerProgram(const std::vector<std::string>& inArguments) {
    const TemporaryDirectory directory;
    const pid_t process = Fork();
    if (process == 0) {
        ::alarm(20);
        ::dup2(::open((directory / "output").c_str(), O_CREAT | O_WRONLY, 0600), STDOUT_FILENO);
        ::dup2(::open((directory / "errors").c_str(), O_CREAT | O_WRONLY, 0600), STDERR_FILENO);
        Execute(inArguments);
    }
    int status = 0;
    ::waitpid(process, &status, 0);
    return {TextOf(directory / "output"), TextOf(directory / "errors"), ExitCode(status)};
}
