#include "Setups.h"

#include <stdexcept>

#include "SetupClients.h"

namespace orvane::plexa::test {
namespace {

std::vector<Setup> MakeShort() {
    std::vector<Setup> setups;
    for (const auto& make : {MakeFaults, MakeGoing, MakePairs}) {
        for (Setup& setup : make()) {
            setup.slowSnapshots = setup.clients.size() == 2;
            setups.push_back(std::move(setup));
        }
    }
    return setups;
}

}  // namespace

const std::vector<Setup>& ShortSetups() {
    static const std::vector<Setup> sSetups = MakeShort();
    return sSetups;
}

const std::vector<Setup>& LongSetups() {
    static const std::vector<Setup> sSetups = MakeWide();
    return sSetups;
}

const Setup& FindSetup(const char* inName) {
    for (const auto* setups : {&ShortSetups(), &LongSetups()}) {
        for (const Setup& setup : *setups) {
            if (setup.name == inName) {
                return setup;
            }
        }
    }
    throw std::invalid_argument(inName);
}

}  // namespace orvane::plexa::test
