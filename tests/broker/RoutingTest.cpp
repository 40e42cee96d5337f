// Messages on their way through the broker.
#include <algorithm>
#include <csignal>
#include <thread>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <boost/json.hpp>

#include "BrokerProcess.h"
#include "WireClient.h"

namespace {

class Routing : public ::testing::Test {
  protected:
    Routing() {
        mAsker.Join("asker-1");
        mAnswerer.Join("answerer-1");
        mBystander.Join("bystander-1");
        for (WireClient* client : {&mAsker, &mAnswerer, &mBystander}) client->EverythingSoFar();
    }

    std::vector<ReceivedFrame> MessagesSoFar(WireClient& inClient) {
        std::vector<ReceivedFrame> messages = inClient.EverythingSoFar();
        std::erase_if(messages,
                      [](const ReceivedFrame& inFrame) { return inFrame.kind != wire::FrameKind::Data; });
        return messages;
    }
    /// Returns once the broker has read all that inClient has sent.
    void Settle(WireClient& inClient) { inClient.Status(); }

    TemporaryDirectory mDirectory;
    BrokerProcess mBroker{mDirectory.Path()};
    WireClient mAsker{mBroker.SocketPath()};
    WireClient mAnswerer{mBroker.SocketPath()};
    WireClient mBystander{mBroker.SocketPath()};
};

TEST_F(Routing, MessageToOneReachesThatOneUnchangedAndTheAnswerComesBack) {
    mAsker.SendMessage(1, mAnswerer.Slot(), "question", "how?");
    const auto question = mAnswerer.Next(wire::FrameKind::Data);
    ASSERT_TRUE(question);
    EXPECT_EQ(question->type, "question");
    EXPECT_EQ(question->payload, "how?");
    EXPECT_EQ(question->sequence, 1U);
    EXPECT_EQ(question->source, mAsker.Slot());
    mAnswerer.SendMessage(1, question->source, "answer", "so");
    EXPECT_EQ(mAsker.Next(wire::FrameKind::Data)->payload, "so");
    EXPECT_TRUE(MessagesSoFar(mBystander).empty());
}

TEST_F(Routing, SourceIsStampedWhateverTheSenderClaims) {
    mAsker.SendMessage(1, mAnswerer.Slot(), "t", "p", mBystander.Slot());
    EXPECT_EQ(mAnswerer.Next(wire::FrameKind::Data)->source, mAsker.Slot());
}

TEST_F(Routing, MessageToAllReachesEverybodyButItsSender) {
    mAsker.SendMessage(1, wire::kEveryone, "news", "all");
    EXPECT_EQ(mAnswerer.Next(wire::FrameKind::Data)->payload, "all");
    EXPECT_EQ(mBystander.Next(wire::FrameKind::Data)->payload, "all");
    EXPECT_TRUE(MessagesSoFar(mAsker).empty());
}

TEST_F(Routing, MessageToASlotThatIsNoMoreIsDroppedAndCounted) {
    mAsker.SendMessage(1, 987654, "t", "p");
    mAsker.SendMessage(2, mAnswerer.Slot(), "t", "next");
    EXPECT_EQ(mAnswerer.Next(wire::FrameKind::Data)->payload, "next");
    EXPECT_EQ(boost::json::parse(mAsker.Status()).at_pointer("/totals/dropped"), 1);
    EXPECT_TRUE(MessagesSoFar(mBystander).empty());
}

TEST_F(Routing, ManyMessagesOfAllSizesKeepTheirOrder) {
    constexpr wire::Sequence kCount = 10000;
    std::thread sender([this] {
        std::string batch;
        for (wire::Sequence sequence = 1; sequence <= kCount; ++sequence) {
            batch += MessageFrame(sequence, mAnswerer.Slot(), "t",
                                  std::string(sequence % 97, 'x') + std::to_string(sequence));
            if (batch.size() > 30000 || sequence == kCount) {
                mAsker.SendBytes(batch);
                batch.clear();
            }
        }
    });
    wire::Sequence expected = 0;
    while (expected != kCount) {
        const auto message = mAnswerer.Next(wire::FrameKind::Data);
        if (!message || message->sequence != expected + 1) break;
        ++expected;
        EXPECT_EQ(message->payload, std::string(expected % 97, 'x') + std::to_string(expected));
    }
    sender.join();
    EXPECT_EQ(expected, kCount);
}

TEST_F(Routing, LargestMessagePassesUnchanged) {
    std::string payload(std::size_t{1} << 20U, '\0');
    for (std::size_t i = 0; i != payload.size(); ++i) payload[i] = static_cast<char>(i * 7 + i / 251);
    std::thread sender([&] { mAsker.SendMessage(1, wire::kEveryone, "large", payload); });
    const auto first = mAnswerer.Next(wire::FrameKind::Data);
    const auto second = mBystander.Next(wire::FrameKind::Data);
    sender.join();
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(first->payload == payload);
    EXPECT_TRUE(second->payload == payload);
}

TEST_F(Routing, MessageThatComesByteByByteArrivesWhole) {
    for (const char byte : MessageFrame(1, mAnswerer.Slot(), "t", "slowly")) {
        ASSERT_TRUE(mAsker.SendBytes({&byte, 1}));
    }
    EXPECT_EQ(mAnswerer.Next(wire::FrameKind::Data)->payload, "slowly");
}

TEST_F(Routing, ReceiverThatStandsStillStopsNobodyElse) {
    // Far more than its socket takes, but within what the broker grants a lane.
    const std::string payload(60000, 'x');
    wire::Sequence sequence = 0;
    for (int i = 0; i != 60; ++i)
        ASSERT_TRUE(mAsker.SendBytes(MessageFrame(++sequence, mBystander.Slot(), "t", payload)));
    for (int i = 0; i != 200; ++i) {
        mAsker.SendMessage(++sequence, mAnswerer.Slot(), "t", "to one that reads");
        const auto message = mAnswerer.Next(wire::FrameKind::Data);
        ASSERT_TRUE(message);
        ASSERT_EQ(message->sequence, sequence);
    }
    const boost::json::value status = boost::json::parse(mAsker.Status());
    const auto& lanes = status.at_pointer("/members/0/lanes").as_array();
    EXPECT_TRUE(std::any_of(lanes.begin(), lanes.end(), [&](const boost::json::value& inLane) {
        return inLane.at("receiver").to_number<wire::MemberId>() == mBystander.Member() &&
               inLane.at("in_flight_bytes").to_number<std::size_t>() >= 60 * payload.size();
    })) << lanes;
    EXPECT_GT(status.at_pointer("/members/2/queued_bytes").to_number<std::size_t>(), 0U);
    // It is not disconnected for standing still, and gets everything once it reads.
    for (wire::Sequence expected = 1; expected <= 60; ++expected) {
        const auto message = mBystander.Next(wire::FrameKind::Data);
        ASSERT_TRUE(message);
        ASSERT_EQ(message->sequence, expected);
        ASSERT_EQ(message->payload.size(), payload.size());
    }
}

TEST_F(Routing, LastMessagesOfASenderThatExitsAtOnceArrive) {
    WireClient hasty(mBroker.SocketPath());
    hasty.Join("hasty-1");
    // With privileges the socket holds more than the broker takes in one read.
    const int large = 8 << 20;
    ::setsockopt(hasty.Descriptor(), SOL_SOCKET, SO_SNDBUFFORCE, &large, sizeof(large));
    // The broker finds everything at once: the messages, the end of the connection, the end of the process.
    mBroker.Signal(SIGSTOP);
    wire::Sequence sent = 0;
    const std::string payload(20000, 'x');
    while (sent != 100) {
        const std::string frame = MessageFrame(sent + 1, mAnswerer.Slot(), "t", payload);
        const std::size_t taken = hasty.SendWhatFits(frame);
        if (taken != frame.size()) break;
        ++sent;
    }
    ASSERT_GT(sent, 1U);
    hasty.Process().End();
    mBroker.Signal(SIGCONT);
    wire::Sequence last = 0;
    for (;;) {
        const auto frame = mAnswerer.Next();
        ASSERT_TRUE(frame);
        if (frame->kind == wire::FrameKind::Data) {
            ASSERT_EQ(frame->sequence, ++last);
        } else if (frame->kind == wire::FrameKind::Peer && frame->peer.change == wire::PeerChange::Gone) {
            break;  // told of its end after its last message only
        }
    }
    EXPECT_EQ(last, sent);
}

TEST_F(Routing, MemberThatOnlySendsGetsNothing) {
    WireClient mute(mBroker.SocketPath());
    mute.Join("mute-1", false);
    mAsker.SendMessage(1, wire::kEveryone, "news", "all");
    Settle(mAsker);
    EXPECT_TRUE(MessagesSoFar(mute).empty());
    mute.SendMessage(1, wire::kEveryone, "t", "spoken");
    EXPECT_EQ(mAsker.Next(wire::FrameKind::Data)->payload, "spoken");
}

}  // namespace
