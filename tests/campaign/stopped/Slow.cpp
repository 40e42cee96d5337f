// A receiver that is slow but moves.
#include <cstdio>

#include "MemoryWatch.h"
#include "Presence.h"
#include "Scenes.h"

namespace campaign::stopped {

bool RunSlow(const Plan& inPlan) {
    constexpr std::uint32_t kNap = 1000;
    const std::uint32_t messages = 2 * (1000000000 / inPlan.mPeriod);
    std::printf(
        "a slow receiver: receiver 0 takes 1 ms over each message; sender 0 sends to it as fast as it can, "
        "sender 1\nto the others, and now and then to all; arrears %zu\n",
        kFewArrears);
    const Plan flood{0, 0, 1, 0, inPlan.mPayload};
    const Plan steady{inPlan.mPeriod, 1, kReceivers - 1, 20, inPlan.mPayload};
    Crew crew(kReceivers, {flood, steady}, {{"PLEXA_LIMIT_ARREARS", kFewArrearsSetting}});
    MemoryWatch watch(crew, kFewArrears);
    Ledger& book = crew.Book();
    book.mReceivers[0].mNap = kNap;

    const std::uint64_t begin = NowNanoseconds();
    crew.Send(kFirstPart);
    Await("sender 1 has sent its messages and they arrived at all but the slow one", [&] {
        watch.Look();
        const SenderPage& page = book.mSenders[1];
        if (page.mSent < messages) return false;
        for (std::uint32_t number = 0; number != messages; ++number)
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
        seconds, messages, messages / (1.05e9 / inPlan.mPeriod),
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

}  // namespace campaign::stopped
