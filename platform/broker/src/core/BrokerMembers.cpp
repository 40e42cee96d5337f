// Members: joining anew, coming back, being away, going.
#include <set>

#include "BrokerState.h"
#include "wire/Rules.h"

namespace orvane::plexa::broker {

using wire::LaneStart;
using wire::PeerChange;
using wire::PeerReason;
using wire::RefuseCode;
using wire::Rule;
using wire::TimePoint;
using wire::WireError;

void BrokerCore::Restore(const MemberRecord& inRecord, TimePoint inNow) {
    if (!wire::Holds(Rule::kMembersAreRemembered)) {
        return;
    }
    auto member = std::make_unique<Member>();
    member->record = inRecord;
    member->awaySince = inNow;
    mNextMember = std::max(mNextMember, inRecord.member + 1);
    mMembers[inRecord.member] = std::move(member);
}

/// A client that never heard its number comes back with its nonce alone.
BrokerCore::Member* BrokerCore::FindReturning(const wire::Join& inJoin,
                                              const ProcessIdentity& inProcess) const {
    for (const auto& [id, member] : mMembers) {
        if ((inJoin.member == 0 || inJoin.member == id) && member->record.nonce == inJoin.nonce &&
            member->record.process == inProcess) {
            return member.get();
        }
    }
    return nullptr;
}

std::uint32_t BrokerCore::FreeInstance(const std::string& inAppId) const {
    std::set<std::uint32_t> used;
    for (const auto& [id, member] : mMembers) {
        if (member->record.appId == inAppId) {
            used.insert(member->record.instance);
        }
    }
    std::uint32_t instance = 1;
    while (used.contains(instance)) {
        ++instance;
    }
    return instance;
}

BrokerCore::Member& BrokerCore::AddMember(const wire::Join& inJoin, const ProcessIdentity& inProcess) {
    // The same process under another nonce, and no connection any more: its program was replaced.
    std::vector<wire::MemberId> replaced;
    for (const auto& [id, member] : mMembers) {
        if (member->connection == nullptr && member->record.process == inProcess) {
            replaced.push_back(id);
        }
    }
    for (const wire::MemberId id : replaced) {
        RemoveMember(id, PeerReason::Replaced);
    }
    auto member = std::make_unique<Member>();
    member->record = {mNextMember++, inJoin.nonce,   inProcess, FreeInstance(inJoin.appId),
                      inJoin.appId,  inJoin.receives};
    mActions.emplace_back(RecordMember{member->record});
    return *(mMembers[member->record.member] = std::move(member));
}

void BrokerCore::OnJoin(Connection& ioConnection, const wire::Frame& inFrame, TimePoint inNow) {
    wire::Join join;
    const WireError error = wire::Read(inFrame, mLimits, join);
    if (error != WireError::kNone) {
        Fail(ioConnection, error, inNow);
        return;
    }
    if (mNextSlot == wire::kEveryone) {
        Refuse(ioConnection, RefuseCode::Ending, WireError::kRefused, "the broker has no slot left");
        return;
    }
    Member* member = FindReturning(join, ioConnection.process);
    const LaneStart start = member == nullptr ? LaneStart::Open : LaneStart::Resume;
    if (member == nullptr) {
        if (join.member != 0) {
            Refuse(ioConnection, RefuseCode::Expired, WireError::kRefused,
                   "the member is not known any more");
            return;
        }
        if (mEnding) {
            Refuse(ioConnection, RefuseCode::Ending, WireError::kRefused, "the broker is about to end");
            return;
        }
        if (mMembers.size() >= mLimits.members) {
            Refuse(ioConnection, RefuseCode::Members, WireError::kRefused, "there are too many members");
            return;
        }
        member = &AddMember(join, ioConnection.process);
    } else if (member->connection != nullptr) {
        Drop(*member->connection, WireError::kNone, "the member came back on another connection", inNow);
    }
    member->connection = &ioConnection;
    member->receives = join.receives;
    if (!join.receives && member->record.receives) {  // it withdrew before it had heard its number
        member->record.receives = false;
        mActions.emplace_back(UpdateMember{member->record});
    }
    ioConnection.member = member;
    ioConnection.state = Connection::State::kJoined;
    if (!wire::Holds(Rule::kSlotsAreNeverReused)) {
        for (mNextSlot = 1; mBySlot.contains(mNextSlot);) {
            ++mNextSlot;
        }
    }
    ioConnection.slot = mNextSlot++;
    ioConnection.receives = join.receives;
    ioConnection.routed = join.nextLive - 1;
    ioConnection.highest = join.nextLive - 1;
    mBySlot[ioConnection.slot] = &ioConnection;
    SetInterest(ioConnection, join.interest);
    Introduce(ioConnection, join, start);
}

/// Each tells of the other, and the lanes between them begin.
void BrokerCore::Introduce(Connection& ioNewcomer, const wire::Join& inJoin, LaneStart inStart) {
    for (const auto& [id, other] : mMembers) {
        if (other.get() == ioNewcomer.member) {
            continue;
        }
        if (other->connection == nullptr) {
            if (wire::Holds(Rule::kAwayIsNotGone)) {
                wire::Write(ioNewcomer.output, mPool, other->Notice(PeerChange::Away));
            }
            continue;
        }
        Connection& peer = *other->connection;
        wire::PeerNotice toNewcomer = other->Notice(PeerChange::Up);
        toNewcomer.lane = inStart;
        toNewcomer.sendFrom = ioNewcomer.routed + 1;
        toNewcomer.receiveFrom = peer.routed + 1;
        wire::Write(ioNewcomer.output, mPool, toNewcomer);
        wire::PeerNotice toPeer = ioNewcomer.member->Notice(PeerChange::Up);
        toPeer.lane = inStart;
        toPeer.sendFrom = peer.routed + 1;
        toPeer.receiveFrom = inJoin.carriedFrom;
        wire::Write(peer.output, mPool, toPeer);
        MarkWritable(peer);
        if (peer.receives) {
            AddLane(ioNewcomer, peer, toPeer);
        }
        if (ioNewcomer.receives) {
            AddLane(peer, ioNewcomer, toNewcomer);
        }
    }
    wire::Write(
        ioNewcomer.output, mPool,
        wire::Joined{ioNewcomer.member->record.member, ioNewcomer.slot, ioNewcomer.member->record.instance});
    ioNewcomer.snapshotBytes = ioNewcomer.output.ControlBytes();
    MarkWritable(ioNewcomer);
}

void BrokerCore::TellOthers(const Member& inMember, const wire::PeerNotice& inNotice) {
    for (const auto& [id, other] : mMembers) {
        if (other.get() != &inMember && other->connection != nullptr) {
            wire::Write(other->connection->output, mPool, inNotice);
            MarkWritable(*other->connection);
        }
    }
}

void BrokerCore::SetInterest(Connection& ioConnection, const wire::Interest& inInterest) {
    ioConnection.interest.reset();
    if (inInterest) {
        ioConnection.interest.emplace(inInterest->begin(), inInterest->end());
    }
    for (const auto& [slot, sender] : mBySlot) {
        Lane* lane = sender->LaneTo(ioConnection.slot);
        if (lane != nullptr && lane->attached) {
            SetAttached(*lane, false);
            SetAttached(*lane, true);
        }
    }
}

void BrokerCore::OnLeave(Connection& ioConnection, const wire::Frame& inFrame, TimePoint inNow) {
    wire::LeaveScope scope{};
    const WireError error = wire::ReadLeave(inFrame, scope);
    if (error != WireError::kNone) {
        Fail(ioConnection, error, inNow);
        return;
    }
    Member& member = *ioConnection.member;
    if (scope == wire::LeaveScope::Member) {
        RemoveMember(member.record.member, PeerReason::Left);
        return;
    }
    if (ioConnection.receives) {
        RemoveLanesTo(ioConnection);
        ioConnection.receives = false;
        member.receives = false;
        if (member.record.receives) {
            member.record.receives = false;
            mActions.emplace_back(UpdateMember{member.record});
        }
        TellOthers(member, member.Notice(PeerChange::GoneAsReceiver, PeerReason::Left));
    }
}

/// Parts a joined connection from its member; nobody is told.
void BrokerCore::Detach(Connection& ioConnection) {
    RemoveLanesTo(ioConnection);
    for (const auto& [slot, lane] : ioConnection.lanes) {
        lane->receiver->activeLanes -= lane->inFlight != 0 ? 1 : 0;
    }
    ioConnection.report.clear();
    ioConnection.reporting = false;
    std::erase(mReporting, ioConnection.id);
    ioConnection.plain.clear();
    ioConnection.choosing.clear();
    ioConnection.lastLane = nullptr;
    ioConnection.lanes.clear();
    mBySlot.erase(ioConnection.slot);
    ioConnection.member->connection = nullptr;
    ioConnection.member = nullptr;
    ioConnection.state = Connection::State::kClosing;
}

/// The member of a connection that ends, if it has one, is away.
void BrokerCore::SendAway(Connection& ioConnection, TimePoint inNow) {
    if (Member* member = ioConnection.member) {
        Detach(ioConnection);
        member->awaySince = inNow;
        TellOthers(*member, member->Notice(PeerChange::Away));
    }
}

void BrokerCore::RemoveMember(wire::MemberId inMember, PeerReason inReason) {
    FlushRun();
    const auto found = mMembers.find(inMember);
    if (found == mMembers.end()) {
        return;
    }
    Member& member = *found->second;
    if (Connection* connection = member.connection) {
        Detach(*connection);
        Close(*connection, WireError::kNone,
              inReason == PeerReason::Left ? "the member left" : "the member's process ended", false);
    }
    TellOthers(member, member.Notice(PeerChange::Gone, inReason));
    mActions.emplace_back(EraseMember{inMember});
    mMembers.erase(found);
}

void BrokerCore::OnProcessEnded(wire::MemberId inMember, TimePoint /*inNow*/) {
    RemoveMember(inMember, PeerReason::Ended);
}

}  // namespace orvane::plexa::broker
