// The broker's decisions among a few clients that may do anything: each operation is eight bytes. Whatever
// comes, the broker writes well-formed frames only, and when everybody has gone nothing is left over.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <span>
#include <variant>

#include "BrokerCore.h"
#include "support/Frames.h"
#include "wire/Messages.h"

using namespace orvane::plexa;
using broker::BrokerCore;
using broker::ConnectionId;
using wire::FrameKind;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize);

namespace {

constexpr std::size_t kClients = 4;

wire::Limits SmallLimits() {
    wire::Limits limits;
    limits.brokerMemory = std::size_t{64} << 10U;
    limits.controlQueue = 8192;
    limits.laneOverrun = 20000;
    limits.connectionsPerProcess = 3;
    limits.members = 3;
    return limits;
}

/// What is done: by whom, to whom, and with which numbers.
struct Operation {
    std::uint8_t what, client, other, flags, sequence, consumed, bytes, spoiled;
};
static_assert(sizeof(Operation) == 8);

class Play {
  public:
    void Do(const Operation& inOperation) {
        const std::size_t client = inOperation.client % kClients;
        switch (inOperation.what % 16) {
            case 0:
                Connect(client);
                break;
            case 1:
                Disconnect(client);
                break;
            case 2:
                mNow += std::chrono::seconds(inOperation.bytes);
                mCore.Tick(mNow);
                break;
            case 3:
                mCore.OnProcessEnded(1 + inOperation.other % 8U, mNow);
                break;
            case 4:
                Drain(client);
                break;
            case 5:
                mCore.OnWriteBlocked(mConnections[client]);
                break;
            default:
                Write(inOperation);
                HandIn(client, inOperation.spoiled);
                break;
        }
        Settle();
    }
    /// Aborts if anything is left.
    void End() {
        for (std::size_t client = 0; client != kClients; ++client) Disconnect(client);
        Settle();
        mNow += mLimits.away;
        mCore.Tick(mNow);
        Settle();
        if (mCore.MemberCount() != 0 || !mRecorded.empty() || mCore.Status().connections != 0) std::abort();
        mQueue.Clear();
        mQueue = {};
        if (mPool.BytesInUse() != 0 || mCore.NextDeadline()) std::abort();
    }

  private:
    void Connect(std::size_t inClient) {
        Disconnect(inClient);
        mConnections[inClient] = ++mLast;
        mCore.OnConnected(mLast, {static_cast<std::uint32_t>(inClient / 2), 7}, mNow);
    }
    void Disconnect(std::size_t inClient) {
        mCore.OnDisconnected(std::exchange(mConnections[inClient], 0), mNow);
    }

    void Write(const Operation& inOperation) {
        const wire::Slot slot = inOperation.other % 12U;
        switch (inOperation.what % 16) {
            case 6:
                wire::Write(mQueue, mPool, wire::Hello{});
                break;
            case 7: {
                wire::Join join;
                join.appId = "app";
                join.member = inOperation.other % 8U;
                join.nonce = {inOperation.client % kClients, 1};
                join.receives = inOperation.flags % 4U != 0;
                if (inOperation.flags % 3U == 0) join.interest.emplace({std::string("t")});
                join.nextLive = 1U + inOperation.sequence;
                join.carriedFrom = 1U + inOperation.consumed;
                wire::Write(mQueue, mPool, join);
                break;
            }
            case 8: {
                const std::array entries = {
                    wire::AckEntry(slot, inOperation.bytes * 64U, inOperation.consumed)};
                wire::WriteAcks(mQueue, mPool, entries);
                break;
            }
            case 9:
                wire::WritePosition(mQueue, mPool, wire::kNoSlot, slot,
                                    {inOperation.sequence, inOperation.consumed});
                break;
            case 10:
                wire::WriteLaneSwitch(
                    mQueue, mPool, inOperation.flags % 2U != 0 ? FrameKind::Attach : FrameKind::Detach, slot);
                break;
            case 11:
                wire::WriteLeave(
                    mQueue, mPool,
                    inOperation.flags % 2U != 0 ? wire::LeaveScope::Receiver : wire::LeaveScope::Member);
                break;
            case 12:
                wire::WriteInterest(
                    mQueue, mPool,
                    inOperation.flags % 2U != 0 ? wire::Interest({"t", ""}) : wire::Interest());
                break;
            case 13:
                wire::WriteStatusRequest(mQueue, mPool);
                break;
            default: {
                const std::size_t payload = inOperation.bytes * 16U;
                std::byte* const frame = mQueue.AppendControl(mPool, FrameKind::Data, payload);
                auto& header = *reinterpret_cast<wire::FrameHeader*>(frame);
                header.mutate_destination(slot == 0 ? wire::kEveryone : slot);
                header.mutate_sequence(inOperation.sequence);
                header.mutate_flags(inOperation.flags & 0xEU);
                std::memset(frame + wire::kHeaderBytes, 0, payload);
                break;
            }
        }
    }

