// A receiver that stands still for longer than its arrears hold.
#include <array>
#include <cstdio>

#include "MemoryWatch.h"
#include "Scenes.h"

namespace campaign::stopped {

bool RunCutOff(const Plan& inPlan, Random& ioRandom) {
    constexpr std::uint32_t kSome = 200;
    const std::size_t victim = ioRandom.Below(kReceivers);
    std::printf(
        "a stop that doesn't fit: receiver %zu stands still until it is cut off, arrears %zu, stall 1 s\n",
        victim, kFewArrears);
    // With a window that holds all that is owed, it would all be on its way when the receiver is cut off, and
    // arrive in the end whether or not its sender was told.
    Crew crew(kReceivers, {kSenders, inPlan},
              {{"PLEXA_LIMIT_ARREARS", kFewArrearsSetting},
               {"PLEXA_LIMIT_STALL", "1s"},
               {"PLEXA_LIMIT_LANE_WINDOW", "64K"}});
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

}  // namespace campaign::stopped
