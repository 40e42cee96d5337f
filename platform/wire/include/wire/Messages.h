/// The control frames as plain values: writing them to an output queue, reading them from checked frames.
///
/// Read functions verify everything that the payload claims, and answer a WireError; on an error the output
/// is unspecified. Write functions may throw std::bad_alloc. Single-threaded like the queue.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "wire/Frame.h"
#include "wire/OutputQueue.h"

namespace orvane::plexa::wire {

using schema::AckEntry;
using schema::ReportEntry;

struct Hello {
    std::uint32_t magic = kMagic;
    std::uint16_t lowestVersion = kLowestVersion;
    std::uint16_t highestVersion = kHighestVersion;
    std::uint64_t features = kFeatures;
};

struct Welcome {
    std::uint16_t version = kHighestVersion;
    std::uint64_t features = 0;
    std::uint32_t maxPayload = 0;
    std::uint32_t firstWindow = 0;
};

struct Refusal {
    RefuseCode code = RefuseCode::None;
    std::string text;
};

struct Join {
    std::string appId;
    MemberId member = 0;
    Nonce nonce{};
    bool receives = true;
    Interest interest;
    Sequence nextLive = 1;
    Sequence carriedFrom = 1;
};

/// What a client is told about another member.
struct PeerNotice {
    MemberId member = 0;
    PeerChange change = PeerChange::Up;
    PeerReason reason = PeerReason::None;
    Slot slot = kNoSlot;
    EndPointInfo endPoint;
    bool receives = true;
    LaneStart lane = LaneStart::Open;
    Sequence sendFrom = 1;
    Sequence receiveFrom = 1;
    bool withdrawn = false;
};

struct Joined {
    MemberId member = 0;
    Slot slot = kNoSlot;
    std::uint32_t instance = 0;
};

struct Position {
    Sequence taken = 0;
    Sequence consumed = 0;
};

/// The version both sides speak, 0 if there is none.
std::uint16_t CommonVersion(const Hello& inHello) noexcept;

void Write(OutputQueue& outQueue, BufferPool& inPool, const Hello& inHello);
void Write(OutputQueue& outQueue, BufferPool& inPool, const Welcome& inWelcome);
void Write(OutputQueue& outQueue, BufferPool& inPool, const Refusal& inRefusal);
void Write(OutputQueue& outQueue, BufferPool& inPool, const Join& inJoin);
void Write(OutputQueue& outQueue, BufferPool& inPool, const PeerNotice& inPeer);
void Write(OutputQueue& outQueue, BufferPool& inPool, const Joined& inJoined);
void WriteInterest(OutputQueue& outQueue, BufferPool& inPool, const Interest& inInterest);
void WriteLeave(OutputQueue& outQueue, BufferPool& inPool, LeaveScope inScope);
void WriteAcks(OutputQueue& outQueue, BufferPool& inPool, std::span<const AckEntry> inEntries);
void WriteReport(OutputQueue& outQueue, BufferPool& inPool, Sequence inRouted,
                 std::span<const ReportEntry> inEntries);
/// inSource is the receiver's slot (stamped by the broker), inDestination the sender's.
void WritePosition(OutputQueue& outQueue, BufferPool& inPool, Slot inSource, Slot inDestination,
                   const Position& inPosition);
/// inKind: Attach or Detach.
void WriteLaneSwitch(OutputQueue& outQueue, BufferPool& inPool, FrameKind inKind, Slot inReceiver);
void WriteStatusRequest(OutputQueue& outQueue, BufferPool& inPool);
/// inJson is cut off at the largest payload a frame may have.
void WriteStatusReply(OutputQueue& outQueue, BufferPool& inPool, std::string_view inJson);

WireError Read(const Frame& inFrame, Hello& outHello);
WireError Read(const Frame& inFrame, Welcome& outWelcome);
WireError Read(const Frame& inFrame, Refusal& outRefusal);
WireError Read(const Frame& inFrame, const Limits& inLimits, Join& outJoin);
WireError Read(const Frame& inFrame, const Limits& inLimits, PeerNotice& outPeer);
WireError Read(const Frame& inFrame, Joined& outJoined);
WireError ReadInterest(const Frame& inFrame, const Limits& inLimits, Interest& outInterest);
WireError ReadLeave(const Frame& inFrame, LeaveScope& outScope);
WireError Read(const Frame& inFrame, Position& outPosition);
/// The entries lie in the frame.
WireError Read(const Frame& inFrame, std::span<const AckEntry>& outEntries);
WireError Read(const Frame& inFrame, std::span<const ReportEntry>& outEntries);

}  // namespace orvane::plexa::wire
