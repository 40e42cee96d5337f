#include "Fingerprint.h"

#include <array>
#include <stdexcept>

#include "Inspector.h"
#include "StateInspector.h"

namespace orvane::plexa::test {
namespace {

using wire::FrameHeader;
using wire::FrameKind;

class WorldHash {
  public:
    WorldHash(Hash& ioHash, World& inWorld, const Setup& inSetup)
        : mHash(ioHash), mWorld(inWorld), mSetup(inSetup) {}

    void Add() {
        NameSlots();
        message5::StateInspector clients(mHash, mSlots, mSetup, mWorld.now);
        for (const auto& node : mWorld.Nodes()) {
            mHash.Add((node->alive ? 1U : 0U) | (node->Connected() ? 2U : 0U) |
                      (Inspector::ClosedByBroker(*node) ? 4U : 0U) |
                      (Inspector::HasLine(mWorld, *node) ? 8U : 0U));
            clients.Add(node->Core());
            AddQueue(node->Core().Output());
            AddPipe(Inspector::ToBroker(*node));
            AddPipe(Inspector::ToClient(*node));
            if (const auto& inHand = Inspector::InHand(*node)) {
                mHash.Add(inHand->origin->member << 16U | inHand->frame.Header().sequence());
            }
        }
        broker::StateInspector broker(mHash, mSlots, mSetup);
        broker.AddMembers(mWorld.Broker());
        Inspector::ForEachLine(mWorld, [&](broker::ConnectionId inConnection, const Node& inNode) {
            mHash.Add(IndexOf(inNode));
            broker.Add(mWorld.Broker(), inConnection);
        });
        for (const auto& [member, record] : mWorld.Records()) {
            mHash.Add(member << 1U | (record.receives ? 1U : 0U));
        }
    }

  private:
    std::uint64_t IndexOf(const Node& inNode) const {
        std::uint64_t index = 0;
        while (mWorld.Nodes()[index].get() != &inNode) {
            ++index;
        }
        return index;
    }

    void NameSlots() {
        Inspector::ForEachLine(mWorld, [&](broker::ConnectionId inConnection, const Node& inNode) {
            const wire::Slot slot = broker::StateInspector::SlotOf(mWorld.Broker(), inConnection);
            if (slot != wire::kNoSlot) {
                mSlots.Set(slot,
                           IndexOf(inNode) + (Inspector::Connection(inNode) == inConnection ? 1U : 50U));
            }
        });
    }

    void AddQueue(const wire::OutputQueue& inQueue) {
        std::array<iovec, 64> pieces{};
        const std::size_t count = inQueue.Gather(pieces);
        if (count == pieces.size()) {
            throw std::length_error("a queue may have more pieces than the fingerprint takes in");
        }
        std::string bytes;
        for (std::size_t i = 0; i != count; ++i) {
            bytes.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
        }
        AddPipe(bytes);
    }

    void AddPipe(const std::string& inPipe) {
        for (std::size_t at = 0; at < inPipe.size(); at += HeaderAt(inPipe, at).length()) {
            AddFrame(const_cast<char*>(inPipe.data()) + at);
        }
        mHash.Add(0);
    }

    void AddFrame(char* inFrame) {
        const wire::Frame frame{nullptr, reinterpret_cast<std::byte*>(inFrame)};
        const FrameHeader& header = frame.Header();
        mHash.Add(static_cast<std::uint64_t>(frame.Kind()) << 8U | header.flags());
        mHash.Add(mSlots(header.source()) << 32U | mSlots(header.destination()));
        mHash.Add(header.sequence());
        switch (frame.Kind()) {
            case FrameKind::Peer:
                AddPeer(frame);
                break;
            case FrameKind::Ack:
                AddAcks(frame);
                break;
            case FrameKind::Report:
                AddReports(frame);
                break;
            case FrameKind::Position: {
                wire::Position position;
                wire::Read(frame, position);
                mHash.Add(position.taken << 32U | position.consumed);
                break;
            }
            case FrameKind::Joined: {
                wire::Joined joined;
                wire::Read(frame, joined);
                mHash.Add(joined.member);
                break;
            }
            default:
                break;
        }
    }

    void AddPeer(const wire::Frame& inFrame) {
        wire::PeerNotice peer;
        wire::Read(inFrame, mWorld.limits, peer);
        mHash.Add(peer.member);
        mHash.Add(mSlots(peer.slot));
        mHash.Add(static_cast<std::uint64_t>(peer.change) << 16U |
                  static_cast<std::uint64_t>(peer.reason) << 8U |
                  static_cast<std::uint64_t>(peer.lane) << 1U | (peer.receives ? 1U : 0U) |
                  (peer.withdrawn ? std::uint64_t{1} << 24U : 0U));
        mHash.Add(peer.sendFrom << 32U | peer.receiveFrom);
    }

    void AddAcks(const wire::Frame& inFrame) {
        std::span<const wire::AckEntry> entries;
        wire::Read(inFrame, entries);
        for (const wire::AckEntry& entry : entries) {
            mHash.Add(mSlots(entry.sender()));
            mHash.Add(entry.consumed() << 32U | (mSetup.window != 0 ? entry.bytes() : 0U));
        }
    }

    void AddReports(const wire::Frame& inFrame) {
        std::span<const wire::ReportEntry> entries;
        wire::Read(inFrame, entries);
        for (const wire::ReportEntry& entry : entries) {
            mHash.Add(mSlots(entry.receiver()));
            mHash.Add(entry.consumed() << 32U | (mSetup.window != 0 ? entry.window() : 0U));
        }
    }

    Hash& mHash;
    World& mWorld;
    const Setup& mSetup;
    SlotNames mSlots;
};

}  // namespace

void AddWorld(Hash& ioHash, World& inWorld, const Setup& inSetup) {
    WorldHash(ioHash, inWorld, inSetup).Add();
}

}  // namespace orvane::plexa::test
