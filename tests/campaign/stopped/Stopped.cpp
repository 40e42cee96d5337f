// A receiver that stands still, or is slow, among others that aren't.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <random>
#include <stdexcept>
#include <thread>

#include "Campaigns.h"
#include "Crew.h"
#include "MemoryWatch.h"
#include "Presence.h"
#include "support/Random.h"

namespace campaign::stopped {

namespace {

using Milliseconds = std::chrono::milliseconds;

constexpr std::size_t kReceivers = 8;
constexpr std::size_t kSenders = 2;
constexpr std::size_t kArrears = std::size_t{8} << 20U;
/// Where arrears are to be filled soon, and cut off soon.
constexpr std::size_t kFewArrears = std::size_t{256} << 10U;
const Environment kSmallBounds = {{"PLEXA_LIMIT_ARREARS", "256K"}, {"PLEXA_LIMIT_STALL", "500ms"}};

void Watch(MemoryWatch& ioWatch, Milliseconds inTime) {
    const auto until = std::chrono::steady_clock::now() + inTime;
    while (std::chrono::steady_clock::now() < until) {
        ioWatch.Look();
        std::this_thread::sleep_until(std::min(until, std::chrono::steady_clock::now() + Milliseconds(100)));
    }
}

bool Check(const char* inWhat, bool inHolds) {
    std::cout << (inHolds ? "    holds:  " : "    BROKEN: ") << inWhat << std::endl;
    return inHolds;
}

/// Everybody leaves, and the books are closed.
Tally Conclude(Crew& ioCrew) {
    ioCrew.Hold();
    ioCrew.AwaitFates();
    ioCrew.End();
    const Tally tally = TallyOf(ioCrew.Book());
    std::printf("  %llu deliveries owed: %llu made, %llu told \"Not delivered\", %llu \"not confirmed\"\n",
                static_cast<unsigned long long>(tally.mMessages),
                static_cast<unsigned long long>(tally.mReceived),
                static_cast<unsigned long long>(tally.mNotDelivered),
                static_cast<unsigned long long>(tally.mNotConfirmed));
    std::printf("  %llu neither made nor told, %llu twice, %llu made and denied, %llu otherwise wrong\n",
                static_cast<unsigned long long>(tally.mLost), static_cast<unsigned long long>(tally.mDoubled),
                static_cast<unsigned long long>(tally.mDenied),
                static_cast<unsigned long long>(tally.mOther));
    return tally;
}

// --- The same run with and without a stop ---

struct Quantiles {
    double mMedian = 0;
    double mP99 = 0;
};

/// Microseconds, of the messages sent in these parts to all receivers but one.
Quantiles LatencyOf(const Ledger& inLedger, Part inFirst, Part inLast, std::size_t inWithout) {
    std::vector<std::uint32_t> times;
    for (const SenderPage& page : inLedger.mSenders) {
        for (std::uint32_t number = 0; number != page.mSent; ++number) {
            const Entry& message = page.mMessages[number];
            if (message.mPart < inFirst || message.mPart > inLast) continue;
            for (std::size_t i = 0; i != kReceivers; ++i)
                if (i != inWithout && message.IsFor(i)) times.push_back(message.mFates[i].mLatency);
        }
    }
    const auto quantile = [&](double inShare) {
        const auto place = times.begin() + static_cast<std::ptrdiff_t>(inShare * double(times.size() - 1));
        std::nth_element(times.begin(), place, times.end());
        return double(*place) / 1000;
    };
    return times.empty() ? Quantiles{} : Quantiles{quantile(0.5), quantile(0.99)};
}

double LongestCall(const Ledger& inLedger, Part inFirst, Part inLast) {
    std::uint64_t longest = 0;
    for (const SenderPage& page : inLedger.mSenders)
        for (Part part = inFirst; part <= inLast; ++part)
            longest = std::max(longest, page.mLongestCall[part].load());
    return double(longest) / 1000;
}

double Median(std::vector<double> inValues) {
    std::sort(inValues.begin(), inValues.end());
    return inValues[inValues.size() / 2];
}

struct Pair {
    std::size_t mVictim = 0;
    Part mPlain = 0;     // nobody is stopped
    Part mStopped = 0;   // the victim is
    Part mCaughtUp = 0;  // it goes on
};

struct PairedPlan {
    std::uint64_t mPairs;
    Milliseconds mPhase;
    Plan mPlan;
};

void RunPhases(const Crew& inCrew, MemoryWatch& ioWatch, const Pair& inPair, bool inPlainFirst,
               Milliseconds inPhase) {
    const Milliseconds stop = inPhase * 3 / 4;
    const auto plain = [&] {
        inCrew.Send(inPair.mPlain);
        Watch(ioWatch, inPhase);
    };
    if (inPlainFirst) plain();
    inCrew.Send(inPair.mStopped);
    inCrew.Stop(inPair.mVictim);
    Watch(ioWatch, stop);
    inCrew.Send(inPair.mCaughtUp);
    inCrew.Continue(inPair.mVictim);
    Watch(ioWatch, inPhase - stop);
    inCrew.Hold();
    inCrew.AwaitFates();
    if (!inPlainFirst) plain();
    inCrew.Hold();
    inCrew.AwaitFates();
}

void ReportPairs(const Ledger& inLedger, const std::vector<Pair>& inPairs) {
    std::printf(
        "  latency at the others in us      without a stop   |  with a stop and its end   | ratio p99 "
        "| longest call of a sender\n");
    std::vector<double> medians;
    std::vector<double> tails;
    std::vector<double> stoppedTails;
    for (const Pair& pair : inPairs) {
        const Quantiles plain = LatencyOf(inLedger, pair.mPlain, pair.mPlain, pair.mVictim);
        const Quantiles stopped = LatencyOf(inLedger, pair.mStopped, pair.mStopped, pair.mVictim);
        const Quantiles with = LatencyOf(inLedger, pair.mStopped, pair.mCaughtUp, pair.mVictim);
        medians.push_back(with.mMedian / plain.mMedian);
        tails.push_back(with.mP99 / plain.mP99);
        stoppedTails.push_back(stopped.mP99 / plain.mP99);
        std::printf(
            "    receiver %zu stopped   p50 %7.1f  p99 %8.1f  |  p50 %7.1f  p99 %8.1f  |  %8.3f | %8.0f, "
            "%8.0f\n",
            pair.mVictim, plain.mMedian, plain.mP99, with.mMedian, with.mP99, tails.back(),
            LongestCall(inLedger, pair.mPlain, pair.mPlain),
            LongestCall(inLedger, pair.mStopped, pair.mCaughtUp));
    }
    const double tail = Median(tails);
    std::printf(
        "  with to without, median of %zu pairs: p50 %.3f, p99 %.3f (while it stands still alone: %.3f); "
        "p99 within 10 %%: %s\n",
        inPairs.size(), Median(medians), tail, Median(stoppedTails), tail <= 1.1 ? "yes" : "NO");
}

bool RunPaired(const PairedPlan& inPlan, std::mt19937_64& ioRandom) {
    const double rate = 1e9 / inPlan.mPlan.mPeriod;
    const double owed = rate * (1 + 1.0 / kReceivers) * double(FrameBytes(inPlan.mPlan));
    std::printf(
        "a stop that fits the arrears: %zu senders, each a second %.0f messages of %u bytes to all of %zu "
        "receivers\nand %.0f to one; each receiver owes it %.2f MB more a second, its arrears are full "
        "after %.1f s, it stands still for %.1f s\n",
        kSenders, rate, inPlan.mPlan.mPayload, kReceivers, rate, owed / 1e6, double(kArrears) / owed,
        double(inPlan.mPhase.count()) * 0.75e-3);
    if (owed * double(inPlan.mPhase.count()) * 0.75e-3 > double(kArrears) * 0.9)
        throw std::invalid_argument("that doesn't fit: make rate, payload or phase_ms smaller");

    Crew crew(kReceivers, {kSenders, inPlan.mPlan}, {});
    MemoryWatch watch(crew, kArrears);
    std::vector<Pair> pairs;
    Part part = kFirstPart;
    crew.Send(part++);  // everything is warm before it counts
    Watch(watch, inPlan.mPhase / 4);
    while (pairs.size() != inPlan.mPairs) {
        pairs.push_back({ioRandom() % kReceivers, part, part + 1, part + 2});
        part += 3;
        RunPhases(crew, watch, pairs.back(), ioRandom() % 2 == 0, inPlan.mPhase);
    }
    const Tally tally = Conclude(crew);
    ReportPairs(crew.Book(), pairs);
    const bool within = watch.Report();
    return Check("memory stayed within the named bounds", within) &
           Check("every message arrived once and in order, and nobody was told of a failure",
                 tally.Kept() && tally.Told() == 0);
}

// --- A stop that doesn't fit ---

bool RunCutOff(Plan inPlan, std::mt19937_64& ioRandom) {
    constexpr std::uint32_t kSome = 200;
    const std::size_t victim = ioRandom() % kReceivers;
    std::printf(
        "a stop that doesn't fit: receiver %zu stands still until it is cut off, arrears %zu, stall 500 ms\n",
        victim, kFewArrears);
    Crew crew(kReceivers, {kSenders, inPlan}, kSmallBounds);
    MemoryWatch watch(crew, kFewArrears);
    const Ledger& book = crew.Book();
    const auto have = [&](const auto& inSomething) {
        return [&book, inSomething] {
            for (std::size_t sender = 0; sender != kSenders; ++sender)
                if (!inSomething(book.mSenders[sender], sender)) return false;
            return true;
        };
    };
    std::array<std::uint32_t, kSenders> marks{};
    const auto mark = [&] {
        for (std::size_t sender = 0; sender != kSenders; ++sender)
            marks[sender] = book.mSenders[sender].mBegun;
    };
    const auto arrivedSinceAt = [&](std::size_t inReceiver, const SenderPage& inPage, std::size_t inSender) {
        for (std::uint32_t number = inPage.mSent; number-- > marks[inSender];)
            if (inPage.mMessages[number].IsFor(inReceiver) &&
                inPage.mMessages[number].mFates[inReceiver].mReceived != 0)
                return true;
        return false;
    };

    crew.Send(kFirstPart);
    Await("something was sent",
          have([](const SenderPage& inPage, std::size_t) { return inPage.mSent >= kSome; }));
    crew.Stop(victim);
    Await("each sender was told that it was cut off", have([&](const SenderPage&, std::size_t inSender) {
              watch.Look();
              return TallyOf(book, inSender, victim).Told() != 0;
          }));
    mark();
    Await("the others get more", have([&](const SenderPage& inPage, std::size_t inSender) {
              bool all = inPage.mSent >= marks[inSender] + kSome;
              for (std::size_t i = 0; i != kReceivers; ++i)
                  all = all && (i == victim || arrivedSinceAt(i, inPage, inSender));
              return all;
          }));
    crew.Continue(victim);
    mark();
    Await("it gets what is new once it goes on", have([&](const SenderPage& inPage, std::size_t inSender) {
              return arrivedSinceAt(victim, inPage, inSender);
          }));
    const Tally tally = Conclude(crew);
    std::uint64_t toldOfVictim = 0;
    for (std::size_t sender = 0; sender != kSenders; ++sender)
        toldOfVictim += TallyOf(book, sender, victim).Told();
    const bool within = watch.Report();
    return Check("memory stayed within the named bounds", within) &
           Check("every message arrived once and in order, or was told to be lost", tally.Kept()) &
           Check("only what was for the receiver that stood still failed", tally.Told() == toldOfVictim);
}

// --- A receiver that is slow but moves ---

bool RunSlow(const Plan& inPlan) {
    constexpr std::uint32_t kNap = 1000;
    constexpr std::uint32_t kMessages = 2000;
    std::printf(
        "a slow receiver: receiver 0 takes 1 ms over each message; sender 0 sends to it as fast as it can, "
        "sender 1\nto the others, and now and then to all; arrears %zu, stall 500 ms\n",
        kFewArrears);
    const Plan flood{0, 0, 1, 0, inPlan.mPayload};
    const Plan steady{inPlan.mPeriod, 1, kReceivers - 1, 20, inPlan.mPayload};
    Crew crew(kReceivers, {flood, steady}, kSmallBounds);
    MemoryWatch watch(crew, kFewArrears);
    Ledger& book = crew.Book();
    book.mReceivers[0].mNap = kNap;

    const std::uint64_t begin = NowNanoseconds();
    crew.Send(kFirstPart);
    Await("sender 1 has sent its messages and they arrived at all but the slow one", [&] {
        watch.Look();
        const SenderPage& page = book.mSenders[1];
        if (page.mSent < kMessages) return false;
        for (std::uint32_t number = 0; number != kMessages; ++number)
            for (std::size_t i = 1; i != kReceivers; ++i)
                if (page.mMessages[number].IsFor(i) && !page.mMessages[number].mFates[i].Settled())
                    return false;
        return true;
    });
    const double seconds = double(NowNanoseconds() - begin) / 1e9;
    const std::uint32_t flooded = book.mSenders[0].mSent;
    const std::uint64_t taken = TallyOf(book, 0, 0).mReceived;
    std::printf(
        "  sender 1 took %.2f s for %u messages meant to take %.2f s, longest call %.0f us; meanwhile "
        "sender 0 sent %u, of which %llu were taken\n",
        seconds, kMessages, kMessages / (1.05e9 / inPlan.mPeriod),
        double(book.mSenders[1].mLongestCall[kFirstPart]) / 1000, flooded,
        static_cast<unsigned long long>(taken));
    const bool outran = watch.MostArrears() > kFewArrears / 2;
    book.mReceivers[0].mNap = 0;
    const Tally tally = Conclude(crew);
    const bool within = watch.Report();
    return Check("the sender that outran it was held back at its arrears", outran && within) &
           Check("every message arrived once and in order, and nobody was told of a failure",
                 tally.Kept() && tally.Told() == 0);
}

}  // namespace

}  // namespace campaign::stopped

