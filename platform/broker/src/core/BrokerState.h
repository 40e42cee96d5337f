/// What the broker remembers of connections, members and lanes. Part of BrokerCore.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "BrokerCore.h"

namespace orvane::plexa::broker {

/// From one joined connection to another. It lives as long as both are joined and the receiver receives.
struct BrokerCore::Lane {
    Connection* sender = nullptr;
    Connection* receiver = nullptr;
    bool attached = false;
    bool awaitsPosition = false;  // resumed: the receiver owes its position, once
    bool reporting = false;       // in the sender's next report
    wire::Sequence queued = 0;    // last one given to the receiver
    wire::Sequence consumed = 0;
    wire::Sequence filtered = 0;  // last one the receiver did not want, while older ones were outstanding
    std::size_t inFlight = 0;     // bytes given and not consumed
    std::size_t unreported = 0;   // bytes consumed since the last report
    std::size_t window = 0;       // as the sender knows it
};

struct BrokerCore::Connection {
    enum class State : std::uint8_t {
        /// Hello is awaited.
        kNew,
        /// Join is awaited, or a status request.
        kWelcomed,
        /// A member's.
        kJoined,
        /// Nothing is taken from it any more.
        kClosing,
    };

    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view inText) const noexcept {
            return std::hash<std::string_view>{}(inText);
        }
    };
    using TypeSet = std::unordered_set<std::string, TextHash, std::equal_to<>>;

    ConnectionId id = 0;
    ProcessIdentity process;
    State state = State::kNew;
    wire::TimePoint since{};
    std::optional<wire::TimePoint> halfFrameSince;
    std::size_t heldInput = 0;  // bytes of memory that half a frame keeps
    wire::OutputQueue output;
    bool writable = false;          // in mWritable
    std::size_t snapshotBytes = 0;  // control bytes that its joining cost, not counted against it
    bool statusRequested = false;   // and not answered yet
    Member* member = nullptr;
    wire::Slot slot = wire::kNoSlot;

    // As a receiver.
    bool receives = false;
    std::optional<TypeSet> interest;
    std::size_t activeLanes = 0;  // with bytes in flight

    // As a sender.
    wire::Sequence routed = 0;
    wire::Sequence highest = 0;                                          // of all messages seen
    boost::unordered_flat_map<wire::Slot, std::unique_ptr<Lane>> lanes;  // by receiver
    Lane* lastLane = nullptr;
    std::vector<Lane*> plain;     // attached, every broadcast goes there
    std::vector<Lane*> choosing;  // attached, the receiver's interest decides
    std::vector<Lane*> report;    // lanes that moved since the last report
    bool reporting = false;       // in mReporting
    bool reportSoon = false;
    bool overrunning = false;    // in mOverrunning
    std::size_t unreported = 0;  // bytes consumed since the last report
    wire::TimePoint reportSince{};

    bool Wants(std::string_view inType) const { return !interest || interest->contains(inType); }
    bool Joined() const noexcept { return state == State::kJoined; }
    std::size_t HeldBytes() const noexcept { return output.Bytes() + heldInput; }
    Lane* LaneTo(wire::Slot inReceiver) {
        if (lastLane == nullptr || lastLane->receiver->slot != inReceiver) {
            const auto found = lanes.find(inReceiver);
            if (found == lanes.end()) {
                return nullptr;
            }
            lastLane = found->second.get();
        }
        return lastLane;
    }
};

struct BrokerCore::Member {
    MemberRecord record;
    Connection* connection = nullptr;  // none: away
    bool receives = true;
    wire::TimePoint awaySince{};

    wire::PeerNotice Notice(wire::PeerChange inChange,
                            wire::PeerReason inReason = wire::PeerReason::None) const {
        wire::PeerNotice notice;
        notice.member = record.member;
        notice.change = inChange;
        notice.reason = inReason;
        notice.slot = inChange == wire::PeerChange::Up ? connection->slot : wire::kNoSlot;
        notice.endPoint = {record.appId, record.instance, record.process.processId};
        notice.receives = receives;
        notice.withdrawn = !record.receives;
        return notice;
    }
};

/// Frames of one sender that lie next to each other and go the same way.
struct BrokerCore::Run {
    Connection* sender = nullptr;
    Lane* lane = nullptr;  // none: to all plain lanes
    wire::BufferRef buffer;
    const std::byte* begin = nullptr;
    std::size_t length = 0;
    wire::Sequence last = 0;
};

}  // namespace orvane::plexa::broker
