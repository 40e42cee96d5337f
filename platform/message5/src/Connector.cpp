#include "Connector.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <unistd.h>

#include "Socket.h"
#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::message5 {

using wire::Duration;
using wire::FileDescriptor;
using wire::TimePoint;

namespace {

constexpr Duration kFirstPause = std::chrono::milliseconds(1);
constexpr Duration kLongestPause = std::chrono::milliseconds(50);
/// A program that doesn't become a broker isn't run over and over.
constexpr Duration kFirstStartPause = std::chrono::milliseconds(100);
constexpr Duration kLongestStartPause = std::chrono::seconds(5);
constexpr Duration kStartTime = std::chrono::seconds(10);
/// Who holds the start lock for longer, and nobody listens, stands still. Of brokers that several start then,
/// one remains.
constexpr Duration kStartLockTime = std::chrono::seconds(3);

void Lengthen(Duration& ioPause, Duration inFirst, Duration inLongest) {
    ioPause = ioPause == Duration::zero() ? inFirst : std::min(ioPause * 2, inLongest);
}

}  // namespace

Connector::Connector(std::string inRuntimeDirectory, std::optional<std::string> inProgram)
    : mDirectory(std::move(inRuntimeDirectory)),
      mSocketPath(wire::RuntimePath(mDirectory, wire::kSocketName)),
      mProgram(std::move(inProgram)) {}

void Connector::Succeeded() noexcept {
    mPause = Duration::zero();
    mStartPause = Duration::zero();
    mNext = {};
    mNextStart = {};
}

FileDescriptor Connector::TryConnect(bool& outAbsent) {
    ConnectResult result = Connect(mSocketPath);
    outAbsent = result.absent;
    // That nobody listens for a moment is the usual course of a start.
    mTrouble = result.absent ? std::string() : std::move(result.trouble);
    return std::move(result.socket);
}

FileDescriptor Connector::Attempt(TimePoint inNow) {
    Lengthen(mPause, kFirstPause, kLongestPause);
    mNext = inNow + mPause;
    mTrouble = wire::EnsureRuntimeDirectory(mDirectory, ::geteuid());
    if (!mTrouble.empty()) {
        return {};
    }
    bool absent = false;
    FileDescriptor socket = TryConnect(absent);
    if (socket) {
        mStart.reset();
        mLock.reset();
        mLockedOut.reset();
        return socket;
    }
    if (absent) {
        try {
            Start(inNow, socket);
        } catch (const std::exception& error) {
            mTrouble = error.what();
            EndStart(inNow);
        }
    }
    return socket;
}

void Connector::Start(TimePoint inNow, FileDescriptor& outSocket) {
    if (mStart) {
        // Ready, and yet not to be connected to a moment ago: the next attempt shows.
        const bool ended = mStart->Poll() == BrokerStart::State::kEnded;
        if (ended || inNow - mStarted > kStartTime) {
            mTrouble = "the broker \"" + *mProgram + "\" " +
                       (ended ? "ended before it was ready" : "doesn't become ready");
            EndStart(inNow);
        }
        return;
    }
    if (inNow < mNextStart) {
        return;
    }
    if (!mProgram) {
        mTrouble = "no broker runs, and its program is not installed";
        EndStart(inNow);
        return;
    }
    std::optional<StartLock> lock = StartLock::TryTake(mDirectory);
    if (!lock) {
        if (!mLockedOut) {
            mLockedOut = inNow;
        }
        if (inNow - *mLockedOut < kStartLockTime) {
            return;
        }
    } else {
        mLockedOut.reset();
    }
    // Whoever held the lock before may have started one since the last attempt.
    bool absent = false;
    outSocket = TryConnect(absent);
    if (absent) {
        mStart.emplace(*mProgram);
        if (lock) {
            mLock.emplace(std::move(*lock));
        }
        mStarted = inNow;
    }
}

void Connector::EndStart(TimePoint inNow) {
    mStart.reset();
    mLock.reset();
    Lengthen(mStartPause, kFirstStartPause, kLongestStartPause);
    mNextStart = inNow + mStartPause;
}

}  // namespace orvane::plexa::message5
