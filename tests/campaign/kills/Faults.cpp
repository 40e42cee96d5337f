#include "Faults.h"

#include <algorithm>
#include <csignal>
#include <numeric>
#include <stdexcept>
#include <string>

#include "Account.h"
#include "Roles.h"

namespace campaign::kills {

namespace {

std::vector<std::size_t> FirstNumbers(std::size_t inCount) {
    std::vector<std::size_t> numbers(inCount);
    std::iota(numbers.begin(), numbers.end(), std::size_t{0});
    return numbers;
}

}  // namespace

Faults::Faults(Stage& ioStage)
    : mStage(ioStage), mBoard(ioStage.TheBoard()), mAll(FirstNumbers(ioStage.Members())) {}

std::chrono::nanoseconds Faults::Perform(const Fault& inFault) {
    mStage.Pause(inFault.mBefore);
    switch (inFault.mKind) {
        case FaultKind::kKill:
            return EndBroker(SIGKILL);
        case FaultKind::kLoss:
            return LoseConnections(inFault.mMembers);
        case FaultKind::kTerm:
            return EndBroker(SIGTERM);
        case FaultKind::kReplace:
            return ExchangeProgram();
        case FaultKind::kDouble:
            return EndTwoBrokers(inFault.mLasting);
        case FaultKind::kJoin:
            return EndBrokerWhileGuestsJoin(inFault.mGuests, inFault.mLasting);
        case FaultKind::kBirth:
            return BearGuestWhileMembersAreAway(inFault.mMembers, inFault.mLasting);
        case FaultKind::kStop:
            return StopBroker(inFault.mLasting);
    }
    throw std::logic_error("there is no such fault");
}

Faults::Nanoseconds Faults::EndBroker(int inSignal) {
    const pid_t broker = mStage.AwaitBroker();
    const std::int64_t since = Now();
    BrokerControl::End(broker, inSignal);
    ++mBoard.mFault;
    return AwaitBack(mAll, since);
}

Faults::Nanoseconds Faults::EndTwoBrokers(std::chrono::microseconds inBetween) {
    const pid_t first = mStage.AwaitBroker();
    BrokerControl::End(first, SIGKILL);
    const pid_t second = mStage.AwaitBroker(first);
    mStage.Pause(inBetween);
    const std::int64_t since = Now();
    BrokerControl::End(second, SIGKILL);
    ++mBoard.mFault;
    return AwaitBack(mAll, since);
}

Faults::Nanoseconds Faults::ExchangeProgram() {
    const std::filesystem::path program = mStage.ExchangeProgram();
    const Nanoseconds time = EndBroker(SIGTERM);
    if (BrokerControl::Program(mStage.AwaitBroker()) != program)
        throw std::runtime_error("the broker isn't the new program");
    return time;
}

Faults::Nanoseconds Faults::LoseConnections(const Members& inMembers) {
    const std::int64_t since = Now();
    std::vector<std::uint64_t> before;
    for (const std::size_t member : inMembers) {
        before.push_back(mBoard.mPlaces[member].mBreaks);
        mStage.Signal(member, kBreakSignal);
    }
    mStage.Await("connections to be broken", [&] {
        std::string missing;
        for (std::size_t i = 0; i != inMembers.size(); ++i)
            if (mBoard.mPlaces[inMembers[i]].mBreaks == before[i])
                missing += "  P" + std::to_string(inMembers[i]) + " hasn't yet\n";
        return missing;
    });
    ++mBoard.mFault;
    return AwaitBack(mAll, since);
}

Faults::Nanoseconds Faults::EndBrokerWhileGuestsJoin(std::size_t inGuests,
                                                     std::chrono::microseconds inAfter) {
    for (std::size_t i = 0; i != inGuests; ++i) mStage.Invite();
    mStage.Pause(inAfter);
    return EndBroker(SIGKILL);
}

Faults::Nanoseconds Faults::BearGuestWhileMembersAreAway(const Members& inAway,
                                                         std::chrono::microseconds inTime) {
    Members awake;
    for (const std::size_t member : mAll)
        if (std::find(inAway.begin(), inAway.end(), member) == inAway.end()) awake.push_back(member);
    for (const std::size_t member : inAway) mStage.Stop(member);
    const pid_t broker = mStage.AwaitBroker();
    const std::int64_t killed = Now();
    BrokerControl::End(broker, SIGKILL);
    ++mBoard.mFault;
    const std::size_t guest = mStage.Invite();
    const Nanoseconds first = AwaitBack(awake, killed);
    mStage.Await("a sender that was born meanwhile", [&] {
        if (mBoard.mPlaces[guest].mBroadcasts < kGuestsFirstBroadcasts) return "  it hasn't sent\n";
        for (const std::size_t member : awake)
            if (mBoard.mLanes[guest][member].mReceivedBroadcasts < kGuestsFirstBroadcasts)
                return "  a member hasn't got its broadcasts\n";
        return "";
    });
    mStage.Pause(inTime);
    const std::int64_t returned = Now();
    ++mBoard.mFault;
    for (const std::size_t member : inAway) mStage.Signal(member, SIGCONT);
    return std::max(first, AwaitBack(mAll, returned));
}

Faults::Nanoseconds Faults::StopBroker(std::chrono::microseconds inTime) {
    // Whoever leaves waits for hand-over only so long.
    mStage.AwaitGuestsGone();
    const pid_t broker = mStage.AwaitBroker();
    BrokerControl::Stop(broker);
    mStage.Pause(inTime);
    const std::int64_t since = Now();
    ++mBoard.mFault;
    BrokerControl::Continue(broker);
    return AwaitBack(mAll, since);
}

Faults::Nanoseconds Faults::AwaitBack(const Members& inMembers, std::int64_t inSince) {
    const std::uint64_t fault = mBoard.mFault;
    mStage.Await("everybody to be back", [&] { return WhoIsNotBack(mBoard, inMembers, fault); });
    mStage.Broker().CheckOthers();
    std::int64_t last = inSince;
    for (const std::size_t sender : inMembers)
        for (const std::size_t receiver : inMembers)
            last = std::max<std::int64_t>(last, mBoard.mLanes[sender][receiver].mFaultAt);
    return Nanoseconds(last - inSince);
}

}  // namespace campaign::kills
