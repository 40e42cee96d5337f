#include "catalogue/Needs.h"

#include <algorithm>
#include <map>
#include <set>

namespace orvane::plexa::zarnd {

namespace {

std::string Place(const std::string& inModule, std::size_t inIndex) {
    return "modules." + inModule + ".needs[" + std::to_string(inIndex) + "]";
}

/// A module on the way that is walked, and the next one of its needs to look at.
struct Step {
    const ModuleSpec* mModule;
    std::size_t mNext = 0;
    std::size_t mChain = 0;  ///< modules in the longest chain of what it needs
};

[[noreturn]] void FailWithCircle(const std::vector<Step>& inWay, const std::string& inAgain) {
    const auto begin = std::find_if(inWay.begin(), inWay.end(),
                                    [&](const Step& inStep) { return inStep.mModule->mId == inAgain; });
    std::string circle;
    for (auto step = begin; step != inWay.end(); ++step) circle += step->mModule->mId + ", ";
    throw CatalogueError(Place(inWay.back().mModule->mId, inWay.back().mNext - 1) +
                         ": these modules need each other in a circle: " + circle + inAgain);
}

// Walks from one module; what is done with is in no circle, and no longer chain than it may be.
void Walk(const Catalogue& inCatalogue, const ModuleSpec& inModule,
          std::map<std::string, std::size_t>& ioDone) {
    std::vector<Step> way{{&inModule}};
    std::set<std::string> onWay{inModule.mId};
    while (!way.empty()) {
        Step& step = way.back();
        if (step.mNext == step.mModule->mNeeds.size()) {
            const std::string& id = step.mModule->mId;
            const std::size_t chain = step.mChain + 1;
            if (chain > kMaxNeedsChain) {
                throw CatalogueError("modules." + id + ".needs: more than " + std::to_string(kMaxNeedsChain) +
                                     " modules need each other one after another");
            }
            ioDone.emplace(id, chain);
            onWay.erase(id);
            way.pop_back();
            if (!way.empty()) way.back().mChain = std::max(way.back().mChain, chain);
            continue;
        }
        const std::string& needed = step.mModule->mNeeds[step.mNext++];
        if (const auto done = ioDone.find(needed); done != ioDone.end()) {
            step.mChain = std::max(step.mChain, done->second);
            continue;
        }
        if (!onWay.insert(needed).second) FailWithCircle(way, needed);
        way.push_back({&inCatalogue.mModules.at(needed)});
    }
}

}  // namespace

void CheckNeeds(const Catalogue& inCatalogue) {
    for (const auto& [id, module] : inCatalogue.mModules) {
        for (std::size_t index = 0; index != module.mNeeds.size(); ++index) {
            if (!inCatalogue.mModules.contains(module.mNeeds[index])) {
                throw CatalogueError(Place(id, index) + ": there is no module \"" + module.mNeeds[index] +
                                     "\"");
            }
        }
    }
    std::map<std::string, std::size_t> done;  // with their longest chains
    for (const auto& [id, module] : inCatalogue.mModules) {
        if (!done.contains(id)) Walk(inCatalogue, module, done);
    }
}

}  // namespace orvane::plexa::zarnd
