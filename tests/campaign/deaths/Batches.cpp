#include "Batches.h"

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Victim.h"

namespace campaign::deaths {

namespace {

constexpr std::size_t kAtATime = 8;
/// Pools and caches fill up first, with more at a time than later, so that what comes later fits into them.
constexpr std::size_t kWarmUp = 600;
constexpr std::size_t kAtATimeAtFirst = 24;
constexpr std::chrono::microseconds kRound{500};

}  // namespace

void Batches::Run(std::span<const Plan> inPlans, Latencies& ioLatencies) {
    for (std::size_t done = 0; done != inPlans.size();) {
        const std::size_t most = done < kWarmUp ? kAtATimeAtFirst : kAtATime;
        const std::size_t count = std::min(most, inPlans.size() - done);
        RunBatch(inPlans.subspan(done, count), ioLatencies);
        done += count;
        Measure(done, inPlans.size());
    }
}

void Batches::RunBatch(std::span<const Plan> inPlans, Latencies& ioLatencies) {
    Observer& observer = mStage.GetObserver();
    observer.BeginBatch();
    std::vector<std::unique_ptr<Victim>> victims;
    for (const Plan& plan : inPlans)
        victims.push_back(std::make_unique<Victim>(plan, std::to_string(++mNamed), mStage.Folder()));
    const auto lives = [](const std::unique_ptr<Victim>& inVictim) { return !inVictim->Killed(); };
    while (std::any_of(victims.begin(), victims.end(), lives)) {
        for (const auto& victim : victims) victim->Go();
        observer.Send();
        std::this_thread::sleep_for(kRound);
    }
    for (const auto& victim : victims) victim->Bury(observer.Messages());
    mStage.AwaitQuiet();
    for (const auto& victim : victims) {
        Toll& toll = mTolls[static_cast<std::size_t>(victim->GetPlan().mKind)];
        ++toll.mDeaths;
        if (!observer.HasSeen(victim->AppId())) continue;
        ++toll.mListed;
        const auto vanished = observer.Vanished(victim->AppId());
        if (vanished) ioLatencies.Add(std::max(*vanished - *victim->Killed(), Time::duration::zero()));
    }
}

void Batches::Measure(std::size_t inDone, std::size_t inAll) {
    if (kSanitized || inAll < 2 * kWarmUp || inDone < kWarmUp) return;
    mSamples.reserve(inAll);
    mSamples.push_back({inDone, HeapOf(mStage.Broker()), AllocatedHere()});
}

std::optional<Growth> Batches::Grown() const {
    const std::size_t third = mSamples.size() / 3;
    if (third == 0) return std::nullopt;
    // What the last ones needed for a moment may still be there: the least is what is really needed.
    const auto least = [](std::span<const Sample> inSamples, std::size_t Sample::*inWhat) {
        std::size_t value = inSamples.front().*inWhat;
        for (const Sample& sample : inSamples) value = std::min(value, sample.*inWhat);
        return static_cast<std::ptrdiff_t>(value);
    };
    const std::span<const Sample> all(mSamples);
    const auto grown = [&](std::size_t Sample::*inWhat) {
        return least(all.last(third), inWhat) - least(all.first(third), inWhat);
    };
    return Growth{all[all.size() - third].mDeaths - all.front().mDeaths, grown(&Sample::mBroker),
                  grown(&Sample::mObserver)};
}

}  // namespace campaign::deaths
