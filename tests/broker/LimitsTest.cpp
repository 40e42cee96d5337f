// The bounds whose events come from sockets and clocks, at small sizes.
#include <gtest/gtest.h>
#include <boost/json.hpp>

#include "Eventually.h"
#include "LocalBroker.h"
#include "WireClient.h"

namespace {

using namespace std::chrono_literals;

TEST(Limits, ClientThatDoesNotGreetInTimeIsDisconnected) {
    wire::Limits limits;
    limits.handshake = 50ms;
    const LocalBroker broker(limits);
    WireClient client(broker.SocketPath());
    EXPECT_TRUE(client.IsClosed());
    EXPECT_TRUE(broker.Logs(std::string(wire::Text(wire::WireError::kTooSlow))));
}

TEST(Limits, ClientThatLeavesAFrameUnfinishedIsDisconnected) {
    wire::Limits limits;
    limits.halfFrame = 50ms;
    const LocalBroker broker(limits);
    WireClient client(broker.SocketPath());
    client.Join("client-1");
    client.SendBytes(MessageFrame(1, wire::kEveryone, "t", "payload").substr(0, 36));
    EXPECT_TRUE(client.IsClosed());
    EXPECT_TRUE(broker.Logs(std::string(wire::Text(wire::WireError::kTooSlow))));
}

TEST(Limits, ClientThatFinishesFramesIsKeptAlthoughEveryReadEndsInsideOne) {
    wire::Limits limits;
    limits.halfFrame = 100ms;
    const LocalBroker broker(limits);
    WireClient sender(broker.SocketPath());
    sender.Join("sender-1");
    WireClient receiver(broker.SocketPath());
    receiver.Join("receiver-1");
    wire::Sequence sequence = 1;
    std::string begun;
    const auto end = std::chrono::steady_clock::now() + 400ms;
    while (std::chrono::steady_clock::now() < end) {
        const std::string next = MessageFrame(sequence + 1, receiver.Slot(), "t", "payload");
        if (begun.empty()) begun = MessageFrame(sequence, receiver.Slot(), "t", "payload");
        ASSERT_TRUE(sender.SendBytes(begun + next.substr(0, 16)));
        begun = next.substr(16);
        const auto message = receiver.Next(wire::FrameKind::Data);
        ASSERT_TRUE(message);
        ASSERT_EQ(message->sequence, sequence++);
    }
}

TEST(Limits, ConnectionsOfOneProcessAreBounded) {
    wire::Limits limits;
    limits.connectionsPerProcess = 2;
    const LocalBroker broker(limits);
    WireClient first(broker.SocketPath());
    WireClient second(broker.SocketPath(), first.Shared());
    first.Greet();
    second.Greet();
    WireClient third(broker.SocketPath(), first.Shared());
    const auto refusal = third.Next(wire::FrameKind::Refuse);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->refusal.code, wire::RefuseCode::Connections);
    EXPECT_TRUE(third.IsClosed());
    WireClient another(broker.SocketPath());
    another.Greet();
    second.Close();
    EXPECT_TRUE(Eventually([&] {
        WireClient successor(broker.SocketPath(), first.Shared());
        successor.Send([](auto& outQueue, auto& inPool) { wire::Write(outQueue, inPool, wire::Hello{}); });
        const auto frame = successor.Next();
        return frame && frame->kind == wire::FrameKind::Welcome;
    })) << "once the broker has seen the end of one, another may come";
}

TEST(Limits, MembersAreBounded) {
    wire::Limits limits;
    limits.members = 2;
    const LocalBroker broker(limits);
    WireClient first(broker.SocketPath());
    first.Join("first-1");
    WireClient second(broker.SocketPath());
    second.Join("second-1");
    WireClient third(broker.SocketPath());
    EXPECT_THROW(third.Join("third-1"), std::runtime_error);
    EXPECT_TRUE(broker.Logs("members")) << "the reason names the bound";
}

TEST(Limits, ReceiverThatHoldsTooMuchOfTheBrokersMemoryIsDisconnectedAndOthersGoOn) {
    wire::Limits limits;
    limits.brokerMemory = std::size_t{2} << 20U;
    const LocalBroker broker(limits);
    WireClient sender(broker.SocketPath());
    sender.Join("sender-1");
    WireClient still(broker.SocketPath());
    still.Join("still-1");
    WireClient reader(broker.SocketPath());
    reader.Join("reader-1");
    const std::string payload(50000, 'x');
    wire::Sequence sequence = 0;
    for (int i = 0; i != 80; ++i)
        ASSERT_TRUE(sender.SendBytes(MessageFrame(++sequence, still.Slot(), "t", payload)));
    sender.SendMessage(++sequence, reader.Slot(), "t", "goes on");
    EXPECT_EQ(reader.Next(wire::FrameKind::Data)->payload, "goes on");
    EXPECT_TRUE(broker.Logs(std::string(wire::Text(wire::WireError::kMemoryPressure))));
    EXPECT_TRUE(still.IsClosed());
}

TEST(Limits, SmallMessagesForAReceiverThatStandsStillDoNotHoldLargeBuffers) {
    wire::Limits limits;
    limits.brokerMemory = std::size_t{8} << 20U;
    const LocalBroker broker(limits);
    WireClient sender(broker.SocketPath());
    sender.Join("sender-1");
    WireClient still(broker.SocketPath());
    still.Join("still-1");
    WireClient reader(broker.SocketPath());
    reader.Join("reader-1");
    // Each pair of messages is a read of its own in the broker, because the answer is waited for. The still
    // receiver's socket takes some hundred of these at most; what is queued afterwards is far below the
    // bound, the buffers it came in would be far above.
    const std::string payload(1000, 'x');
    wire::Sequence sequence = 0;
    std::size_t mostInUse = 0;
    for (int i = 0; i != 1500; ++i) {
        sender.SendBytes(MessageFrame(sequence + 1, still.Slot(), "t", payload) +
                         MessageFrame(sequence + 2, reader.Slot(), "t", ""));
        sequence += 2;
        ASSERT_TRUE(reader.Next(wire::FrameKind::Data));
        if (i % 10 == 0) {
            const boost::json::value status = boost::json::parse(reader.Status());
            mostInUse = std::max(mostInUse, status.at_pointer("/memory/in_use").to_number<std::size_t>());
        }
    }
    EXPECT_LT(mostInUse, limits.brokerMemory / 2) << "beyond that everybody's windows shrink";
    for (int i = 0; i != 1500; ++i) ASSERT_TRUE(still.Next(wire::FrameKind::Data)) << i;
}

}  // namespace
