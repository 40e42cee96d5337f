// A receiver that stands still, or is slow, among others that aren't.
#include <iostream>
#include <stdexcept>

#include "Campaigns.h"
#include "Scenes.h"

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
    Random random(seed);
    const Plan plan{static_cast<std::uint32_t>(1000000000 / rate), 0, kReceivers, 1, payload};
    const bool paired = RunPaired({pairs, phase, plan}, random);
    const bool cutOff = RunCutOff(plan, random);
    const bool slow = RunSlow(plan);
    return paired && cutOff && slow ? 0 : 1;
}

}  // namespace campaign
