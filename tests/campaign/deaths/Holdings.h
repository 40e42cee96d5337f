/// What the broker, and this process as its client, hold.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>

namespace campaign::deaths {

/// What has to be the same when nobody is there as before anybody came.
struct Holdings {
    std::size_t mDescriptors = 0;  ///< open in the broker
    std::size_t mConnections = 0;  ///< the one that asks among them
    std::size_t mMembers = 0;
    std::size_t mAway = 0;         ///< of the members
    std::size_t mQueuedBytes = 0;  ///< for all members
    std::size_t mBusyLanes = 0;
    std::size_t mBufferBytes = 0;
    std::size_t mRecords = 0;         ///< in the members file
    std::size_t mOwnDescriptors = 0;  ///< open in this process
    friend bool operator==(const Holdings&, const Holdings&) = default;
};

/// inScratch: a folder for files that this needs for a moment. Throws `std::runtime_error` when the broker
/// does not answer.
Holdings HoldingsOf(pid_t inBroker, const std::filesystem::path& inRuntimeDirectory,
                    const std::filesystem::path& inScratch);
std::string Text(const Holdings& inHoldings);

/// Connections that the broker has closed for a fault of the client, so far.
std::size_t FaultyConnections();

/// Bytes of a process's heap, in which large blocks are not (Stage sees to that): those are buffers, which
/// the broker keeps for the next time or not.
std::size_t HeapOf(pid_t inProcess);
/// Bytes that this process has allocated.
std::size_t AllocatedHere();

}  // namespace campaign::deaths
