// Bounds at which a process is told no, through its dispatcher.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Bus.h"
#include "Eventually.h"
#include "Member.h"
#include "Peer.h"
#include "TraceLines.h"

using namespace orvane::plexa::api5;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

void Set(const char* inName, const char* inValue) {
    ::setenv(inName, inValue, 1);  // NOLINT(concurrency-mt-unsafe): before any thread is started
}

/// A member whose listener stays in the call for "stay" until Go.
struct Held {
    Held() {
        member.Send("stay", member.dispatcher->GetSelfEndPoint());
        inside.get_future().wait();
    }
    ~Held() { Go(); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    void Go() {
        if (!gone) go.set_value();
        gone = true;
    }

    std::promise<void> inside;
    std::promise<void> go;
    bool gone = false;
    Member member{[this](const std::string& inText) {
        if (inText == "stay") {
            inside.set_value();
            go.get_future().wait();
        }
    }};
};

/// Another end point than the process's own; INVALID_ENDPOINT while there is none.
EndPoint Other(IPlexaMessageDispatcher& inDispatcher) {
    EndPoint other = EndPoint::INVALID_ENDPOINT;
    EndPoint* list = nullptr;
    std::size_t count = 0;
    inDispatcher.GetEndPointList(&list, &count);
    for (std::size_t i = 0; i != count; ++i)
        if (list[i] != inDispatcher.GetSelfEndPoint()) other = list[i];
    inDispatcher.ReleaseEndPointList(list);
    return other;
}

}  // namespace

