// Clients that die at random moments: nothing of them may be left over, and everybody must know before long.
#include <algorithm>
#include <csignal>
#include <iomanip>
#include <iostream>
#include <stdexcept>

#include "Batches.h"
#include "Campaigns.h"
#include "UsedAgain.h"
#include "support/Random.h"

namespace campaign {

namespace {

using namespace deaths;

/// One death in so many happens where no broker sees it.
constexpr std::size_t kUnseenShare = 20;
/// What processes may grow by, whatever the number of deaths: their allocators' affairs.
constexpr std::ptrdiff_t kSlack = std::ptrdiff_t{128} << 10U;
/// The observer's log, and what of it may be in use for other reasons.
constexpr std::size_t kLog = std::size_t{16} << 20U;
constexpr std::size_t kLogSlack = std::size_t{1} << 20U;

class Verdict {
  public:
    /// Prints what is wrong, if it is.
    void Expect(bool inTrue, const std::string& inOtherwise) {
        if (inTrue) return;
        mGood = false;
        std::cout << "WRONG: " << inOtherwise << '\n';
    }
    int Code() const {
        std::cout << (mGood ? "nothing is left over\n" : "FAILED\n");
        return mGood ? 0 : 1;
    }

  private:
    bool mGood = true;
};

void Print(const Batches& inBatches, const UnseenToll& inUnseen) {
    std::cout << "deaths, and how many of them were in the observer's list before:\n";
    for (std::size_t kind = 0; kind != kKinds; ++kind) {
        const Toll& toll = inBatches.Tolls()[kind];
        std::cout << "  " << std::left << std::setw(38) << InfoOf(static_cast<Kind>(kind)).mText << std::right
                  << std::setw(6) << toll.mDeaths << std::setw(6) << toll.mListed << '\n';
    }
    std::cout << "  while no broker runs: " << inUnseen.mGone
              << ", and the process id is used again: " << inUnseen.mReused
              << "\n  the broker stands still, and the process id is used again: " << inUnseen.mTakenOver
              << '\n';
    if (inUnseen.mSkipped != 0)
        std::cout << "  SKIPPED: " << inUnseen.mSkipped
                  << " whose process ids are used again, because they cannot be chosen here (needs root)\n";
}

void JudgeMessages(Observer& ioObserver, Verdict& ioVerdict) {
    const Tally tally = ioObserver.Messages().Count();
    std::cout << "messages to victims: " << tally.mSent << " sent, " << tally.mReceived << " received, "
              << tally.mNotDelivered << " told as not delivered, " << tally.mNotConfirmed
              << " told as not confirmed\nmessages to the one that lives: " << ioObserver.Echoes()
              << ", each answered\n";
    ioVerdict.Expect(tally.mMissing == 0,
                     std::to_string(tally.mMissing) + " were neither received nor told of");
    ioVerdict.Expect(tally.mDenied == 0,
                     std::to_string(tally.mDenied) + " were received and called undelivered");
    ioVerdict.Expect(tally.mRepeated == 0, std::to_string(tally.mRepeated) + " came or were told of twice");
    ioVerdict.Expect(tally.mForeign == 0, std::to_string(tally.mForeign) + " came or were told of unsent");
    ioVerdict.Expect(ioObserver.Disordered() == 0,
                     std::to_string(ioObserver.Disordered()) + " came out of order, twice or not at all");
    ioVerdict.Expect(tally.mReceived != 0 && tally.mNotDelivered + tally.mNotConfirmed != 0,
                     "the victims died too early or too late to show anything");
}

void JudgeMemory(const Batches& inBatches, Verdict& ioVerdict) {
    const auto growth = inBatches.Grown();
    if (!growth) {
        std::cout << "memory: not judged, "
                  << (kSanitized ? "a sanitizer keeps its own\n" : "too few deaths to see it grow\n");
        return;
    }
    std::cout << "memory, over " << growth->mDeaths << " deaths under one broker: the broker's heap grew by "
              << growth->mBroker << " bytes, the observer's by " << growth->mObserver << " (" << kSlack
              << " are allowed)\n";
    ioVerdict.Expect(growth->mBroker <= kSlack, "the broker grows with the deaths");
    ioVerdict.Expect(growth->mObserver <= kSlack, "the observer grows with the deaths");
}

/// The log is filled for one that stands still: were anything left over in it, there would be no room.
void JudgeLog(Stage& ioStage, Verdict& ioVerdict) {
    ioStage.Survivor().Signal(SIGSTOP);
    const bool fits = ioStage.GetObserver().Fill(kLog - kLogSlack);
    ioStage.Survivor().Signal(SIGCONT);
    ioStage.AwaitQuiet();
    std::cout << "log: takes " << kLog - kLogSlack << " bytes of " << kLog << " at once\n";
    ioVerdict.Expect(fits, "the observer's log has no room for that any more");
}

void JudgePresence(const std::string& inWhat, Latencies& ioLatencies, Verdict& ioVerdict) {
    std::cout << "presence right after " << inWhat << ": " << ioLatencies.Text() << '\n';
    // Others may use this machine as well: so a few of very many.
    ioVerdict.Expect(kSanitized || ioLatencies.Late() * 100 <= ioLatencies.Count(),
                     "presence is often wrong for more than a second");
}

}  // namespace

int RunDeaths(Arguments inArguments) {
    const std::uint64_t seed = inArguments.Number("seed", NewSeed());
    const std::uint64_t deaths = inArguments.Number("deaths", 2'000);
    inArguments.CheckAllUsed();
    const std::size_t unseen = deaths / kUnseenShare;
    std::cout << "seed=" << seed << " deaths=" << deaths << std::endl;

    Random random(seed);
    const std::vector<Plan> plans = MakePlans(random, deaths - unseen);
    Latencies seenTimes(plans.size());
    Latencies unseenTimes(unseen);
    Verdict verdict;
    Stage stage(deaths, seed);
    Batches batches(stage);
    UnseenToll unseenToll;
    try {
        batches.Run(plans, seenTimes);
        const std::size_t faulty = FaultyConnections();
        unseenToll = RunUnseenDeaths(stage, unseen, unseenTimes);
        Print(batches, unseenToll);
        std::cout << "connections that ended inside a frame: " << faulty << '\n';
        verdict.Expect(faulty != 0, "no victim died inside a frame");
        JudgeMemory(batches, verdict);
        JudgeLog(stage, verdict);
        std::cout << "at first: " << Text(stage.AtFirst()) << "\nat last:  " << Text(stage.Now()) << '\n';
    } catch (const std::runtime_error& error) {
        Print(batches, unseenToll);
        verdict.Expect(false, error.what());
    }
    JudgeMessages(stage.GetObserver(), verdict);
    JudgePresence("a death", seenTimes, verdict);
    JudgePresence("a death that no broker saw", unseenTimes, verdict);
    return verdict.Code();
}

}  // namespace campaign
