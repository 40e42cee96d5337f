/// The processes that take part. They end with their parent. Words: the board's file, a place on it, a seed.
#pragma once

#include <csignal>
#include <cstdint>
#include <span>

namespace campaign::kills {

/// Makes a member break its connections to the broker.
inline constexpr int kBreakSignal = SIGUSR1;
/// What a guest sends before it can know whether it has joined.
inline constexpr std::uint64_t kGuestsFirstBroadcasts = 5;

/// Sends while the board says so, and leaves upon SIGTERM.
int RunMember(std::span<char* const> inWords);
/// Joins, broadcasts at once, exchanges messages with the members for a moment, and leaves when it has
/// everything that it may expect.
int RunGuest(std::span<char* const> inWords);

}  // namespace campaign::kills