TEST(Limits, SendsToOneselfWaitForRoomOnceAndThenFailUntilSomethingMoves) {
    const Bus bus;
    Set("PLEXA_LIMIT_LOG", "64K");
    Set("PLEXA_LIMIT_STALL", "2s");
    Held held;
    const EndPoint self = held.member.dispatcher->GetSelfEndPoint();
    const std::string text(10'000, 'x');
    const auto begin = Clock::now();
    for (int i = 0; i != 20; ++i)
        EXPECT_EQ(held.member.Send(text.c_str(), self), kPlexaMessageErrorCode_None);
    // One wait, not one for each of the fourteen that found no room.
    EXPECT_GE(Clock::now() - begin, 2s);
    EXPECT_LT(Clock::now() - begin, 20s);
    held.Go();
    EXPECT_TRUE(Eventually([&] { return held.member.listener.Count() == 21; }));
    EXPECT_TRUE(held.member.listener.Has("error Test-1: the limit \"log\" was reached"));
    held.member.Send("room again", self);
    EXPECT_TRUE(held.member.listener.Gets("room again"));
}

TEST(Limits, TheDeliveryThreadHasAReserveAndNeverWaits) {
    const Bus bus;
    Set("PLEXA_LIMIT_LOG", "64K");
    Set("PLEXA_LIMIT_LOG_RESERVE", "64K");
    const std::string text(10'000, 'x');
    IPlexaMessageDispatcher* dispatcher = nullptr;
    Member member([&](const std::string& inText) {
        if (inText != "go") return;
        SuiteMessage message("t");
        message.SetPayload(text.c_str());
        message.SetDestination(dispatcher->GetSelfEndPoint());
        for (int i = 0; i != 20; ++i) dispatcher->SendMessage(message);
    });
    dispatcher = member.dispatcher;
    member.Send("go", dispatcher->GetSelfEndPoint());
    EXPECT_TRUE(Eventually([&] { return member.listener.Count() == 21; }));
    EXPECT_TRUE(member.listener.Has("error Test-1: the limit \"log reserve\" was reached"));
    EXPECT_TRUE(member.listener.Has(text));
}

TEST(Limits, AReceiverThatEndsWhileASendWaitsForRoomIsNamed) {
    const Bus bus;
    Set("PLEXA_LIMIT_LOG", "64K");
    Set("PLEXA_LIMIT_STALL", "60s");
    Member member;
    Peer receiver;
    receiver.Join("B-1");
    receiver.Set("hold t");
    EndPoint to;
    ASSERT_TRUE(Eventually([&] { return (to = Other(*member.dispatcher)) != EndPoint::INVALID_ENDPOINT; }));
    member.Send("hold", to);
    receiver.Await("held");
    std::atomic<int> sent = 0;
    std::thread sender([&] {
        const std::string text(10'000, 'x');
        for (; sent != 7; ++sent) member.Send(text.c_str(), to);
    });
    EXPECT_TRUE(Eventually([&] { return sent == 6; }));
    std::this_thread::sleep_for(50ms);  // the next one finds no room
    receiver.Kill();
    sender.join();
    EXPECT_TRUE(Eventually([&] { return member.listener.Has("error B-1: no such end point is known"); }));
    EXPECT_TRUE(Eventually([&] { return member.listener.Count() == 8; }));
}

TEST(Limits, WhatCannotBeHandedOverWhileAListenerRunsIsTracedAtTheEnd) {
    const Bus bus;
    Set("PLEXA_LIMIT_LINGER", "2s");
    TraceLines trace("PlexaMessage5=1");
    static auto& held = *new Held;  // its call outlives the instance
    for (int i = 0; i != 30; ++i) held.member.Send("late", held.member.dispatcher->GetSelfEndPoint());
    IPlexaMessageDispatcher::ReleaseInstance();
    EXPECT_TRUE(
        trace.Contain("Not delivered: \"t\" to Test-1: this process is leaving and cannot wait any longer"));
    EXPECT_TRUE(trace.Contain("10 more messages failed before this"));
    held.Go();
}

TEST(Limits, LeavingIsOverWhenTheTimeForLingeringIsThoughAReceiverStandsStill) {
    const Bus bus;
    Set("PLEXA_LIMIT_LINGER", "2s");
    TraceLines trace("PlexaMessage5=1");
    Peer receiver;
    receiver.Join("B-1");
    {
        const Member member;
        EndPoint to;
        ASSERT_TRUE(
            Eventually([&] { return (to = Other(*member.dispatcher)) != EndPoint::INVALID_ENDPOINT; }));
        ::kill(receiver.Process(), SIGSTOP);
        member.Send("late", to);
    }
    EXPECT_TRUE(trace.Contain(
        "Delivery not confirmed: \"t\" to B-1: this process is leaving and cannot wait any longer"))
        << "nothing may be left for later";
}

TEST(Limits, ASettingThatCannotBeReadIsTraced) {
    const Bus bus;
    Set("PLEXA_LIMIT_LOG", "much");
    TraceLines trace("PlexaMessage5=1");
    const Member member;
    EXPECT_TRUE(Eventually([&] {
        return trace.Contain("PLEXA_LIMIT_LOG=\"much\" is not a size from 64K to 1G; the default holds.");
    }));
}

TEST(Limits, AsManyWantedTypesAsAConnectionCarriesMayBeNamed) {
    const Bus bus;
    std::vector<std::string> texts;
    std::vector<const char*> types;
    const auto want = [&](std::size_t inLength) {
        texts.clear();
        types.clear();
        for (int i = 0; i != 1024; ++i) {
            texts.push_back(std::to_string(1000 + i));
            texts.back().resize(inLength, 'x');
        }
        for (const std::string& text : texts) types.push_back(text.c_str());
        return SetInterest(types.data(), types.size());
    };
    EXPECT_EQ(want(1000), kPlexaMessageErrorCode_InvalidParameter);
    EXPECT_EQ(want(81), kPlexaMessageErrorCode_InvalidParameter);
    EXPECT_EQ(want(80), kPlexaMessageErrorCode_None);
    Member member;
    EXPECT_EQ(want(80), kPlexaMessageErrorCode_None);
    Peer other;
    other.Join("B-1");
    other.AwaitEndPoints(2);
    other.Tell("send - unwanted no");
    other.Tell("send - " + texts.back() + " yes");
    EXPECT_TRUE(member.listener.Gets("yes"));
    EXPECT_EQ(member.listener.Count(), 1U);
}
