// Clients that break the rules: each loses its own connection, with the reason in the log, and nobody else
// notices.
#include <cstring>
#include <functional>
#include <ostream>

#include <gtest/gtest.h>

#include "BrokerProcess.h"
#include "WireClient.h"

namespace {

/// A frame that only the caller answers for.
std::string RawFrame(wire::FrameKind inKind, std::string_view inPayload,
                     const std::function<void(wire::FrameHeader&)>& inSpoil = {}) {
    std::string bytes(wire::FrameBytes(0, inPayload.size()), '\0');
    auto* const frame = reinterpret_cast<std::byte*>(bytes.data());
    wire::FrameHeader& header = wire::BeginFrame(frame, inKind, 0, inPayload.size());
    std::memcpy(frame + wire::kHeaderBytes, inPayload.data(), inPayload.size());
    if (inSpoil) inSpoil(header);
    return bytes;
}

enum class Moment { kAtOnce, kGreeted, kJoined };

struct Offence {
    const char* name;
    Moment moment;
    std::function<std::string()> bytes;
    wire::WireError error;
};

std::ostream& operator<<(std::ostream& outStream, const Offence& inOffence) {
    return outStream << inOffence.name;
}

std::string Random(std::size_t inLength) {
    std::string bytes(inLength, '\0');
    std::uint32_t state = 12345;
    for (char& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24U);
    }
    return bytes;
}

const std::vector<Offence> kOffences = {
    {"TextOfAnotherProtocol", Moment::kAtOnce,
     [] { return std::string("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"); }, wire::WireError::kFrameTooLong},
    {"RandomBytes", Moment::kAtOnce, [] { return Random(100000); }, wire::WireError::kFrameTooLong},
    {"ZeroBytes", Moment::kAtOnce, [] { return std::string(4096, '\0'); }, wire::WireError::kFrameTooShort},
    {"LengthThatIsNoMultipleOfEight", Moment::kAtOnce,
     [] {
         return RawFrame(wire::FrameKind::Hello, "12345678",
                         [](auto& outHeader) { outHeader.mutate_length(36); });
     },
     wire::WireError::kFrameUnaligned},
    {"PayloadLongerThanItsFrame", Moment::kJoined,
     [] {
         return RawFrame(wire::FrameKind::Data, "12345678",
                         [](auto& outHeader) { outHeader.mutate_payload_length(1000); });
     },
     wire::WireError::kLengthsDisagree},
    {"FrameOfFourGigabytes", Moment::kJoined,
     [] {
         return RawFrame(wire::FrameKind::Data, "",
                         [](auto& outHeader) { outHeader.mutate_length(0xFFFFFFF8U); });
     },
     wire::WireError::kFrameTooLong},
    {"GreetingWithoutMagic", Moment::kAtOnce,
     [] { return RawFrame(wire::FrameKind::Hello, "no table at all."); }, wire::WireError::kBadTable},
    {"MessageBeforeTheGreeting", Moment::kAtOnce, [] { return MessageFrame(1, wire::kEveryone, "t", "p"); },
     wire::WireError::kBadMagic},
    {"MessageBeforeJoining", Moment::kGreeted, [] { return MessageFrame(1, wire::kEveryone, "t", "p"); },
     wire::WireError::kOutOfOrder},
    {"AcknowledgementBeforeJoining", Moment::kGreeted,
     [] { return RawFrame(wire::FrameKind::Ack, std::string(16, '\0')); }, wire::WireError::kOutOfOrder},
    {"JoinThatIsNoTable", Moment::kGreeted,
     [] { return RawFrame(wire::FrameKind::Join, std::string(64, '\x7f')); }, wire::WireError::kBadTable},
    {"KindOfTheOtherDirection", Moment::kJoined,
     [] { return RawFrame(wire::FrameKind::Joined, std::string(16, '\0')); },
     wire::WireError::kWrongDirection},
    {"UnknownKind", Moment::kJoined, [] { return RawFrame(static_cast<wire::FrameKind>(77), ""); },
     wire::WireError::kUnknownKind},
    {"UnknownFlags", Moment::kJoined,
     [] {
         return RawFrame(wire::FrameKind::Leave, std::string(8, '\0'),
                         [](auto& outHeader) { outHeader.mutate_flags(0x80); });
     },
     wire::WireError::kBadFlags},
    {"HalfAnAcknowledgement", Moment::kJoined,
     [] { return RawFrame(wire::FrameKind::Ack, std::string(9, '\0')); }, wire::WireError::kBadBody},
    {"MessageNumberedZero", Moment::kJoined, [] { return MessageFrame(0, wire::kEveryone, "t", "p"); },
     wire::WireError::kBadSequence},
    {"SecondGreeting", Moment::kJoined,
     [] { return RawFrame(wire::FrameKind::Hello, std::string(16, '\0')); }, wire::WireError::kOutOfOrder},
};