namespace campaign {

int RunStopped(Arguments ioArguments) {
    using namespace stopped;
    const std::uint64_t seed = ioArguments.Number("seed", NewSeed());
    const std::uint64_t pairs = ioArguments.Number("pairs", 10);
    const Milliseconds phase(ioArguments.Number("phase_ms", 4000));
    const std::uint64_t rate = ioArguments.Number("rate", 500);
    const auto payload = static_cast<std::uint32_t>(ioArguments.Number("payload", 1024));
    ioArguments.CheckAllUsed();
    if (pairs == 0 || pairs * 3 + kFirstPart >= kMostParts || rate == 0 || rate > 100000 || payload < 64 ||
        double(rate) * 2 * double((pairs * 2 + 1) * static_cast<std::uint64_t>(phase.count())) / 1000 >
            kMostMessages) {
        throw std::invalid_argument("pairs, rate, phase_ms or payload is too small or too large");
    }
    std::cout << "seed=" << seed << std::endl;
    std::mt19937_64 random(seed);
    const Plan plan{static_cast<std::uint32_t>(1000000000 / rate), 0, kReceivers, 1, payload};
    const bool paired = RunPaired({pairs, phase, plan}, random);
    const bool cutOff = RunCutOff(plan, random);
    const bool slow = RunSlow(plan);
    return paired && cutOff && slow ? 0 : 1;
}

}  // namespace campaign
