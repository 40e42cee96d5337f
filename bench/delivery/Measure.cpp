#include "Measure.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Roles.h"
#include "wire/Rules.h"

namespace bench {

namespace wire = orvane::plexa::wire;

namespace {

constexpr int kLongestSeconds = 60;

[[noreturn]] void Fail(const char* inWhat) { throw std::system_error(errno, std::system_category(), inWhat); }

pid_t Fork(const std::function<void()>& inBody) {
    const pid_t process = ::fork();
    if (process < 0) Fail("fork");
    if (process != 0) return process;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::prctl(PR_SET_TIMERSLACK, 1);
    try {
        inBody();
        ::_exit(0);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_delivery: %s\n", error.what());
        ::_exit(1);
    }
}

double Seconds(const timeval& inTime) { return double(inTime.tv_sec) + double(inTime.tv_usec) * 1e-6; }

/// Ends a process; gives the processor time that it has used.
double End(pid_t inProcess) {
    ::kill(inProcess, SIGKILL);
    rusage usage{};
    ::wait4(inProcess, nullptr, 0, &usage);
    return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
}

pid_t StartBroker(const Task& inTask) {
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) Fail("pipe");
    const pid_t broker = Fork([&] { RunBrokerRole(inTask, ready[1]); });
    ::close(ready[1]);
    char byte = 0;
    const bool started = ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
    if (!started) throw std::runtime_error("the broker doesn't start");
    return broker;
}

}  // namespace

Result Measure(Task inTask, bool inAcknowledged) {
    wire::sBrokenRule = inAcknowledged ? wire::Rule::kNone : wire::Rule::kMessagesAreAcknowledged;
    std::string directory = "/tmp/plexa-bench-XXXXXX";
    if (::mkdtemp(directory.data()) == nullptr) Fail("mkdtemp");
    inTask.mDirectory = directory;
    void* const memory =
        ::mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) Fail("mmap");
    Board& board = *static_cast<Board*>(memory);

    std::vector<pid_t> processes = {StartBroker(inTask)};
    for (std::size_t i = 0; i != inTask.mReceivers; ++i)
        processes.push_back(Fork([&, i] { RunReceiver(inTask, board, i); }));
    processes.push_back(Fork([&] { RunSender(inTask, board); }));
    for (int patience = kLongestSeconds * 1000; board.mNanoseconds == 0 && patience != 0; --patience)
        ::usleep(1000);

    const std::uint64_t nanoseconds = board.mNanoseconds;
    const std::uint64_t errors = board.mErrors;
    double processorTime = 0;
    // The broker last, so that nobody sees it go.
    for (auto process = processes.rbegin(); process != processes.rend(); ++process)
        processorTime += End(*process);
    ::munmap(memory, sizeof(Board));
    std::filesystem::remove_all(directory);
    if (nanoseconds == 0) throw std::runtime_error("not everything arrives");
    if (errors != 0) throw std::runtime_error("messages failed");
    const auto messages = double(inTask.mMessages);
    return {messages * 1e9 / double(nanoseconds), processorTime * 1e6 / messages};
}

}  // namespace bench
