/// What the processes of one measurement share.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

inline constexpr std::size_t kMostReceivers = 16;

struct Board {
    /// On a line of its own, because each receiver counts in its own.
    struct alignas(64) Count {
        std::atomic<std::uint64_t> mMessages;
    };

    std::array<Count, kMostReceivers> mReceived;
    std::atomic<std::uint64_t>
        mNanoseconds;  ///< from the first send until everybody had everything; 0 before
    std::atomic<std::uint64_t> mErrors;
};

struct Task {
    std::string mDirectory;  ///< of the broker
    std::size_t mReceivers = 1;
    std::uint64_t mMessages = 0;
    std::size_t mPayload = 0;
    /// How many messages the sender may be ahead of the slowest receiver. The benchmark's own measure against
    /// a flood, with and without acknowledgements, because without them nothing else keeps the broker's
    /// memory from filling.
    std::uint64_t mAhead = 0;
};

}  // namespace bench
