// How long it takes until everybody is back after the broker was killed.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "Campaigns.h"
#include "Crew.h"
#include "Presence.h"
#include "ReturnBoard.h"
#include "support/BrokerControl.h"
#include "support/Random.h"

namespace campaign::stopped {

namespace {

using Clients = std::vector<std::unique_ptr<support::ChildProcess>>;

/// Milliseconds from a kill until each client had heard everything sent since, sorted; empty while one
/// hasn't.
std::vector<double> Returns(const ReturnBoard& inBoard, std::uint32_t inRound, std::uint64_t inKilled) {
    std::vector<double> returns;
    for (std::size_t i = 0; i != inBoard.mCount; ++i) {
        const ReturnBoard::Hearing& hearing = inBoard.mClients[i].mHearings[inRound];
        const std::uint64_t fromFirst = hearing.mFromFirst;
        const std::uint64_t fromNeighbour = hearing.mFromNeighbour;
        if (fromNeighbour == 0 || (i != 0 && fromFirst == 0)) return {};
        returns.push_back(double(std::max(fromFirst, fromNeighbour) - inKilled) / 1e6);
    }
    std::sort(returns.begin(), returns.end());
    return returns;
}

/// Kills the broker and lets everybody send; gives the time until the last one was back.
double KillOnce(ReturnBoard& ioBoard, const BrokerControl& inBrokers, std::uint32_t inRound) {
    const pid_t broker = inBrokers.Current();
    if (broker == 0) throw std::runtime_error("no broker is there to be killed");
    const std::uint64_t killed = NowNanoseconds();
    BrokerControl::End(broker, SIGKILL);
    const double ended = double(NowNanoseconds() - killed) / 1e6;
    SetAndWake(ioBoard.mRound, inRound);
    std::vector<double> returns;
    Await("everybody is back", [&] {
        returns = Returns(ioBoard, inRound, killed);
        return !returns.empty();
    });
    std::printf("  kill %3u: broker gone after %5.1f ms, back: first %6.1f  half %6.1f  last %6.1f ms\n",
                inRound, ended, returns.front(), returns[returns.size() / 2], returns.back());
    std::fflush(stdout);
    return returns.back();
}

void EndAll(ReturnBoard& ioBoard, const Clients& inClients) {
    SetAndWake(ioBoard.mRound, kNoMoreRounds);
    for (const auto& client : inClients) {
        const auto code = client->Wait();
        if (code != 0)
            throw std::runtime_error("a client ended with " + (code ? std::to_string(*code) : "nothing") +
                                     "\n" + client->Errors());
    }
}

}  // namespace

}  // namespace campaign::stopped

namespace campaign {

int RunReturn(Arguments ioArguments) {
    using namespace stopped;
    const std::uint64_t seed = ioArguments.Number("seed", NewSeed());
    const std::uint64_t clients = ioArguments.Number("clients", 100);
    const std::uint64_t kills = ioArguments.Number("kills", 20);
    ioArguments.CheckAllUsed();
    if (clients < 2 || clients > kMostClients || kills == 0 || kills >= kMostRounds)
        throw std::invalid_argument("clients or kills is too small or too large");
    std::cout << "seed=" << seed << '\n' << clients << " clients" << std::endl;
    Random random(seed);

    const support::PrivateBus bus;
    BrokerControl brokers(bus);
    const std::string path = bus.Folder() / "board";
    const SharedBoard<ReturnBoard> board(path);
    board->mCount = static_cast<std::uint32_t>(clients);
    Clients processes;
    for (std::uint64_t i = 0; i != clients; ++i)
        processes.push_back(StartRole(bus, {"return-client", path, std::to_string(i)}));
    Await("everybody is on the bus", [&] { return board->mReady == clients; });

    std::vector<double> times;
    for (std::uint32_t round = 1; round <= kills; ++round) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50 + random.Below(200)));
        times.push_back(KillOnce(*board, brokers, round));
    }
    EndAll(*board, processes);
    std::sort(times.begin(), times.end());
    std::printf(
        "everybody back and delivering after a kill: fastest %.1f, median %.1f, slowest %.1f ms of %zu; "
        "within one second: %s\n",
        times.front(), times[times.size() / 2], times.back(), times.size(),
        times.back() <= 1000 ? "yes" : "NO");
    std::uint32_t wrong = 0;
    for (const ReturnBoard::Client& client : board->mClients) wrong += client.mWrong;
    if (wrong != 0) std::cout << "BROKEN: " << wrong << " errors, or messages that came twice" << std::endl;
    return wrong == 0 ? 0 : 1;
}

}  // namespace campaign
