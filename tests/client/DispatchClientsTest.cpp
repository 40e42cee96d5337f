// What clients do while they are being served.
#include <chrono>
#include <stdexcept>
#include <thread>

#include "client/DispatchFixture.h"
#include "nuocore/JSON.h"

namespace nuoplexasupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(Dispatch, ClientsAreCalledWithoutTheLock) {
    const auto a = Subscribed("a");
    Await(a, kId1);
    int calls = 0;
    a->mOnReceive = [&] {
        std::thread([&] {
            SubscribeToMessage({}, ImmutableString("U"));
            ++calls;
        }).join();
    };
    Arrive("T", WithId("requestId", kId1));
    EXPECT_EQ(calls, 2);
}

TEST_F(Dispatch, AClientMayUnsubscribeAndSubscribeInsideItsCall) {
    const auto a = Subscribed("a");
    const auto b = Subscribed("b");
    a->mOnReceive = [&] {
        UnsubscribeFromMessage(a, ImmutableString("T"));
        UnsubscribeFromMessage(b, ImmutableString("T"));
        SubscribeToMessage(a, ImmutableString("U"));
    };
    // The list of this message stands: the other client is still served.
    Arrive("T", "1");
    EXPECT_THAT(TakeCalls(), ElementsAre("a: raw T '1' from PEER-1", "b: raw T '1' from PEER-1"));
    Arrive("T", "2");
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(Dispatch, AClientMaySendAndAskInsideItsCall) {
    const auto a = Subscribed("a");
    mDouble.Refresh();
    mDouble.ClearCalls();
    a->mOnReceive = [&] {
        SendPlexaMessage(ImmutableString("U"), "sent inside", "");
        SendClientRequest(a, ImmutableString("ASK"), ImmutableString("ANSWER"), *Guid::Parse(kId1), {},
                          kPlexaSerializationFlavor_JSON, kPlexaRequestIDKeyType_RequestId, "");
    };
    Arrive("T", "words");
    EXPECT_THAT(TakeSends(), ElementsAre("type=U payload=sent inside source=SELF-1",
                                         "type=ASK payload=" + WithId("requestId", kId1) + " source=SELF-1"));
    EXPECT_EQ(sResponseMap.count(ImmutableString("ANSWER")), 1U);
}

TEST_F(Dispatch, ASubscriberMadeByTheResponseSeesTheMessage) {
    const auto a = MakeClient("a");
    const auto b = MakeClient("b");
    Await(a, kId1);
    a->mOnReceive = [&] { SubscribeToMessage(b, ImmutableString("T")); };
    Arrive("T", WithId("requestId", kId1, R"(,"x":"1")"));
    EXPECT_THAT(TakeCalls(), ElementsAre(testing::StartsWith("a: response"), R"(b: object T {"x":"1"})"));
}

TEST_F(Dispatch, AClientThatThrowsDoesNotKeepOthersFromBeingServed) {
    const auto a = Subscribed("a");
    const auto b = Subscribed("b");
    Await(a, kId1);
    a->mOnReceive = [] { throw std::runtime_error("from a client"); };
    EXPECT_NO_THROW(Arrive("T", WithId("requestId", kId1)));
    EXPECT_EQ(TakeCalls().size(), 3U);
    a->mOnReceive = [] { throw 5; };  // NOLINT(misc-throw-by-value-catch-by-reference)
    EXPECT_NO_THROW(Arrive("T", "words"));
    EXPECT_EQ(TakeCalls().size(), 2U);
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
    EXPECT_EQ(mLog.Records().size(), 3U);
}

TEST_F(Dispatch, WhatAClientThrowsIsLoggedWithMessageTypeAndReason) {
    const auto a = Subscribed("a");
    a->mOnReceive = [] { throw std::runtime_error("from a client"); };
    Arrive("T", "words");
    a->mOnReceive = [] { throw 5; };  // NOLINT(misc-throw-by-value-catch-by-reference)
    Arrive("T", "words");
    std::vector<std::string> texts;
    for (const nuocore::log::LogRecord& record : mLog.Records()) {
        texts.push_back(record.mCategory + "|" + record.mFile + "|" + record.mFunction + "|" +
                        record.mMessage);
        for (const auto& [name, value] : record.mFields) {
            texts.back() +=
                "|" + name + "=" + std::string(nuocore::serialization::GetJSONUTF8String(value, false));
        }
    }
    const std::string begin =
        "PlexaClientImpl|..\\..\\src\\PlexaClientImpl|"
        "nuoplexasupport::`anonymous-namespace'::PlexaMessageStaticCallback|"
        "A client threw in a receive operation|messageType=\"T\"|reason=";
    EXPECT_THAT(texts, ElementsAre(begin + "\"from a client\"", begin + "\"unknown exception\""));
}

TEST_F(Dispatch, AClientThatThrowsOnEveryMessageDoesNotFillTheLog) {
    constexpr std::uint64_t kFlood = 10000;
    const auto a = Subscribed("a");
    a->mOnReceive = [] { throw 5; };  // NOLINT(misc-throw-by-value-catch-by-reference)
    for (std::uint64_t i = 0; i < kFlood; ++i) {
        Arrive("T", "words");
    }
    const std::size_t written = mLog.Records().size();
    EXPECT_GE(written, 100U);
    EXPECT_LT(written, kFlood / 2);
    // The next one that is written says how many were left out before it, so that none goes missing.
    std::uint64_t thrown = kFlood;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (mLog.Records().size() == written && std::chrono::steady_clock::now() < deadline) {
        Arrive("T", "words");
        ++thrown;
    }
    std::uint64_t leftOut = 0;
    for (const nuocore::log::LogRecord& record : mLog.Records()) {
        if (record.mFields.back().first == "leftOutBefore") {
            leftOut += boost::any_cast<std::uint64_t>(record.mFields.back().second);
        }
    }
    EXPECT_EQ(mLog.Records().size() + leftOut, thrown);
    EXPECT_EQ(TakeCalls().size(), thrown);
}

TEST_F(Dispatch, AClientLivesUntilItsDeliveryIsOver) {
    auto a = Subscribed("a");
    bool destroyed = false;
    a->mOnDestruction = [&] { destroyed = true; };
    bool livedInside = false;
    a->mOnReceive = [&] {
        a.reset();
        livedInside = !destroyed;
    };
    Arrive("T", "words");
    EXPECT_TRUE(livedInside);
    EXPECT_TRUE(destroyed);
}

TEST_F(Dispatch, AClientMayDestroyTheOneThatIsServedNext) {
    const auto a = Subscribed("a");
    auto b = Subscribed("b");
    bool destroyed = false;
    b->mOnDestruction = [&] { destroyed = true; };
    a->mOnReceive = [&] {
        b.reset();
        EXPECT_FALSE(destroyed);
    };
    Arrive("T", "words");
    EXPECT_THAT(TakeCalls(), ElementsAre("a: raw T 'words' from PEER-1", "b: raw T 'words' from PEER-1"));
    EXPECT_TRUE(destroyed);
}

TEST_F(Dispatch, TheLastShutdownMayHappenInsideADelivery) {
    auto a = Subscribed("a");
    mDouble.Refresh();
    mDouble.ClearCalls();
    a->mOnReceive = [&] { a.reset(); };
    Arrive("T", "words");
    EXPECT_EQ(mDouble.Calls().back(), "ReleaseInstance");
}

}  // namespace
}  // namespace nuoplexasupport
