#include "Server.h"

#include <cerrno>
#include <system_error>

#include <sys/epoll.h>

#include "StatusText.h"
#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::broker {

namespace {

constexpr int kAcceptsPerRound = 64;
constexpr std::chrono::milliseconds kAcceptPause{100};
constexpr std::chrono::seconds kTurnAwayLogInterval{1};
/// How long an ending broker goes on writing what waits; what isn't written is written again by its senders
/// later.
constexpr std::chrono::milliseconds kWindUpTime{500};

}  // namespace

Server::Server(ServerParts inParts, const wire::Limits& inLimits, Log& inLog)
    : mLimits(inLimits),
      mParts(std::move(inParts)),
      mLog(inLog),
      mSwitchboard(mLimits, mPoller, mParts.members, mLog, [this] { return DescribeStatus(); }),
      mStarted(std::chrono::steady_clock::now()),
      mClock(mStarted),
      mNow(mStarted),
      mLookAgain(mStarted) {
    mTerminationToken =
        mPoller.Add(mParts.termination.Get(), EPOLLIN, [this](std::uint32_t) { mTerminated = true; });
    WatchListener();
}

Server::~Server() {
    mPoller.Remove(mListenerToken);
    mPoller.Remove(mTerminationToken);
}

EndReason Server::Run() {
    for (;;) {
        const std::optional<wire::TimePoint> idleDeadline = IdleDeadline();
        if (idleDeadline && *idleDeadline <= mNow && Leave()) return EndReason::kIdle;
        if (!KeepPlace()) {
            WindUp();
            return EndReason::kReplaced;
        }
        RunRound(wire::Earlier(idleDeadline, wire::Earlier(mAcceptAgain, mLookAgain)));
        ResumeAccepting();
        if (mTerminated) {
            WindUp();
            return EndReason::kSignal;
        }
    }
}

void Server::RunRound(std::optional<wire::TimePoint> inDeadline) {
    const std::optional<wire::TimePoint> deadline = wire::Earlier(inDeadline, mSwitchboard.NextDeadline());
    std::optional<wire::Duration> timeout;
    if (deadline) timeout = *deadline - mClock.At(std::chrono::steady_clock::now());
    mPoller.Wait(timeout);
    mNow = mClock.Advance(std::chrono::steady_clock::now(), deadline);
    mSwitchboard.BeginRound(mNow);
    mPoller.Dispatch();
    mSwitchboard.FinishRound();
}

void Server::WatchListener() {
    mListenerToken =
        mPoller.Add(mParts.listener.Descriptor(), EPOLLIN, [this](std::uint32_t) { OnConnecting(); });
}

void Server::ReplaceListener() {
    Listener anew = Listener::Bind(wire::RuntimePath(mParts.runtimeDirectory, wire::kSocketName));
    // Who waits at the old one is let in before it is closed.
    OnConnecting();
    mPoller.Remove(mListenerToken);
    mParts.listener = std::move(anew);
    WatchListener();
    mAcceptAgain.reset();
}

void Server::OnConnecting() {
    for (int count = 0; count < kAcceptsPerRound; ++count) {
        FileDescriptor connection;
        switch (mParts.listener.Accept(connection)) {
            case AcceptResult::kAccepted:
                mSwitchboard.Admit(std::move(connection));
                break;
            case AcceptResult::kNone:
                return;
            case AcceptResult::kTurnedAway:
                if (!mLastTurnAwayLogged || mNow - *mLastTurnAwayLogged >= kTurnAwayLogInterval) {
                    mLog.warn(
                        "a client was turned away: no file descriptor is left; raise the limit (ulimit -n)");
                    mLastTurnAwayLogged = mNow;
                }
                break;
            case AcceptResult::kLater:
                mPoller.Change(mListenerToken, 0);
                mAcceptAgain = mNow + kAcceptPause;
                return;
        }
    }
}

void Server::ResumeAccepting() {
    if (!mAcceptAgain || *mAcceptAgain > mNow) return;
    mAcceptAgain.reset();
    mPoller.Change(mListenerToken, EPOLLIN);
}

std::optional<wire::TimePoint> Server::IdleDeadline() {
    if (mParts.idleExit == std::chrono::seconds(0) || !mSwitchboard.Idle()) {
        mIdleSince.reset();
        return std::nullopt;
    }
    if (!mIdleSince) mIdleSince = mNow;
    return *mIdleSince + mParts.idleExit;
}

bool Server::Leave() {
    // Who connected before the socket was taken away is served; who comes later starts another broker.
    mParts.listener.Unlink();
    OnConnecting();
    if (mSwitchboard.Idle()) {
        mParts.members.Unlink();
        return true;
    }
    if (!mParts.listener.Adopted()) ReplaceListener();
    mIdleSince.reset();
    return false;
}

void Server::WindUp() {
    mPoller.Remove(mListenerToken);
    mPoller.Remove(mTerminationToken);
    mSwitchboard.WindUp();
    const wire::TimePoint deadline = mNow + kWindUpTime;
    while (!mSwitchboard.AllWritten() && mNow < deadline) RunRound(deadline);
    // As long as the lock is held nobody else can serve, so nobody is to find the socket missing and start a
    // broker in vain: who comes now waits at it, and looks again when it is closed.
    mParts.listener.Unlink();
    // Before the connections end: whoever sees that may start the next broker at once.
    mParts.members.Release();
}

std::string Server::DescribeStatus() const {
    StatusFacts facts;
    facts.runtimeDirectory = mParts.runtimeDirectory;
    facts.processId = static_cast<std::uint32_t>(::getpid());
    facts.uptime =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - mStarted);
    facts.connections = mSwitchboard.Totals();
    facts.limits = mLimits;
    facts.core = mSwitchboard.Status();
    return StatusText(facts, mLimits.maxControlPayload);
}

}  // namespace orvane::plexa::broker
