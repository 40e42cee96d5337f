/// Makes things fail, and sees how long it takes until everybody is back.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Schedule.h"
#include "Stage.h"

namespace campaign::kills {

class Faults {
  public:
    explicit Faults(Stage& ioStage);

    /// Returns how long it took until every member had received from every other something that was sent
    /// after the fault. Throws when that doesn't happen within `Stage::kPatience`.
    std::chrono::nanoseconds Perform(const Fault& inFault);

  private:
    using Members = std::vector<std::size_t>;
    using Nanoseconds = std::chrono::nanoseconds;

    Nanoseconds EndBroker(int inSignal);
    Nanoseconds EndTwoBrokers(std::chrono::microseconds inBetween);
    Nanoseconds ExchangeProgram();
    Nanoseconds LoseConnections(const Members& inMembers);
    Nanoseconds EndBrokerWhileGuestsJoin(std::size_t inGuests, std::chrono::microseconds inAfter);
    Nanoseconds BearGuestWhileMembersAreAway(const Members& inAway, std::chrono::microseconds inTime);
    Nanoseconds StopBroker(std::chrono::microseconds inTime);

    /// From inSince on until all these have heard of each other.
    Nanoseconds AwaitBack(const Members& inMembers, std::int64_t inSince);

    Stage& mStage;
    Board& mBoard;
    const Members mAll;
};

}  // namespace campaign::kills
