// The rules of a single header: whatever a peer puts there has a named answer.
#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>

#include "wire/Frame.h"

namespace orvane::plexa::test {
namespace {

using wire::CheckHeader;
using wire::Direction;
using wire::FrameFlag;
using wire::FrameHeader;
using wire::FrameKind;
using wire::WireError;

FrameHeader Header(FrameKind inKind, std::size_t inType, std::size_t inPayload) {
    FrameHeader header;
    header.mutate_kind(inKind);
    header.mutate_type_length(static_cast<std::uint16_t>(inType));
    header.mutate_payload_length(static_cast<std::uint32_t>(inPayload));
    header.mutate_length(static_cast<std::uint32_t>(wire::FrameBytes(inType, inPayload)));
    header.mutate_sequence(inKind == FrameKind::Data ? 1 : 0);
    return header;
}

const wire::Limits kLimits;

TEST(FrameHeader, LiesWhereTheDocumentSays) {
    alignas(8) std::array<std::byte, 64> bytes{};
    auto& header = wire::BeginFrame(bytes.data(), FrameKind::Data, 4, 9);
    header.mutate_flags(wire::Bit(FrameFlag::ReportSoon));
    header.mutate_source(0x11);
    header.mutate_destination(0x22);
    header.mutate_sequence(0x33);
    const auto at = [&](std::size_t inOffset) { return std::to_integer<unsigned>(bytes[inOffset]); };
    EXPECT_EQ(at(0), 48U);
    EXPECT_EQ(at(4), 7U);
    EXPECT_EQ(at(5), 4U);
    EXPECT_EQ(at(6), 4U);
    EXPECT_EQ(at(8), 0x11U);
    EXPECT_EQ(at(12), 0x22U);
    EXPECT_EQ(at(16), 0x33U);
    EXPECT_EQ(at(24), 9U);
}

TEST(FrameHeader, PaddingIsZero) {
    alignas(8) std::array<std::byte, 48> bytes{};
    bytes.fill(std::byte{0xFF});
    wire::BeginFrame(bytes.data(), FrameKind::Data, 1, 8);
    for (std::size_t i = 41; i != 48; ++i) {
        EXPECT_EQ(bytes[i], std::byte{0});
    }
}

TEST(FrameHeader, ACompleteOneIsAccepted) {
    EXPECT_EQ(CheckHeader(Header(FrameKind::Data, 5, 100), Direction::kToBroker, kLimits), WireError::kNone);
    EXPECT_EQ(CheckHeader(Header(FrameKind::Data, 0, 0), Direction::kToClient, kLimits), WireError::kNone);
    EXPECT_EQ(CheckHeader(Header(FrameKind::Data, kLimits.maxTypeText, kLimits.maxPayload),
                          Direction::kToClient, kLimits),
              WireError::kNone);
}

TEST(FrameHeader, EveryWrongLengthHasItsName) {
    const auto with = [](std::uint32_t inLength) {
        FrameHeader header = Header(FrameKind::Data, 5, 100);
        header.mutate_length(inLength);
        return CheckHeader(header, Direction::kToBroker, kLimits);
    };
    EXPECT_EQ(with(0), WireError::kFrameTooShort);
    EXPECT_EQ(with(24), WireError::kFrameTooShort);
    EXPECT_EQ(with(31), WireError::kFrameTooShort);
    EXPECT_EQ(with(137), WireError::kFrameUnaligned);
    EXPECT_EQ(with(136), WireError::kLengthsDisagree);
    EXPECT_EQ(with(152), WireError::kLengthsDisagree);
    EXPECT_EQ(with(0xFFFFFFF8U), WireError::kFrameTooLong);
    EXPECT_EQ(with(0xFFFFFFFFU), WireError::kFrameTooLong);
}

TEST(FrameHeader, LengthsThatOverflowTheirSumAreCaught) {
    FrameHeader header = Header(FrameKind::Data, 0, 0);
    header.mutate_payload_length(0xFFFFFFFFU);
    EXPECT_EQ(CheckHeader(header, Direction::kToBroker, kLimits), WireError::kLengthsDisagree);
    header.mutate_payload_length(0);
    header.mutate_type_length(0xFFFF);
    EXPECT_EQ(CheckHeader(header, Direction::kToBroker, kLimits), WireError::kLengthsDisagree);
}

TEST(FrameHeader, TooMuchOfOnePartIsTooLongEvenIfTheFrameIsNot) {
    EXPECT_EQ(CheckHeader(Header(FrameKind::Data, kLimits.maxTypeText + 1, 0), Direction::kToBroker, kLimits),
              WireError::kFrameTooLong);
    EXPECT_EQ(CheckHeader(Header(FrameKind::Data, 0, kLimits.maxPayload + 1), Direction::kToBroker, kLimits),
              WireError::kFrameTooLong);
    EXPECT_EQ(
        CheckHeader(Header(FrameKind::Ack, 0, kLimits.maxControlPayload + 16), Direction::kToBroker, kLimits),
        WireError::kFrameTooLong);
}

TEST(FrameHeader, EachKindGoesOnlyItsWay) {
    const std::set<FrameKind> toBroker{FrameKind::Hello,  FrameKind::Join,     FrameKind::Data,
                                       FrameKind::Ack,    FrameKind::Position, FrameKind::Attach,
                                       FrameKind::Detach, FrameKind::Interest, FrameKind::Leave};
    const std::set<FrameKind> toClient{FrameKind::Welcome, FrameKind::Refuse, FrameKind::Peer,
                                       FrameKind::Joined,  FrameKind::Data,   FrameKind::Report,
                                       FrameKind::Position};
    for (unsigned kind = 0; kind != 128; ++kind) {
        const auto value = static_cast<FrameKind>(kind);
        const FrameHeader header = Header(value, 0, 0);
        const bool known = toBroker.contains(value) || toClient.contains(value);
        const auto other = known ? WireError::kWrongDirection : WireError::kUnknownKind;
        EXPECT_EQ(CheckHeader(header, Direction::kToBroker, kLimits),
                  toBroker.contains(value) ? WireError::kNone : other)
            << kind;
        EXPECT_EQ(CheckHeader(header, Direction::kToClient, kLimits),
                  toClient.contains(value) ? WireError::kNone : other)
            << kind;
    }
}

TEST(FrameHeader, UnknownKindsFrom128UpMayBeSkippedWhateverTheyCarry) {
    for (unsigned kind = 130; kind != 256; ++kind) {
        FrameHeader header = Header(static_cast<FrameKind>(kind), 3, 70);
        header.mutate_flags(0xFF);
        EXPECT_TRUE(wire::IsSkippable(header.kind()));
        EXPECT_EQ(CheckHeader(header, Direction::kToBroker, kLimits), WireError::kNone);
        header.mutate_length(header.length() + 8);
        EXPECT_EQ(CheckHeader(header, Direction::kToBroker, kLimits), WireError::kLengthsDisagree);
    }
    EXPECT_FALSE(wire::IsSkippable(FrameKind::StatusRequest));
    EXPECT_EQ(CheckHeader(Header(FrameKind::StatusRequest, 0, 0), Direction::kToClient, kLimits),
              WireError::kWrongDirection);
}

TEST(FrameHeader, FlagsBelongToMessagesAndToAgreedFeatures) {
    FrameHeader data = Header(FrameKind::Data, 0, 0);
    data.mutate_flags(2 | 4 | 8);
    EXPECT_EQ(CheckHeader(data, Direction::kToBroker, kLimits), WireError::kNone);
    for (const unsigned flag : {1U, 16U, 32U, 64U, 128U}) {
        data.mutate_flags(static_cast<std::uint8_t>(flag));
        EXPECT_EQ(CheckHeader(data, Direction::kToBroker, kLimits), WireError::kBadFlags) << flag;
    }
    FrameHeader ack = Header(FrameKind::Ack, 0, 0);
    ack.mutate_flags(4);
    EXPECT_EQ(CheckHeader(ack, Direction::kToBroker, kLimits), WireError::kBadFlags);
}

TEST(FrameHeader, MessagesAreCountedFromOne) {
    FrameHeader header = Header(FrameKind::Data, 0, 0);
    header.mutate_sequence(0);
    EXPECT_EQ(CheckHeader(header, Direction::kToBroker, kLimits), WireError::kBadSequence);
    header.mutate_sequence(~0ULL);
    EXPECT_EQ(CheckHeader(header, Direction::kToBroker, kLimits), WireError::kBadSequence);
    header.mutate_sequence(wire::kMaxSequence);
    EXPECT_EQ(CheckHeader(header, Direction::kToBroker, kLimits), WireError::kNone);
}

TEST(FrameHeader, OnlyMessagesHaveATypeText) {
    EXPECT_EQ(CheckHeader(Header(FrameKind::Ack, 8, 0), Direction::kToBroker, kLimits),
              WireError::kLengthsDisagree);
}

TEST(Errors, EachHasATextOfItsOwn) {
    std::set<std::string_view> texts;
    for (int i = 0; i <= static_cast<int>(WireError::kRefused); ++i) {
        EXPECT_TRUE(texts.insert(wire::Text(static_cast<WireError>(i))).second) << i;
    }
    EXPECT_FALSE(texts.contains("an unknown error"));
    EXPECT_EQ(wire::Text(static_cast<WireError>(255)), "an unknown error");
    std::set<std::string_view> limits;
    for (int i = 0; i <= static_cast<int>(wire::LimitName::kArrears); ++i) {
        EXPECT_TRUE(limits.insert(wire::Text(static_cast<wire::LimitName>(i))).second) << i;
    }
    EXPECT_FALSE(limits.contains("an unknown limit"));
}

}  // namespace
}  // namespace orvane::plexa::test
