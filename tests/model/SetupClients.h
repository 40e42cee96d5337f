// The clients that the set-ups are made of.
#pragma once

#include "Setup.h"

namespace orvane::plexa::test {

inline const Setup::Client kS{.name = "S", .receives = false};
inline const Setup::Client kT{.name = "T", .receives = false};
inline const Setup::Client kR{.name = "R"};
inline const Setup::Client kQ{.name = "Q"};
inline const Setup::Client kA{.name = "A"};
inline const Setup::Client kB{.name = "B"};

inline Setup::Client Later(Setup::Client inClient) {
    inClient.joinsLater = true;
    return inClient;
}

// The parts of the table, each in a file of its own.
std::vector<Setup> MakeFaults();
std::vector<Setup> MakeGoing();
std::vector<Setup> MakePairs();
std::vector<Setup> MakeWide();

}  // namespace orvane::plexa::test
