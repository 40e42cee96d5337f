#include "Roster.h"

#include <algorithm>

namespace orvane::plexa::message5 {

using wire::PeerChange;

void Roster::OnPeer(const wire::PeerNotice& inPeer) {
    if (inPeer.change == PeerChange::Gone) {
        const auto found = mMembers.find(inPeer.member);
        if (found != mMembers.end()) {
            mVersion += found->second.receives ? 1 : 0;
            mMembers.erase(found);
        }
        return;
    }
    const bool receives = inPeer.receives && !inPeer.withdrawn && inPeer.change != PeerChange::GoneAsReceiver;
    Member& member = mMembers[inPeer.member];
    if (member.receives != receives || (receives && member.endPoint != inPeer.endPoint)) {
        ++mVersion;
    }
    member = {inPeer.endPoint, inPeer.slot, receives, true};
}

bool Roster::Has(wire::MemberId inMember, wire::Slot inSlot) const {
    return std::any_of(mMembers.begin(), mMembers.end(), [&](const auto& inKnown) {
        const auto& [number, member] = inKnown;
        return member.seen && (number == inMember || member.slot == inSlot);
    });
}

void Roster::OnJoined() {
    for (auto at = mMembers.begin(); at != mMembers.end();) {
        if (at->second.seen) {
            ++at;
        } else {
            mVersion += at->second.receives ? 1 : 0;
            at = mMembers.erase(at);
        }
    }
}

void Roster::OnConnectionLost() {
    for (auto& [member, known] : mMembers) {
        known.seen = false;
    }
}

std::vector<Roster::Listed> Roster::Receivers() const {
    std::vector<Listed> receivers;
    for (const auto& [member, known] : mMembers) {
        if (known.receives) {
            receivers.push_back({member, known.endPoint});
        }
    }
    return receivers;
}

std::optional<wire::MemberId> Roster::Find(const wire::EndPointInfo& inEndPoint) const {
    for (const auto& [member, known] : mMembers) {
        if (known.receives && known.endPoint == inEndPoint) {
            return member;
        }
    }
    return std::nullopt;
}

}  // namespace orvane::plexa::message5
