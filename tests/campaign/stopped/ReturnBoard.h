/// When each client heard what was sent after each kill of the broker.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "support/SharedBoard.h"

namespace campaign::stopped {

inline constexpr std::size_t kMostClients = 512;
inline constexpr std::size_t kMostRounds = 256;
/// The word that ends it. Every other one is the number of a kill; 0 is before the first.
inline constexpr std::uint32_t kNoMoreRounds = UINT32_MAX;

struct ReturnBoard {
    /// Moments, in nanoseconds; 0: not yet.
    struct Hearing {
        std::atomic<std::uint64_t> mFromNeighbour;
        std::atomic<std::uint64_t>
            mFromFirst;  ///< what the first client sends to all; it doesn't hear it itself
    };
    struct Client {
        std::array<Hearing, kMostRounds> mHearings;
        std::atomic<std::uint32_t> mWrong;  ///< errors, and messages that came twice or unasked
    };

    std::atomic<std::uint32_t> mRound;
    std::atomic<std::uint32_t> mReady;
    std::uint32_t mCount = 0;
    std::array<Client, kMostClients> mClients;
};

std::string ClientName(std::size_t inClient);

}  // namespace campaign::stopped
