#include "Campaigns.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Account.h"
#include "Faults.h"
#include "Schedule.h"
#include "Stage.h"
#include "support/Random.h"

namespace campaign::kills {

namespace {

using Times = std::vector<std::chrono::nanoseconds>;
using TimesByKind = std::array<Times, kFaultKinds>;

constexpr std::chrono::seconds kSoon{1};
constexpr std::size_t kFaultsPerLine = 50;
/// KiB: half of what the message library keeps for all receivers.
constexpr std::uint64_t kUsuallyOwed = 8192;

struct Settings {
    std::uint64_t mSeed;
    std::size_t mPeers;
    std::uint64_t mSeconds;
    std::uint64_t mLate;
    std::uint64_t mOwed;
    std::array<std::uint64_t, kFaultKinds> mCounts{};

    explicit Settings(Arguments& ioArguments)
        : mSeed(ioArguments.Number("seed", NewSeed())),
          mPeers(ioArguments.Number("peers", 8)),
          mSeconds(ioArguments.Number("seconds", 900)),
          mLate(ioArguments.Number("late", 5)),
          mOwed(ioArguments.Number("owed", kUsuallyOwed)) {
        for (std::size_t kind = 0; kind != kFaultKinds; ++kind)
            mCounts[kind] =
                ioArguments.Number(std::string(kFaultKindFacts[kind].mName), kFaultKindFacts[kind].mUsual);
        ioArguments.CheckAllUsed();
        if (mPeers < 2 || mPeers > kPlaces / 2)
            throw std::invalid_argument("\"peers\" is 2 to " + std::to_string(kPlaces / 2));
    }
};

double Milliseconds(std::chrono::nanoseconds inTime) {
    return std::chrono::duration<double, std::milli>(inTime).count();
}

std::size_t CountLate(const Times& inTimes) {
    return static_cast<std::size_t>(
        std::count_if(inTimes.begin(), inTimes.end(), [](auto inTime) { return inTime > kSoon; }));
}

void PrintTimes(const TimesByKind& inTimes) {
    std::cout << "everybody back after    times    median      90 %      most   over 1 s\n";
    for (std::size_t kind = 0; kind != kFaultKinds; ++kind) {
        Times times = inTimes[kind];
        if (times.empty()) continue;
        std::sort(times.begin(), times.end());
        std::cout << "  " << std::left << std::setw(20) << kFaultKindFacts[kind].mName << std::right
                  << std::setw(7) << times.size() << std::fixed << std::setprecision(1);
        for (const std::size_t percent : {50U, 90U, 100U})
            std::cout << std::setw(7) << Milliseconds(times[(times.size() - 1) * percent / 100]) << " ms";
        std::cout << std::setw(11) << CountLate(times) << '\n';
    }
}

void PrintTotals(const Totals& inTotals, std::size_t inGuests, int inOthers) {
    std::cout << inTotals.mUnicasts << " messages to one (" << inTotals.mAnswers << " of them answers) and "
              << inTotals.mBroadcasts << " to all were sent; " << inTotals.mArrived << " arrived ("
              << inTotals.mArrivedBytes / (1U << 20U) << " MiB)\n"
              << inGuests << " guests came and went; " << inTotals.mUnconfirmed
              << " answers were called unconfirmed, because their guest left before it could confirm them\n"
              << inOthers << " brokers found another one in their place\n";
}

void PerformAll(Stage& ioStage, const Settings& inSettings, TimesByKind& outTimes) {
    Faults faults(ioStage);
    const std::vector<Fault> schedule = MakeSchedule(inSettings.mSeed, inSettings.mCounts, inSettings.mPeers);
    const std::int64_t began = Now();
    for (std::size_t done = 0; done != schedule.size(); ++done) {
        const auto kind = static_cast<std::size_t>(schedule[done].mKind);
        try {
            outTimes[kind].push_back(faults.Perform(schedule[done]));
        } catch (const std::exception& error) {
            throw std::runtime_error("fault " + std::to_string(done + 1) + ", " +
                                     std::string(kFaultKindFacts[kind].mPurpose) + ": " + error.what());
        }
        if ((done + 1) % kFaultsPerLine == 0)
            std::cout << done + 1 << " of " << schedule.size() << " faults, "
                      << (Now() - began) / 1'000'000'000 << " s" << std::endl;
    }
}

// Lets everything arrive, and waits for what must not come any more.
void Finish(Stage& ioStage) {
    Board& board = ioStage.TheBoard();
    ioStage.AwaitGuestsGone();
    board.mStop = true;
    ioStage.Await("all messages to arrive", [&]() -> std::string {
        for (std::size_t member = 0; member != ioStage.Members(); ++member)
            if (!board.mPlaces[member].mQuiet) return "  P" + std::to_string(member) + " still sends\n";
        return WhatIsMissing(board, ioStage.Places());
    });
    ioStage.Pause(std::chrono::milliseconds(300));
}

bool Judge(const TimesByKind& inTimes, std::uint64_t inLatePercent) {
    std::size_t late = 0;
    std::size_t all = 0;
    for (const Times& times : inTimes) {
        late += CountLate(times);
        all += times.size();
    }
    const bool isGood = late * 100 <= all * inLatePercent;
    std::cout << "everything arrived once and in the order of sending, and no other error was told\n"
              << late << " of " << all << " times it took more than a second" << (isGood ? "" : ": too many")
              << std::endl;
    return isGood;
}

}  // namespace

}  // namespace campaign::kills

int campaign::RunKills(Arguments ioArguments) {
    using namespace kills;
    const Settings settings(ioArguments);
    std::cout << "seed=" << settings.mSeed << ", " << settings.mPeers << " processes" << std::endl;
    Stage stage(settings.mPeers, settings.mSeed, std::chrono::seconds(settings.mSeconds));
    stage.TheBoard().mMostOwed = settings.mOwed << 10U;
    TimesByKind times;
    try {
        PerformAll(stage, settings, times);
        Finish(stage);
        const Totals totals = Count(stage.TheBoard(), stage.Places());
        const std::size_t guests = stage.Places() - stage.Members();
        stage.Close();
        PrintTimes(times);
        PrintTotals(totals, guests, stage.Broker().Others());
        return Judge(times, settings.mLate) ? 0 : 1;
    } catch (const std::exception& error) {
        PrintTimes(times);
        const std::string wrong = WhatIsWrong(stage.TheBoard(), stage.Places());
        std::cout << "FAILED: " << error.what() << '\n'
                  << (wrong.empty() ? WhatIsMissing(stage.TheBoard(), stage.Places()) : wrong)
                  << "repeat with seed=" << settings.mSeed << "; the broker's log: " << stage.SaveLog()
                  << std::endl;
        return 1;
    }
}
