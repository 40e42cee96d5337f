/// Gets a connection to the user's broker, and a broker when there is none. One thread.
#pragma once

#include <optional>
#include <string>

#include "BrokerStart.h"
#include "wire/FileDescriptor.h"
#include "wire/Types.h"

namespace orvane::plexa::message5 {

class Connector {
  public:
    /// inProgram: the broker's program, if it is known.
    Connector(std::string inRuntimeDirectory, std::optional<std::string> inProgram);

    /// Tries once and doesn't wait; starts a broker if nobody else does. After an attempt without success the
    /// next one is worth while at Next().
    wire::FileDescriptor Attempt(wire::TimePoint inNow);
    wire::TimePoint Next() const noexcept { return mNext; }
    /// The broker has taken this process in: a next attempt comes at once.
    void Succeeded() noexcept;
    /// What was wrong at the last attempt, a sentence; empty when it was nothing or is to be expected.
    const std::string& Trouble() const noexcept { return mTrouble; }

  private:
    wire::FileDescriptor TryConnect(bool& outAbsent);
    void Start(wire::TimePoint inNow, wire::FileDescriptor& outSocket);
    void EndStart(wire::TimePoint inNow);

    std::string mDirectory;
    std::string mSocketPath;
    std::optional<std::string> mProgram;
    wire::TimePoint mNext{};
    wire::Duration mPause{};
    std::string mTrouble;

    // Since when somebody else holds the start lock, while nobody listens.
    std::optional<wire::TimePoint> mLockedOut;
    // A start of ours that is under way; the lock is held for as long.
    std::optional<StartLock> mLock;
    std::optional<BrokerStart> mStart;
    wire::TimePoint mStarted{};
    wire::TimePoint mNextStart{};
    wire::Duration mStartPause{};
};

}  // namespace orvane::plexa::message5
