// What was promised in a run, and whether it is being kept.
#pragma once

#include <array>
#include <string>

#include "Fingerprint.h"
#include "SendFailure.h"
#include "Setup.h"

namespace orvane::plexa::test {

class Ledger {
  public:
    explicit Ledger(const Setup& inSetup) : mSetup(inSetup) {}

    /// inReady: the set of clients that a broadcast has to reach. Of one that was refused nothing is
    /// expected.
    void OnSent(std::size_t inMessage, unsigned inReady, bool inAccepted);
    void OnReceived(std::size_t inReceiver, std::size_t inMessage);
    void OnFailed(std::size_t inReceiver, std::size_t inMessage, message5::FailureKind inKind);
    /// A broadcast that no receiver is known for.
    void OnFailedForAll(std::size_t inMessage, message5::FailureKind inKind);
    /// Nobody counts on broadcasts for that client any more: it has gone.
    void OnGone(std::size_t inReceiver);
    /// It has been forgotten as a member, and is somebody else when it comes back.
    void OnForgotten(std::size_t inReceiver);
    /// Nobody counts on its messages any more: its process has ended.
    void OnEnded(std::size_t inSender);

    bool Sent(std::size_t inMessage) const { return mSent[inMessage]; }
    bool Wanted(std::size_t inReceiver, std::size_t inMessage) const;
    /// The first promise that was broken, or nothing.
    const char* Broken() const { return mBroken; }
    /// Empty when everything has arrived or was reported.
    std::string Missing() const;
    /// Where Broken happened.
    std::string Place() const;
    void AddTo(Hash& ioHash) const;

  private:
    struct Entry {
        bool owed = false;
        bool received = false;
        bool failed = false;
        bool failedForCertain = false;
    };
    /// A failure may concern whom the receiver was before, an arrival whom it is now.
    bool Ambiguous(std::size_t inReceiver, std::size_t inMessage) const;
    void Break(const char* inWhat, std::size_t inReceiver, std::size_t inMessage);

    const Setup& mSetup;
    std::array<bool, kMostMessages> mSent{};
    std::array<std::array<Entry, kMostClients>, kMostMessages> mEntries{};
    std::array<bool, kMostClients> mForgotten{};
    const char* mBroken = nullptr;
    std::size_t mReceiver = 0;
    std::size_t mMessage = 0;
};

}  // namespace orvane::plexa::test
