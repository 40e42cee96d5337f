// How the search was asked for on the command line.
#pragma once

#include <chrono>

namespace orvane::plexa::test {

/// The wide set-ups, with a limit of time for each, instead of the small ones.
bool SearchLong();
std::chrono::seconds MostSeconds();

}  // namespace orvane::plexa::test
