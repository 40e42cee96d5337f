// Messages and end points as values.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include "PlexaMessage5/Message.h"

using namespace orvane::plexa::api5;

namespace {

constexpr char kUntouched = '#';

/// A text fetched as hosts do, checked for its size: the byte behind it stays as it was.
template <typename Size, typename Copy>
std::string Fetch(const Size& inSize, const Copy& inCopy) {
    const std::size_t size = inSize();
    std::string buffer(size + 1, kUntouched);
    inCopy(buffer.data());
    EXPECT_EQ(buffer[size], kUntouched);
    EXPECT_EQ(buffer[size - 1], '\0');
    EXPECT_EQ(std::strlen(buffer.c_str()) + 1, size);
    return buffer.c_str();
}

std::string PayloadOf(const SuiteMessage& inMessage) {
    return Fetch([&] { return inMessage.GetPayloadSize(); }, [&](char* out) { inMessage.GetPayload(out); });
}

std::string TextOf(const PlexaMessage& inMessage) {
    return Fetch([&] { return inMessage.GetMessageTextSize(); },
                 [&](char* out) { inMessage.GetMessageText(out); });
}

std::string AppIdOf(const PlexaMessage& inMessage) {
    return Fetch([&] { return inMessage.GetAppIdSize(); }, [&](char* out) { inMessage.GetAppId(out); });
}

}  // namespace

TEST(SuiteMessages, SizesCountTheTerminator) {
    SuiteMessage message("type");
    EXPECT_EQ(message.GetPayloadSize(), 1U);
    EXPECT_EQ(PayloadOf(message), "");
    message.SetPayload("abc");
    EXPECT_EQ(message.GetPayloadSize(), 4U);
    EXPECT_EQ(PayloadOf(message), "abc");
    EXPECT_EQ(message.GetAppIdSize(), 1U);
    EXPECT_EQ(AppIdOf(message), "");
}

TEST(SuiteMessages, NullTextsStandForEmptyOnes) {
    SuiteMessage message(nullptr);
    EXPECT_EQ(TextOf(message), "<message><type></type></message>");
    message.SetPayload("x");
    message.SetPayload(nullptr);
    EXPECT_EQ(PayloadOf(message), "");
}

TEST(SuiteMessages, TheEnvelopeTellsTypeAndSource) {
    SuiteMessage message("plexa.test");
    EXPECT_EQ(TextOf(message), "<message><type>plexa.test</type></message>");
    message.SetSource({"A-1", 1, 2});
    EXPECT_EQ(TextOf(message), "<message><type>plexa.test</type><source>A-1</source></message>");
    EXPECT_EQ(AppIdOf(message), "A-1");
    message.SetPayload("<payload/>");
    EXPECT_EQ(TextOf(message), "<message><type>plexa.test</type><source>A-1</source></message>");
}

TEST(SuiteMessages, KeepTheirDestination) {
    SuiteMessage message("t");
    EXPECT_EQ(message.GetDestination(), EndPoint::INVALID_ENDPOINT);
    message.SetDestination({"B-1", 3, 4});
    EXPECT_EQ(message.GetDestination(), EndPoint("B-1", 3, 4));
}

TEST(ErrorMessages, TellErrorAndFault) {
    const ErrorMessage message("t", "Not delivered", "B-1: it has left");
    EXPECT_EQ(Fetch([&] { return message.GetErrorSize(); }, [&](char* out) { message.GetError(out); }),
              "Not delivered");
    EXPECT_EQ(Fetch([&] { return message.GetFaultSize(); }, [&](char* out) { message.GetFault(out); }),
              "B-1: it has left");
    EXPECT_EQ(TextOf(message), "<message><type>t</type></message>");
    EXPECT_EQ(dynamic_cast<const SuiteMessage*>(static_cast<const PlexaMessage*>(&message)), nullptr);
}

TEST(EndPoints, CompareAsAWhole) {
    const EndPoint one("A-1", 1, 10);
    EXPECT_EQ(one, EndPoint("A-1", 1, 10));
    EXPECT_NE(one, EndPoint("A-2", 1, 10));
    EXPECT_NE(one, EndPoint("A-1", 2, 10));
    EXPECT_NE(one, EndPoint("A-1", 1, 11));
    EXPECT_NE(one, EndPoint::INVALID_ENDPOINT);
    const EndPoint copy =
        one;  // NOLINT(performance-unnecessary-copy-initialization): the copy is what is tested
    EXPECT_EQ(copy, one);
}

TEST(EndPoints, WithoutAnAppIdAreInvalidWhateverElseTheySay) {
    EXPECT_EQ(EndPoint(), EndPoint::INVALID_ENDPOINT);
    EXPECT_EQ(EndPoint("", 7, 8), EndPoint::INVALID_ENDPOINT);
    EXPECT_EQ(EndPoint(nullptr, 7, 8), EndPoint::INVALID_ENDPOINT);
}

TEST(EndPoints, AppIdsEndAtTheirFirstNul) {
    const EndPoint cut("A-1\0rest", 1, 2);
    EXPECT_EQ(cut, EndPoint("A-1", 1, 2));
    EXPECT_EQ(cut.GetAppIdSize(), 4U);
}

TEST(EndPoints, KeepTheirNumbers) {
    const EndPoint point("A", std::numeric_limits<std::uint64_t>::max(), -1);
    EXPECT_EQ(point.GetInstance(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(point.GetProcessId(), -1);
}