class HostileInput : public ::testing::TestWithParam<Offence> {
  protected:
    TemporaryDirectory mDirectory;
    BrokerProcess mBroker{mDirectory.Path()};
};

TEST_P(HostileInput, EndsItsOwnConnectionOnlyAndTheReasonIsLogged) {
    WireClient witness(mBroker.SocketPath());
    witness.Join("witness-1");
    WireClient other(mBroker.SocketPath());
    other.Join("other-1");

    WireClient offender(mBroker.SocketPath());
    if (GetParam().moment == Moment::kGreeted) offender.Greet();
    if (GetParam().moment == Moment::kJoined) offender.Join("offender-1");
    offender.SendBytes(GetParam().bytes());
    EXPECT_TRUE(offender.IsClosed());
    EXPECT_TRUE(mBroker.Logs(std::string(wire::Text(GetParam().error)))) << mBroker.Log();
    EXPECT_TRUE(
        mBroker.Logs("process " + std::to_string(offender.Process().Process()) + " closed for a fault"));

    other.SendMessage(1, witness.Slot(), "t", "undisturbed");
    const auto message = witness.Next(wire::FrameKind::Data);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->payload, "undisturbed");
}

INSTANTIATE_TEST_SUITE_P(Every, HostileInput, ::testing::ValuesIn(kOffences),
                         [](const auto& inInfo) { return std::string(inInfo.param.name); });

class HostileEnding : public ::testing::Test {
  protected:
    TemporaryDirectory mDirectory;
    BrokerProcess mBroker{mDirectory.Path()};
};

TEST_F(HostileEnding, InsideAFrameIsLogged) {
    WireClient offender(mBroker.SocketPath());
    offender.Join("offender-1");
    offender.SendBytes(MessageFrame(1, wire::kEveryone, "t", "payload").substr(0, 36));
    offender.Close();
    EXPECT_TRUE(mBroker.Logs(std::string(wire::Text(wire::WireError::kEndInsideFrame))));
}

TEST_F(HostileEnding, UnknownKindFromOneHundredTwentyEightUpIsSkipped) {
    WireClient client(mBroker.SocketPath());
    client.Join("client-1");
    client.SendBytes(RawFrame(static_cast<wire::FrameKind>(200), "whatever"));
    EXPECT_NE(client.Status(), "");
}

TEST_F(HostileEnding, BytesBehindAWrongFrameAreNotBelieved) {
    WireClient witness(mBroker.SocketPath());
    witness.Join("witness-1");
    WireClient offender(mBroker.SocketPath());
    offender.Join("offender-1");
    offender.SendBytes(RawFrame(static_cast<wire::FrameKind>(77), "") +
                       MessageFrame(1, wire::kEveryone, "t", "believed"));
    EXPECT_TRUE(offender.IsClosed());
    for (const ReceivedFrame& frame : witness.EverythingSoFar()) EXPECT_NE(frame.kind, wire::FrameKind::Data);
}

}  // namespace
