#include "Measure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Client.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration inDuration) { return std::chrono::duration<double>(inDuration).count(); }

/// A measurement that is broken off leaves no processes behind.
void EndWithParent() { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }

/// Another process that takes part in a measurement.
class Partner {
  public:
    explicit Partner(const std::function<void()>& inBody) : mProcess(::fork()) {
        if (mProcess < 0) throw std::system_error(errno, std::system_category(), "fork");
        if (mProcess != 0) return;
        EndWithParent();
        try {
            inBody();
            ::_exit(0);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "partner: %s\n", error.what());
            ::_exit(1);
        }
    }
    ~Partner() {
        ::kill(mProcess, SIGKILL);
        ::waitpid(mProcess, nullptr, 0);
    }
    Partner(const Partner&) = delete;
    Partner& operator=(const Partner&) = delete;

  private:
    pid_t mProcess;
};

}  // namespace

PrivateBroker::PrivateBroker(const std::string& inProgram) {
    std::string path = "/tmp/plexa-bench-XXXXXX";
    if (::mkdtemp(path.data()) == nullptr) throw std::system_error(errno, std::system_category(), "mkdtemp");
    mDirectory = path;
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) throw std::system_error(errno, std::system_category(), "pipe");
    const std::string number = std::to_string(ready[1]);
    mProcess = ::fork();
    if (mProcess == 0) {
        EndWithParent();
        ::execl(inProgram.c_str(), inProgram.c_str(), "--runtime-dir", mDirectory.c_str(), "--log", "warn",
                "--ready-fd", number.c_str(), nullptr);
        ::_exit(127);
    }
    ::close(ready[1]);
    char byte = 0;
    const bool started = ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
    if (!started) throw std::runtime_error("cannot start " + inProgram);
}

PrivateBroker::~PrivateBroker() {
    ::kill(mProcess, SIGTERM);
    ::waitpid(mProcess, nullptr, 0);
    std::error_code ignored;
    std::filesystem::remove_all(mDirectory, ignored);
}

double PrivateBroker::ProcessorTime() const {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(mProcess, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("cannot read the broker's processor time");
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

Throughput MeasureThroughput(const std::string& inProgram, std::uint64_t inCount, std::size_t inPayload) {
    const PrivateBroker broker(inProgram);
    const std::uint64_t warmUp = inCount / 10;
    const Partner receiver([&] {
        Client client(broker.SocketPath(), "receiver-1");
        client.AwaitPeer();
        client.ReceiveMany(warmUp);
        client.ReceiveMany(inCount);
        ::pause();
    });
    Client sender(broker.SocketPath(), "sender-1");
    sender.AwaitPeer();
    sender.SendMany(warmUp, inPayload);
    const double usedBefore = broker.ProcessorTime();
    const auto begin = Clock::now();
    sender.SendMany(inCount, inPayload);
    const double elapsed = Seconds(Clock::now() - begin);
    const auto count = static_cast<double>(inCount);
    return {count / elapsed, count / (broker.ProcessorTime() - usedBefore)};
}

RoundTrip MeasureRoundTrip(const std::string& inProgram, std::uint64_t inCount, std::size_t inPayload) {
    const PrivateBroker broker(inProgram);
    const std::uint64_t warmUp = inCount / 10;
    const Partner answerer([&] {
        Client client(broker.SocketPath(), "answerer-1");
        client.AwaitPeer();
        client.Answer(warmUp + inCount, inPayload);
        ::pause();
    });
    Client asker(broker.SocketPath(), "asker-1");
    asker.AwaitPeer();
    for (std::uint64_t i = 0; i != warmUp; ++i) asker.Exchange(inPayload);
    std::vector<double> times;
    times.reserve(inCount);
    for (std::uint64_t i = 0; i != inCount; ++i) {
        const auto begin = Clock::now();
        asker.Exchange(inPayload);
        times.push_back(Seconds(Clock::now() - begin) * 1e6);
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[times.size() * 99 / 100]};
}

}  // namespace bench
