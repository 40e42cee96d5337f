#include "Stage.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "Plan.h"
#include "Victim.h"

namespace campaign::deaths {

namespace {

constexpr std::chrono::seconds kPatience{20};
constexpr std::chrono::milliseconds kLook{3};
/// More than the observer sends to one victim, under both of its names.
constexpr std::size_t kMessagesPerVictim = 100;

/// Everybody on the bus is started by this process and finds it through the environment.
void Enter(const support::PrivateBus& inBus) {
    // NOLINTBEGIN(concurrency-mt-unsafe): before any thread is started
    for (const auto& [name, value] : inBus.Environment("")) {
        if (value) {
            ::setenv(name.c_str(), value->c_str(), 1);
        } else {
            ::unsetenv(name.c_str());
        }
    }
    ::setenv("PLEXA_BROKER", NUOPLEXA_BROKER_PROGRAM, 1);
    // One that is behind for the whole log is no reason to wait for it.
    ::setenv("PLEXA_LIMIT_ARREARS", "1G", 1);
    // Large blocks lie outside of the heap, so that its size shows what is held of all else.
    ::setenv("MALLOC_MMAP_THRESHOLD_", "65536", 1);
    ::setenv("MALLOC_TRIM_THRESHOLD_", "65536", 1);
    // NOLINTEND(concurrency-mt-unsafe)
}

}  // namespace

Stage::Stage(std::size_t inDeaths, std::uint64_t inSeed)
    : mBrokers(mBus), mFolder(mBus.Folder() / "victims") {
    std::filesystem::create_directory(mFolder);
    Enter(mBus);
    mObserver.emplace(inDeaths * kMessagesPerVictim, inSeed);
    mSurvivor.emplace(support::Command{RoleWords("deaths-survivor", {})});
    const Time limit = std::chrono::steady_clock::now() + kPatience * kPace;
    while (!mObserver->SeesOnlySurvivors()) {
        if (std::chrono::steady_clock::now() > limit)
            throw std::runtime_error("the bus does not come up: " + mSurvivor->Errors());
        std::this_thread::sleep_for(kLook);
    }
    mObserver->Send();
    while (!mObserver->HasAllEchoes() && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(kLook);
    TakeStock();
}

void Stage::TakeStock() {
    const Time limit = std::chrono::steady_clock::now() + kPatience * kPace;
    mBroker = mBrokers.Current();
    // Buffers and connections are given back a moment later.
    do {
        std::this_thread::sleep_for(kLook * 10);
        mAtFirst = Now();
        std::this_thread::sleep_for(kLook * 10);
    } while (Now() != mAtFirst && std::chrono::steady_clock::now() < limit);
}

void Stage::ReplaceBroker() {
    const Holdings before = mAtFirst;
    BrokerControl::End(mBrokers.Current(), SIGKILL);
    const Time limit = std::chrono::steady_clock::now() + kPatience * kPace;
    while (mBrokers.Current() == 0 && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(kLook);
    mObserver->Send();
    while (!mObserver->HasAllEchoes() && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(kLook);
    TakeStock();
    Holdings allowed = mAtFirst;
    allowed.mDescriptors = before.mDescriptors;
    if (allowed != before)
        throw std::runtime_error("the next broker holds other things than the first:\n  " + Text(before) +
                                 "\n  " + Text(mAtFirst));
}

Holdings Stage::Now() const { return HoldingsOf(mBroker, mBus.Folder(), mFolder); }

void Stage::AwaitQuiet() {
    const Time limit = std::chrono::steady_clock::now() + kPatience * kPace;
    mBroker = mBrokers.Current();
    for (;;) {
        const bool alone = mObserver->SeesOnlySurvivors();
        const bool echoed = mObserver->HasAllEchoes();
        const bool accounted = mObserver->Messages().AllAccounted();
        const Holdings now = Now();
        if (alone && echoed && accounted && now == mAtFirst) return;
        if (std::chrono::steady_clock::now() > limit) {
            throw std::runtime_error(
                "after " + std::to_string(kPatience.count() * kPace) +
                " s something is left over:" + (alone ? "" : "\n  an end point in the observer's list") +
                (echoed ? "" : "\n  a message between those who live") +
                (accounted ? "" : "\n  a message to a victim that was neither received nor told of") +
                "\n  at first: " + Text(mAtFirst) + "\n  now:      " + Text(now));
        }
        std::this_thread::sleep_for(kLook);
    }
}

std::size_t Latencies::Late() const {
    return static_cast<std::size_t>(std::count_if(
        mTimes.begin(), mTimes.end(), [](const auto& inTime) { return inTime > std::chrono::seconds(1); }));
}

std::string Latencies::Text() {
    if (mTimes.empty()) return "none";
    std::sort(mTimes.begin(), mTimes.end());
    const auto at = [this](double inShare) {
        const auto place = static_cast<std::size_t>(inShare * static_cast<double>(mTimes.size() - 1));
        return std::chrono::duration<double, std::milli>(mTimes[place]).count();
    };
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << at(0.5) << " ms in the middle, " << at(0.99)
         << " ms in 99 of 100, " << at(1) << " ms at most, " << Late() << " of " << mTimes.size()
         << " more than 1 s";
    return text.str();
}

}  // namespace campaign::deaths
