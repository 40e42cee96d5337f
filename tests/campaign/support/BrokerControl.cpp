#include "BrokerControl.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace campaign {

namespace {

constexpr std::chrono::seconds kLimit{20};
/// The name of a process, of which the system keeps 15 bytes.
constexpr std::string_view kName = "OrvaneIPCBroker";

[[noreturn]] void Fail(const std::string& inWhat) { throw std::runtime_error(inWhat); }

std::string Text(const std::string& inPath) {
    std::ostringstream text;
    text << std::ifstream(inPath).rdbuf();
    return text.str();
}

/// Children of this process that are brokers, also dead ones that nobody has asked for yet.
std::vector<pid_t> Brokers() {
    std::vector<pid_t> brokers;
    const std::string self = std::to_string(::getpid());
    std::istringstream children(Text("/proc/self/task/" + self + "/children"));
    for (pid_t child = 0; children >> child;)
        if (Text("/proc/" + std::to_string(child) + "/comm") == std::string(kName) + '\n')
            brokers.push_back(child);
    return brokers;
}

/// What waitpid tells of it, if it tells anything yet. Just started it is still another process's child.
std::optional<int> Status(pid_t inBroker, int inOptions) {
    int status = 0;
    return ::waitpid(inBroker, &status, inOptions | WNOHANG) == inBroker ? std::optional(status)
                                                                         : std::nullopt;
}

int AwaitStatus(pid_t inBroker, int inOptions) {
    const auto limit = std::chrono::steady_clock::now() + kLimit;
    for (;;) {
        if (const auto status = Status(inBroker, inOptions)) return *status;
        if (std::chrono::steady_clock::now() > limit)
            Fail("broker " + std::to_string(inBroker) + " does nothing upon a signal");
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
}

std::string Told(pid_t inBroker, int inStatus) {
    return "broker " + std::to_string(inBroker) +
           (WIFSIGNALED(inStatus) ? " was ended by signal " + std::to_string(WTERMSIG(inStatus))
                                  : " ended with code " + std::to_string(WEXITSTATUS(inStatus)));
}

bool EndedWell(int inStatus) { return WIFEXITED(inStatus) && WEXITSTATUS(inStatus) == 0; }

}  // namespace

BrokerControl::BrokerControl(const support::PrivateBus& inBus) : mBus(inBus) {
    if (::prctl(PR_SET_CHILD_SUBREAPER, 1) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot become the brokers' parent");
}

BrokerControl::~BrokerControl() {
    for (const pid_t broker : Brokers()) {
        ::kill(broker, SIGKILL);
        ::waitpid(broker, nullptr, 0);
    }
}

pid_t BrokerControl::Current() const { return mBus.BrokerId().value_or(0); }

void BrokerControl::End(pid_t inBroker, int inSignal) {
    ::kill(inBroker, inSignal);
    const int status = AwaitStatus(inBroker, 0);
    const bool isKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL && inSignal == SIGKILL;
    if (!isKilled && !EndedWell(status)) Fail(Told(inBroker, status));
}

void BrokerControl::Stop(pid_t inBroker) {
    ::kill(inBroker, SIGSTOP);
    const int status = AwaitStatus(inBroker, WUNTRACED);
    if (!WIFSTOPPED(status)) Fail(Told(inBroker, status));
}

void BrokerControl::Continue(pid_t inBroker) { ::kill(inBroker, SIGCONT); }

std::filesystem::path BrokerControl::Program(pid_t inBroker) {
    return std::filesystem::read_symlink("/proc/" + std::to_string(inBroker) + "/exe");
}

void BrokerControl::CheckOthers() {
    for (const pid_t broker : Brokers()) {
        const auto status = Status(broker, 0);
        if (!status) continue;
        if (!EndedWell(*status)) Fail(Told(broker, *status));
        ++mOthers;
    }
}

bool BrokerControl::AllEnded() {
    CheckOthers();
    return Brokers().empty();
}

}  // namespace campaign
