/// Exit codes of the program.
#pragma once

namespace orvane::plexa::zarnd {

inline constexpr int kExitSuccess = 0;
/// Something on this machine keeps the service from running; stderr says what.
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;
/// Another service with another data folder is on the bus.
inline constexpr int kExitOtherServes = 3;

}  // namespace orvane::plexa::zarnd
