// The same run with and without a stop, in turns, so that what else the machine does meets both alike.
#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <thread>
#include <vector>

#include "MemoryWatch.h"
#include "Scenes.h"

namespace campaign::stopped {

namespace {

void Watch(MemoryWatch& ioWatch, Milliseconds inTime) {
    const auto until = std::chrono::steady_clock::now() + inTime;
    while (std::chrono::steady_clock::now() < until) {
        ioWatch.Look();
        std::this_thread::sleep_until(std::min(until, std::chrono::steady_clock::now() + Milliseconds(100)));
    }
}

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

}  // namespace

bool RunPaired(const PairedPlan& inPlan, Random& ioRandom) {
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
        pairs.push_back({ioRandom.Below(kReceivers), part, part + 1, part + 2});
        part += 3;
        RunPhases(crew, watch, pairs.back(), ioRandom.OneIn(2), inPlan.mPhase);
    }
    const Tally tally = Conclude(crew);
    ReportPairs(crew.Book(), pairs);
    const bool within = watch.Report();
    return Check("memory stayed within the named bounds", within) &
           Check("every message arrived once and in order, and nobody was told of a failure",
                 tally.Kept() && tally.Told() == 0);
}

}  // namespace campaign::stopped
