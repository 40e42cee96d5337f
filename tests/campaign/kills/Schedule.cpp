#include "Schedule.h"

#include <algorithm>
#include <numeric>

#include "support/Random.h"

namespace campaign::kills {

namespace {

std::chrono::microseconds Milliseconds(Random& ioRandom, std::uint64_t inLeast, std::uint64_t inMost) {
    return std::chrono::microseconds(inLeast * 1000 + ioRandom.Below((inMost - inLeast) * 1000 + 1));
}

// One to all of them.
std::vector<std::size_t> SomeMembers(Random& ioRandom, std::size_t inMembers) {
    std::vector<std::size_t> members(inMembers);
    std::iota(members.begin(), members.end(), std::size_t{0});
    std::shuffle(members.begin(), members.end(), ioRandom.Engine());
    members.resize(1 + ioRandom.Below(inMembers));
    return members;
}

Fault MakeFault(FaultKind inKind, Random& ioRandom, std::size_t inMembers) {
    Fault fault{inKind, Milliseconds(ioRandom, 0, 200)};
    switch (inKind) {
        case FaultKind::kKill:
        case FaultKind::kTerm:
        case FaultKind::kReplace:
            break;
        case FaultKind::kLoss:
            fault.mMembers = SomeMembers(ioRandom, inMembers);
            break;
        case FaultKind::kDouble:
            fault.mLasting = Milliseconds(ioRandom, 0, 100);
            break;
        case FaultKind::kJoin:
            fault.mLasting = Milliseconds(ioRandom, 0, 80);
            fault.mGuests = 1 + ioRandom.Below(3);
            break;
        case FaultKind::kBirth:
            fault.mLasting = Milliseconds(ioRandom, 0, 300);
            fault.mMembers = SomeMembers(ioRandom, inMembers);
            fault.mGuests = 1;
            break;
        case FaultKind::kStop:
            fault.mLasting = Milliseconds(ioRandom, 100, 3000);
            break;
    }
    return fault;
}

}  // namespace

std::vector<Fault> MakeSchedule(std::uint64_t inSeed, const std::array<std::uint64_t, kFaultKinds>& inCounts,
                                std::size_t inMembers) {
    Random random(inSeed);
    std::vector<FaultKind> kinds;
    for (std::size_t kind = 0; kind != kFaultKinds; ++kind)
        kinds.insert(kinds.end(), inCounts[kind], static_cast<FaultKind>(kind));
    std::shuffle(kinds.begin(), kinds.end(), random.Engine());
    std::vector<Fault> schedule;
    schedule.reserve(kinds.size());
    for (const FaultKind kind : kinds) schedule.push_back(MakeFault(kind, random, inMembers));
    return schedule;
}

}  // namespace campaign::kills
