// Clients that break the rules: each loses its own connection, with the reason in the log, and nobody else
// notices.
#include <array>
#include <cstring>
#include <functional>
#include <ostream>

#include <gtest/gtest.h>
#include <boost/json.hpp>

#include "BrokerProcess.h"
#include "Eventually.h"
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

/// The frame that one of the wire's functions writes.
template <typename Writer>
std::string FrameOf(Writer inWrite) {
    wire::BufferPool pool(4096);
    wire::OutputQueue queue;
    inWrite(queue, pool);
    iovec piece{};
    queue.Gather({&piece, 1});
    return {static_cast<const char*>(piece.iov_base), piece.iov_len};
}

std::string JoinFrame(const std::function<void(wire::Join&)>& inSpoil) {
    wire::Join join;
    join.appId = "offender-1";
    inSpoil(join);
    return FrameOf([&](auto& outQueue, auto& inPool) { wire::Write(outQueue, inPool, join); });
}

/// A JOIN whose fields all lie in the same place.
std::string OverlappingJoinFrame() {
    std::string frame = JoinFrame([](wire::Join&) {});
    const auto number = [&](std::size_t inAt) {
        std::int32_t value = 0;
        std::memcpy(&value, frame.data() + inAt, sizeof(value));
        return value;
    };
    const std::size_t table = wire::kHeaderBytes + static_cast<std::size_t>(number(wire::kHeaderBytes));
    const std::size_t places = table - static_cast<std::size_t>(number(table));
    std::uint16_t bytes = 0;
    std::memcpy(&bytes, frame.data() + places, sizeof(bytes));
    constexpr std::uint16_t kPlace = 4;
    for (std::size_t at = places + 4; at != places + bytes; at += sizeof(kPlace)) {
        std::memcpy(frame.data() + at, &kPlace, sizeof(kPlace));
    }
    return frame;
}

// Whoever joins first gets the first slot: the witness, another one, the offender.
constexpr wire::Slot kWitness = 1;
constexpr wire::Slot kOffender = 3;

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
    {"JoinWhoseFieldsOverlap", Moment::kGreeted, OverlappingJoinFrame, wire::WireError::kBadTable},
    {"JoinWithoutAnAppId", Moment::kGreeted,
     [] { return JoinFrame([](wire::Join& outJoin) { outJoin.appId.clear(); }); },
     wire::WireError::kBadAppId},
    {"JoinWithTooManyTypes", Moment::kGreeted,
     [] { return JoinFrame([](wire::Join& outJoin) { outJoin.interest.emplace(1025, "t"); }); },
     wire::WireError::kBadInterest},
    {"JoinThatCarriesWhatIsStillToCome", Moment::kGreeted,
     [] { return JoinFrame([](wire::Join& outJoin) { outJoin.carriedFrom = 2; }); },
     wire::WireError::kBadSequence},
    {"AcknowledgementOfWhatWasNeverSent", Moment::kJoined,
     [] {
         return FrameOf([](auto& outQueue, auto& inPool) {
             const std::array entries = {wire::AckEntry(kWitness, 8, 1000)};
             wire::WriteAcks(outQueue, inPool, entries);
         });
     },
     wire::WireError::kBadPosition},
    {"PositionThatNobodyAskedFor", Moment::kJoined,
     [] {
         return FrameOf([](auto& outQueue, auto& inPool) {
             wire::WritePosition(outQueue, inPool, wire::kNoSlot, kWitness, {0, 0});
         });
     },
     wire::WireError::kOutOfOrder},
    {"MessageToItself", Moment::kJoined, [] { return MessageFrame(1, kOffender, "t", "p"); },
     wire::WireError::kBadAddress},
    {"LeaveOfNoKind", Moment::kJoined,
     [] { return RawFrame(wire::FrameKind::Leave, std::string(8, '\x07')); }, wire::WireError::kBadBody},
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

TEST_F(HostileEnding, AsksForTheStatusByTheThousandEndTheConnectionBeforeTheyAreAnswered) {
    WireClient witness(mBroker.SocketPath());
    witness.Join("witness-1");
    WireClient offender(mBroker.SocketPath());
    offender.Greet();
    std::string asks;
    for (int i = 0; i != 5000; ++i) asks += RawFrame(wire::FrameKind::StatusRequest, "");
    offender.SendBytes(asks);
    std::size_t answers = 0;
    while (const auto frame = offender.Next()) answers += frame->kind == wire::FrameKind::StatusReply ? 1 : 0;
    EXPECT_LE(answers, 1U);
    EXPECT_TRUE(offender.IsClosed());
    EXPECT_NE(witness.Status(), "");
}

TEST_F(HostileEnding, HeadersOfLargeFramesReserveNoMemory) {
    WireClient witness(mBroker.SocketPath());
    witness.Join("witness-1");
    const std::string header = MessageFrame(1, witness.Slot(), "t", std::string(1000000, 'x')).substr(0, 40);
    std::vector<std::unique_ptr<WireClient>> offenders;
    for (int i = 0; i != 40; ++i) {
        offenders.push_back(std::make_unique<WireClient>(mBroker.SocketPath()));
        offenders.back()->Join("offender-1");
        offenders.back()->SendBytes(header);
    }
    EXPECT_TRUE(Eventually([&] {
        const boost::json::value status = boost::json::parse(witness.Status());
        return status.at_pointer("/memory/in_use").to_number<std::size_t>() < (std::size_t{1} << 20U);
    }));
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