    /// Hands in what mQueue holds; inSpoiled: which byte of it is changed.
    void HandIn(std::size_t inClient, std::uint8_t inSpoiled) {
        const ConnectionId id = mConnections[inClient];
        wire::FrameReader reader(mPool, mLimits, wire::Direction::kToBroker);
        while (!mQueue.Empty()) {
            const std::span<std::byte> piece = support::MovePiece(mQueue, reader);
            if (inSpoiled != 0 && inSpoiled < piece.size()) piece[inSpoiled] ^= std::byte{0x11};
            reader.Commit(piece.size());
            wire::Frame frame;
            while (reader.Next(frame)) mCore.OnFrame(id, frame, mNow);
            if (reader.Error() != wire::WireError::kNone) {
                mQueue.Clear();
                mCore.OnReaderError(id, reader.Error(), mNow);
            }
        }
        mCore.OnInputSettled(id, reader.HeldBytes(), mNow);
    }

    void Settle() {
        do {
            mCore.Settle(mNow);
            for (const broker::BrokerAction& action : mCore.TakeActions()) {
                if (const auto* record = std::get_if<broker::RecordMember>(&action)) {
                    if (!mRecorded.insert(record->record.member).second) std::abort();
                } else if (const auto* update = std::get_if<broker::UpdateMember>(&action)) {
                    if (!mRecorded.contains(update->record.member)) std::abort();
                } else if (const auto* erase = std::get_if<broker::EraseMember>(&action)) {
                    if (mRecorded.erase(erase->member) != 1) std::abort();
                } else if (const auto* status = std::get_if<broker::StatusRequested>(&action)) {
                    mCore.SendStatus(status->connection, "{}");
                } else if (const auto* close = std::get_if<broker::CloseConnection>(&action)) {
                    Close(close->connection);
                }
            }
        } while (!mCore.TakeWritable().empty());
    }
    void Close(ConnectionId inConnection) {
        const auto found = std::find(mConnections.begin(), mConnections.end(), inConnection);
        if (found != mConnections.end()) Disconnect(static_cast<std::size_t>(found - mConnections.begin()));
    }

    /// Reads all that was written for a client; aborts if it is no sequence of frames.
    void Drain(std::size_t inClient) {
        if (mConnections[inClient] == 0) return;
        wire::OutputQueue& output = mCore.Output(mConnections[inClient]);
        wire::FrameReader reader(mPool, mLimits, wire::Direction::kToClient);
        support::MoveFrames(output, reader, [](const wire::Frame&) {});
        if (reader.Error() != wire::WireError::kNone || reader.Incomplete()) std::abort();
    }

    const wire::Limits mLimits = SmallLimits();
    wire::BufferPool mPool{4096};
    wire::OutputQueue mQueue;
    BrokerCore mCore{mLimits, mPool, 1};
    wire::TimePoint mNow{std::chrono::hours(1)};
    ConnectionId mLast = 0;
    std::array<ConnectionId, kClients> mConnections{};
    std::set<wire::MemberId> mRecorded;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize) {
    Play play;
    for (std::span<const std::uint8_t> rest(inData, inSize); rest.size() >= sizeof(Operation);
         rest = rest.subspan(sizeof(Operation))) {
        Operation operation{};
        std::memcpy(&operation, rest.data(), sizeof(operation));
        play.Do(operation);
    }
    play.End();
    return 0;
}
