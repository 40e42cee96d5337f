/// A broker without I/O, with peers whose every frame is made by hand.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "BrokerCore.h"
#include "support/Frames.h"

namespace orvane::plexa::test {

using broker::BrokerCore;
using broker::CloseConnection;
using broker::ConnectionId;
using wire::FrameKind;
using wire::WireError;

class BrokerBench : public testing::Test {
  protected:
    /// Connects a process and says Hello.
    ConnectionId Greet(std::uint32_t inProcess) {
        const ConnectionId id = Connect(inProcess);
        wire::Write(mQueue, mPool, wire::Hello{});
        HandIn(id);
        return id;
    }
    ConnectionId Connect(std::uint32_t inProcess) {
        mCore->OnConnected(++mLast, {inProcess, inProcess * 10ULL}, mNow);
        return mLast;
    }
    static wire::Join JoinOf(const std::string& inAppId, std::uint64_t inNonce) {
        wire::Join join;
        join.appId = inAppId;
        join.nonce = {inNonce, 0};
        return join;
    }
    ConnectionId Join(std::uint32_t inProcess) {
        const ConnectionId id = Greet(inProcess);
        wire::Write(mQueue, mPool, JoinOf("app", inProcess));
        HandIn(id);
        return id;
    }
    std::byte* Data(wire::Slot inDestination, wire::Sequence inSequence, std::size_t inPayload = 8) {
        std::byte* frame = mQueue.AppendControl(mPool, FrameKind::Data, inPayload);
        auto& header = *reinterpret_cast<wire::FrameHeader*>(frame);
        header.mutate_destination(inDestination);
        header.mutate_sequence(inSequence);
        std::memset(frame + wire::kHeaderBytes, 0, inPayload);
        return frame;
    }
    /// Hands in what mQueue holds.
    void HandIn(ConnectionId inId) {
        wire::FrameReader reader(mPool, mLimits, wire::Direction::kToBroker);
        support::MoveFrames(mQueue, reader,
                            [&](const wire::Frame& inFrame) { mCore->OnFrame(inId, inFrame, mNow); });
        ASSERT_EQ(reader.Error(), WireError::kNone);
        mCore->OnInputSettled(inId, false, mNow);
        Settle();
    }
    void Settle() {
        mCore->Settle(mNow);
        for (auto& action : mCore->TakeActions()) {
            if (const auto* close = std::get_if<CloseConnection>(&action)) {
                mClosed.push_back(close->error);
            }
            mActions.push_back(std::move(action));
        }
    }
    void Elapse(wire::Duration inTime) {
        mNow += inTime;
        mCore->Tick(mNow);
        Settle();
    }
    /// Takes the frames out of a connection's output.
    std::vector<FrameKind> Written(ConnectionId inId) {
        mFrames.clear();
        wire::FrameReader reader(mPool, mLimits, wire::Direction::kToClient);
        std::vector<FrameKind> kinds;
        support::MoveFrames(mCore->Output(inId), reader, [&](const wire::Frame& inFrame) {
            kinds.push_back(inFrame.Kind());
            mFrames.emplace_back(reinterpret_cast<const char*>(inFrame.data), inFrame.Length());
        });
        EXPECT_EQ(reader.Error(), WireError::kNone);
        return kinds;
    }
    wire::Refusal RefusalOf(ConnectionId inId) {
        wire::Refusal refusal;
        EXPECT_THAT(Written(inId), testing::Contains(FrameKind::Refuse));
        if (!mFrames.empty()) {
            std::vector<std::uint64_t> aligned(mFrames.back().size() / 8);
            std::memcpy(aligned.data(), mFrames.back().data(), mFrames.back().size());
            EXPECT_EQ(wire::Read(wire::Frame{nullptr, reinterpret_cast<std::byte*>(aligned.data())}, refusal),
                      WireError::kNone);
        }
        return refusal;
    }

    wire::Limits mLimits;
    wire::BufferPool mPool{8192};
    wire::OutputQueue mQueue;
    std::unique_ptr<BrokerCore> mCore = std::make_unique<BrokerCore>(mLimits, mPool, 1);
    wire::TimePoint mNow{std::chrono::hours(1)};
    ConnectionId mLast = 0;
    std::vector<WireError> mClosed;
    std::vector<broker::BrokerAction> mActions;
    std::vector<std::string> mFrames;
};

}  // namespace orvane::plexa::test
