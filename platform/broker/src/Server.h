/// The broker's life: lets clients in, runs the rounds, leaves when idle or told to. Single-threaded.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "Listener.h"
#include "Log.h"
#include "MembersFile.h"
#include "Poller.h"
#include "RunningClock.h"
#include "Switchboard.h"
#include "wire/Limits.h"

namespace orvane::plexa::broker {

enum class EndReason : std::uint8_t {
    /// Nobody was connected for the time given.
    kIdle,
    /// SIGTERM or SIGINT.
    kSignal,
    /// Another broker, or a service manager, has taken the place where clients look.
    kReplaced,
};

/// What a server is handed; it opens nothing itself but connections.
struct ServerParts {
    std::string runtimeDirectory;
    MembersFile members;
    Listener listener;
    /// Becomes readable when the server is to end.
    FileDescriptor termination;
    /// How long to stay after the last client; zero: for ever.
    std::chrono::seconds idleExit{0};
};

class Server {
  public:
    /// inLog must outlive the server.
    Server(ServerParts inParts, const wire::Limits& inLimits, Log& inLog);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Returns when the server has ended; its socket is then gone, and after kIdle the members file too.
    /// Throws std::system_error when the system fails it.
    EndReason Run();

  private:
    void WatchListener();
    void ReplaceListener();
    void OnConnecting();
    void ResumeAccepting();
    std::optional<wire::TimePoint> IdleDeadline();
    bool Leave();
    bool KeepPlace();
    bool RestorePlace();
    void WindUp();
    void RunRound(std::optional<wire::TimePoint> inDeadline);
    std::string DescribeStatus() const;

    const wire::Limits mLimits;
    ServerParts mParts;
    Log& mLog;
    Poller mPoller;
    Switchboard mSwitchboard;
    const wire::TimePoint mStarted;
    RunningClock mClock;
    wire::TimePoint mNow;
    Poller::Token mListenerToken = 0;
    Poller::Token mTerminationToken = 0;
    bool mTerminated = false;
    std::optional<wire::TimePoint> mIdleSince;
    /// When accepting goes on, after the system could take nobody in.
    std::optional<wire::TimePoint> mAcceptAgain;
    std::optional<wire::TimePoint> mLastTurnAwayLogged;

    // Whether clients find this broker, and no other beside it.
    wire::TimePoint mLookAgain;
    std::string mPlaceTrouble;
};

}  // namespace orvane::plexa::broker
