// Every order of events of a set-up, depth first. A state that was met before is not entered again.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Model.h"

namespace orvane::plexa::test {

struct Outcome {
    std::uint64_t states = 0;
    std::uint64_t transitions = 0;
    std::uint64_t ends = 0;
    std::size_t depth = 0;
    double seconds = 0;
    /// False: the time was up before everything was seen.
    bool finished = true;
    /// Empty: the promise held in every state, and was complete in every end state.
    std::string broken;
    /// How it came to that, one line a step.
    std::vector<std::string> story;
};

/// Stops at the first broken promise, whose story is then shortened. With inWanted, only at one whose text
/// holds that; what another breaks is not searched further. One line is printed about the search.
Outcome Search(const Setup& inSetup, std::chrono::seconds inMost, std::string_view inWanted = {});

}  // namespace orvane::plexa::test
