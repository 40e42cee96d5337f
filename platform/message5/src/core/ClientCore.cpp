#include "ClientCore.h"

#include <algorithm>
#include <utility>

#include "wire/Rules.h"

namespace orvane::plexa::message5 {

using wire::FrameKind;
using wire::RefuseCode;
using wire::Rule;
using wire::TimePoint;
using wire::WireError;

ClientCore::ClientCore(const wire::Limits& inLimits, wire::BufferPool& inPool, ClientSettings inSettings)
    : mLimits(inLimits),
      mPool(inPool),
      mSettings(std::move(inSettings)),
      mSender(inLimits, inPool),
      mReceiver(inLimits) {}

void ClientCore::OnConnected(TimePoint /*inNow*/) {
    mState = State::kGreeting;
    wire::Write(mOutput, mPool, wire::Hello{});
}

void ClientCore::OnConnectionLost(TimePoint /*inNow*/) {
    mOutput.Clear();
    mSender.OnConnectionLost();
    mReceiver.OnConnectionLost();
    if (!wire::Holds(Rule::kPositionsOutliveConnections) ||
        (!wire::Holds(Rule::kPositionsOutliveExpiry) && mMember == 0)) {
        mReceiver.ForgetPositions();
    }
    mRoster.OnConnectionLost();
    mSlot = wire::kNoSlot;
    if (mState != State::kLeft && mState != State::kRefused) {
        mState = State::kDisconnected;
    }
}

WireError ClientCore::OnFrame(const wire::Frame& inFrame, TimePoint inNow) {
    const FrameKind kind = inFrame.Kind();
    switch (mState) {
        case State::kGreeting:
            if (kind == FrameKind::Welcome) {
                return OnWelcome(inFrame);
            }
            break;
        case State::kJoining:
            if (kind == FrameKind::Peer) {
                return OnPeer(inFrame, inNow);
            }
            if (kind == FrameKind::Joined) {
                return OnJoined(inFrame);
            }
            break;
        case State::kJoined:
            if (kind != FrameKind::Welcome && kind != FrameKind::Refuse && kind != FrameKind::Joined) {
                return OnMemberFrame(inFrame, inNow);
            }
            break;
        case State::kDisconnected:
        case State::kLeft:
        case State::kRefused:
            return WireError::kNone;
    }
    if (kind == FrameKind::Refuse) {
        return OnRefuse(inFrame);
    }
    return wire::IsSkippable(kind) ? WireError::kNone : WireError::kOutOfOrder;
}

WireError ClientCore::OnWelcome(const wire::Frame& inFrame) {
    wire::Welcome welcome;
    const WireError error = wire::Read(inFrame, welcome);
    if (error != WireError::kNone) {
        return error;
    }
    if (welcome.maxPayload < mLimits.maxPayload) {
        mState = State::kRefused;  // it will say the same the next time
        return WireError::kSmallPayload;
    }
    mSender.SetFirstWindow(welcome.firstWindow);
    mReceiver.SetFirstWindow(welcome.firstWindow);
    wire::Join join;
    join.appId = mSettings.appId;
    join.member = mMember;
    join.nonce = mSettings.nonce;
    // A withdrawn receiver that returns must first tell how far it came; then it withdraws again.
    join.receives = mSettings.receives && (mMember != 0 || !mReceiver.Withdrawn());
    join.interest = mSettings.interest;
    join.nextLive = mSender.NextLive();
    join.carriedFrom = mMember == 0 ? mSender.CarriedFrom() : join.nextLive;
    wire::Write(mOutput, mPool, join);
    mState = State::kJoining;
    return WireError::kNone;
}

WireError ClientCore::OnRefuse(const wire::Frame& inFrame) {
    wire::Refusal refusal;
    const WireError error = wire::Read(inFrame, refusal);
    if (error != WireError::kNone) {
        return error;
    }
    mRefusalText = refusal.text;
    switch (refusal.code) {
        case RefuseCode::Expired:
            if (mState != State::kJoining) {
                return WireError::kOutOfOrder;
            }
            mMember = 0;
            mSender.OnExpired();
            break;
        case RefuseCode::Ending:
        case RefuseCode::Members:
        case RefuseCode::Connections:
            break;
        default:
            mState = State::kRefused;
            break;
    }
    return WireError::kRefused;
}

WireError ClientCore::OnPeer(const wire::Frame& inFrame, TimePoint inNow) {
    wire::PeerNotice peer;
    const WireError error = wire::Read(inFrame, mLimits, peer);
    if (error != WireError::kNone) {
        return error;
    }
    if (peer.member == mMember || (peer.slot != wire::kNoSlot && peer.slot == mSlot)) {
        return WireError::kBadIdentity;
    }
    mRoster.OnPeer(peer);
    mReceiver.OnPeer(peer, mOutput, mPool);
    mSender.OnPeer(peer, inNow);
    return WireError::kNone;
}

WireError ClientCore::OnJoined(const wire::Frame& inFrame) {
    wire::Joined joined;
    const WireError error = wire::Read(inFrame, joined);
    if (error != WireError::kNone) {
        return error;
    }
    if ((mMember != 0 && joined.member != mMember) || mRoster.Has(joined.member, joined.slot)) {
        return WireError::kBadIdentity;
    }
    mMember = joined.member;
    mSlot = joined.slot;
    mInstance = joined.instance;
    mState = State::kJoined;
    mRoster.OnJoined();
    mReceiver.OnJoined();
    mSender.OnJoined();
    mWithdrawalTold = false;
    WriteWithdrawal();
    return WireError::kNone;
}

WireError ClientCore::OnMemberFrame(const wire::Frame& inFrame, TimePoint inNow) {
    switch (inFrame.Kind()) {
        case FrameKind::Data:
            return mReceiver.OnData(inFrame);
        case FrameKind::Peer:
            return OnPeer(inFrame, inNow);
        case FrameKind::Position: {
            wire::Position position;
            const WireError error = wire::Read(inFrame, position);
            if (error == WireError::kNone) {
                mSender.OnPosition(inFrame.Header().source(), position, inNow);
            }
            return error;
        }
        case FrameKind::Report: {
            std::span<const wire::ReportEntry> entries;
            const WireError error = wire::Read(inFrame, entries);
            return error != WireError::kNone ? error
                                             : mSender.OnReport(inFrame.Header().sequence(), entries, inNow);
        }
        default:
            return WireError::kNone;  // only kinds that may be skipped are left
    }
}

void ClientCore::Flush(TimePoint inNow) {
    if (mState != State::kJoined) {
        return;
    }
    WriteWithdrawal();
    mSender.Pump(mOutput, inNow);
    if (mReceiver.AcksPending() && (!mOutput.Empty() || mReceiver.AcksDue(inNow))) {
        mReceiver.WriteAcks(mOutput, mPool);
    }
}

void ClientCore::Tick(TimePoint inNow) { mSender.Tick(inNow); }

std::optional<TimePoint> ClientCore::NextFlush() const {
    return mState == State::kJoined ? wire::Earlier(mSender.NextPump(), mReceiver.NextAcks()) : std::nullopt;
}

void ClientCore::SetInterest(wire::Interest inInterest) {
    mSettings.interest = std::move(inInterest);
    if (mState == State::kJoining || mState == State::kJoined) {
        wire::WriteInterest(mOutput, mPool, mSettings.interest);
    }
}

void ClientCore::StopReceiving() {
    mReceiver.Withdraw();
    WriteWithdrawal();
}

/// The senders take what was not acknowledged before this for not delivered: so nothing may be in a
/// listener's hands.
void ClientCore::WriteWithdrawal() {
    if (mState == State::kJoined && mReceiver.Withdrawn() && !mReceiver.InHand() && !mWithdrawalTold) {
        mReceiver.WriteAcks(mOutput, mPool);
        wire::WriteLeave(mOutput, mPool, wire::LeaveScope::Receiver);
        mWithdrawalTold = true;
    }
}

void ClientCore::Leave() {
    mSender.Abandon(FailureReason::kLeaving);
    if (mState == State::kJoined) {
        mReceiver.WriteAcks(mOutput, mPool);  // for the reason WriteWithdrawal has
        wire::WriteLeave(mOutput, mPool, wire::LeaveScope::Member);
    }
    mState = State::kLeft;
}

}  // namespace orvane::plexa::message5
