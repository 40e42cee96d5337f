/// Every bound of client and broker, with its default. Plain values, set once before the cores are made.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "wire/Types.h"

namespace orvane::plexa::wire {

/// Names a bound in error texts and logs.
enum class LimitName : std::uint8_t {
    kNone,
    kPayload,
    kTypeText,
    kLog,
    kLogReserve,
    kArrears,
};

/// The bound's name as users read it, such as "log".
std::string_view Text(LimitName inName) noexcept;

struct Limits {
    // Frames. All in bytes.
    std::size_t maxPayload = std::size_t{1} << 20U;
    std::size_t maxTypeText = 4096;
    std::size_t maxControlPayload = std::size_t{128} << 10U;
    std::size_t maxAppId = 256;
    std::size_t maxInterestTypes = 1024;

    // Lanes. All in bytes.
    std::size_t firstWindow = std::size_t{64} << 10U;
    std::size_t maxWindow = std::size_t{1} << 20U;
    /// Shared by the active lanes to one receiver.
    std::size_t receiverWindows = std::size_t{8} << 20U;
    /// A sender with more on one lane than this ignores its windows. Far above maxWindow, because broadcasts
    /// written before the sender heard of a receiver count too.
    std::size_t laneOverrun = std::size_t{16} << 20U;

    // What a sender keeps. All in bytes.
    std::size_t log = std::size_t{16} << 20U;
    std::size_t logReserve = std::size_t{32} << 20U;
    std::size_t arrears = std::size_t{8} << 20U;

    // What the broker holds.
    std::size_t brokerMemory = std::size_t{64} << 20U;
    std::size_t controlQueue = std::size_t{256} << 10U;
    std::size_t connectionsPerProcess = 8;
    std::size_t members = 1024;

    // Times.
    Duration stall = std::chrono::seconds(5);
    Duration broadcastWait = std::chrono::milliseconds(20);
    Duration reportDelay = std::chrono::milliseconds(10);
    Duration ackDelay = std::chrono::milliseconds(10);
    std::size_t reportBytes = std::size_t{64} << 10U;
    Duration away = std::chrono::seconds(30);
    Duration handshake = std::chrono::seconds(5);
    Duration halfFrame = std::chrono::seconds(30);
    Duration linger = std::chrono::seconds(5);
};

}  // namespace orvane::plexa::wire
