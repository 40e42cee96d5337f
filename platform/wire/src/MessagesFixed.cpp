// Kinds with fixed bodies: nothing to verify but sizes.
#include <cstring>

#include "wire/Messages.h"

namespace orvane::plexa::wire {

namespace {

FrameHeader& HeaderOf(std::byte* inFrame) { return *reinterpret_cast<FrameHeader*>(inFrame); }

template <typename Body>
void WriteBody(std::byte* outFrame, const Body& inBody) {
    std::memcpy(outFrame + kHeaderBytes, &inBody, sizeof(Body));
}

template <typename Entry>
void WriteEntries(std::byte* outFrame, std::span<const Entry> inEntries) {
    if (!inEntries.empty()) {
        std::memcpy(outFrame + kHeaderBytes, inEntries.data(), inEntries.size_bytes());
    }
}

template <typename Body>
const Body* ReadBody(const Frame& inFrame) {
    const auto payload = inFrame.Payload();
    return payload.size() == sizeof(Body) ? reinterpret_cast<const Body*>(payload.data()) : nullptr;
}

template <typename Entry>
WireError ReadEntries(const Frame& inFrame, std::span<const Entry>& outEntries) {
    const auto payload = inFrame.Payload();
    if (payload.size() % sizeof(Entry) != 0) {
        return WireError::kBadBody;
    }
    outEntries = {reinterpret_cast<const Entry*>(payload.data()), payload.size() / sizeof(Entry)};
    return WireError::kNone;
}

}  // namespace

void Write(OutputQueue& outQueue, BufferPool& inPool, const Joined& inJoined) {
    std::byte* frame = outQueue.AppendControl(inPool, FrameKind::Joined, sizeof(schema::JoinedBody));
    WriteBody(frame, schema::JoinedBody(inJoined.member, inJoined.slot, inJoined.instance));
}

void WriteLeave(OutputQueue& outQueue, BufferPool& inPool, LeaveScope inScope) {
    std::byte* frame = outQueue.AppendControl(inPool, FrameKind::Leave, sizeof(schema::LeaveBody));
    WriteBody(frame, schema::LeaveBody(inScope, 0));
}

void WriteAcks(OutputQueue& outQueue, BufferPool& inPool, std::span<const AckEntry> inEntries) {
    WriteEntries(outQueue.AppendControl(inPool, FrameKind::Ack, inEntries.size_bytes()), inEntries);
}

void WriteReport(OutputQueue& outQueue, BufferPool& inPool, Sequence inRouted,
                 std::span<const ReportEntry> inEntries) {
    std::byte* frame = outQueue.AppendControl(inPool, FrameKind::Report, inEntries.size_bytes());
    HeaderOf(frame).mutate_sequence(inRouted);
    WriteEntries(frame, inEntries);
}

void WritePosition(OutputQueue& outQueue, BufferPool& inPool, Slot inSource, Slot inDestination,
                   const Position& inPosition) {
    std::byte* frame = outQueue.AppendControl(inPool, FrameKind::Position, sizeof(schema::PositionBody));
    HeaderOf(frame).mutate_source(inSource);
    HeaderOf(frame).mutate_destination(inDestination);
    WriteBody(frame, schema::PositionBody(inPosition.taken, inPosition.consumed));
}

void WriteLaneSwitch(OutputQueue& outQueue, BufferPool& inPool, FrameKind inKind, Slot inReceiver) {
    HeaderOf(outQueue.AppendControl(inPool, inKind, 0)).mutate_destination(inReceiver);
}

void WriteStatusRequest(OutputQueue& outQueue, BufferPool& inPool) {
    outQueue.AppendControl(inPool, FrameKind::StatusRequest, 0);
}

void WriteStatusReply(OutputQueue& outQueue, BufferPool& inPool, std::string_view inJson) {
    const std::string_view text = inJson.substr(0, Limits{}.maxPayload);
    std::byte* frame = outQueue.AppendControl(inPool, FrameKind::StatusReply, text.size());
    if (!text.empty()) {
        std::memcpy(frame + kHeaderBytes, text.data(), text.size());
    }
}

WireError Read(const Frame& inFrame, Joined& outJoined) {
    const auto* body = ReadBody<schema::JoinedBody>(inFrame);
    if (body == nullptr || body->member() == 0 || body->slot() == kNoSlot || body->slot() == kEveryone) {
        return WireError::kBadBody;
    }
    outJoined = {body->member(), body->slot(), body->instance()};
    return WireError::kNone;
}

WireError ReadLeave(const Frame& inFrame, LeaveScope& outScope) {
    const auto* body = ReadBody<schema::LeaveBody>(inFrame);
    if (body == nullptr || (body->scope() != LeaveScope::Receiver && body->scope() != LeaveScope::Member)) {
        return WireError::kBadBody;
    }
    outScope = body->scope();
    return WireError::kNone;
}

WireError Read(const Frame& inFrame, Position& outPosition) {
    const auto* body = ReadBody<schema::PositionBody>(inFrame);
    if (body == nullptr || body->consumed() > body->taken()) {
        return WireError::kBadBody;
    }
    outPosition = {body->taken(), body->consumed()};
    return WireError::kNone;
}

WireError Read(const Frame& inFrame, std::span<const AckEntry>& outEntries) {
    return ReadEntries(inFrame, outEntries);
}

WireError Read(const Frame& inFrame, std::span<const ReportEntry>& outEntries) {
    return ReadEntries(inFrame, outEntries);
}

}  // namespace orvane::plexa::wire
