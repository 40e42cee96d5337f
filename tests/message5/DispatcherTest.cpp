// The dispatcher of the test's own process. Each test runs in a process of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <PlexaMessage5/PlexaMessage5.h>
#include <boost/json.hpp>

#include "Bus.h"
#include "Eventually.h"
#include "Member.h"
#include "Peer.h"
#include "TraceLines.h"
#include "nuocore/Assertion.h"

using namespace orvane::plexa::api5;

namespace {

constexpr auto kNone = kPlexaMessageErrorCode_None;
constexpr auto kAlreadyDone = kPlexaMessageErrorCode_AlreadyDone;
constexpr auto kNotConfigured = kPlexaMessageErrorCode_NotConfigured;
constexpr auto kInvalidParameter = kPlexaMessageErrorCode_InvalidParameter;

struct Refreshes {
    static void Called(void* inContext) { ++static_cast<Refreshes*>(inContext)->count; }
    std::atomic<int> count{0};
};

}  // namespace

TEST(Dispatchers, AreConfiguredWithSensibleNamesOnly) {
    const std::string long250(250, 'x');
    EXPECT_EQ(IPlexaMessageDispatcher::SetConfig(nullptr, "1"), kInvalidParameter);
    EXPECT_EQ(IPlexaMessageDispatcher::SetConfig("A", nullptr), kInvalidParameter);
    EXPECT_EQ(IPlexaMessageDispatcher::SetConfig("", "1"), kInvalidParameter);
    EXPECT_EQ(IPlexaMessageDispatcher::SetConfig("A\n", "1"), kInvalidParameter);
    EXPECT_EQ(IPlexaMessageDispatcher::SetConfig(long250.c_str(), "12345"), kInvalidParameter);
    EXPECT_EQ(IPlexaMessageDispatcher::SetConfig(long250.c_str(), "1234"), kNone);
    EXPECT_EQ(IPlexaMessageDispatcher::SetConfig(long250.c_str(), "1234"), kAlreadyDone);
    EXPECT_EQ(IPlexaMessageDispatcher::SetConfig("A", "1"), kNone);
}

TEST(Dispatchers, AreGivenOnceTheyAreConfiguredAndABrokerIsInstalled) {
    const Bus bus;
    int something = 0;
    auto* dispatcher = reinterpret_cast<IPlexaMessageDispatcher*>(&something);
    EXPECT_EQ(IPlexaMessageDispatcher::GetInstance(nullptr), kInvalidParameter);
    EXPECT_EQ(IPlexaMessageDispatcher::GetInstance(&dispatcher), kNotConfigured);
    EXPECT_EQ(dispatcher, nullptr);
    IPlexaMessageDispatcher::SetConfig("Test", "1");
    ::setenv("PLEXA_BROKER", "/nowhere/OrvaneIPCBroker", 1);  // NOLINT(concurrency-mt-unsafe)
    EXPECT_EQ(IPlexaMessageDispatcher::GetInstance(&dispatcher),
              kPlexaMessageErrorCode_BrokerFileDoesNotExist);
    EXPECT_EQ(dispatcher, nullptr);
    {
        ::setenv("PLEXA_BROKER", NUOPLEXA_BROKER_PROGRAM, 1);  // NOLINT(concurrency-mt-unsafe)
        Peer other;
        other.Join("B-1");
        ::setenv("PLEXA_BROKER", "/nowhere/OrvaneIPCBroker", 1);              // NOLINT(concurrency-mt-unsafe)
        EXPECT_EQ(IPlexaMessageDispatcher::GetInstance(&dispatcher), kNone);  // one runs
        EXPECT_EQ(IPlexaMessageDispatcher::SetConfig("Other", "1"), kInvalidParameter);
        IPlexaMessageDispatcher::ReleaseInstance();
    }
    IPlexaMessageDispatcher::ReleaseInstance();  // one too many does nothing
    EXPECT_EQ(IPlexaMessageDispatcher::SetConfig("Other", "1"), kNone);
}

TEST(Dispatchers, LiveUntilTheLastReferenceAndDoNothingAfterwards) {
    const Bus bus;
    IPlexaMessageDispatcher::SetConfig("Test", "1");
    IPlexaMessageDispatcher* dispatcher = Instance();
    EXPECT_EQ(Instance(), dispatcher);
    Listener listener;
    EXPECT_EQ(dispatcher->GetSelfEndPoint(), EndPoint::INVALID_ENDPOINT);
    dispatcher->AddListener(&listener);
    dispatcher->EnableListener(&listener);
    IPlexaMessageDispatcher::ReleaseInstance();
    EXPECT_TRUE(Eventually([&] { return dispatcher->IsDispatcherReady(); }));
    EXPECT_NE(dispatcher->GetSelfEndPoint(), EndPoint::INVALID_ENDPOINT);
    IPlexaMessageDispatcher::ReleaseInstance();
    EXPECT_FALSE(dispatcher->IsDispatcherReady());
    EXPECT_EQ(dispatcher->GetSelfEndPoint(), EndPoint::INVALID_ENDPOINT);
    EXPECT_EQ(dispatcher->SendMessage(SuiteMessage("t")), kNotConfigured);
    EXPECT_EQ(dispatcher->RemoveListener(&listener), kNotConfigured);
    EndPoint none;
    EndPoint* list = &none;
    std::size_t count = 7;
    EXPECT_EQ(dispatcher->GetEndPointList(&list, &count), kNotConfigured);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0U);
}

TEST(Dispatchers, AnswerRegistrationsWithWhatTheyDid) {
    const Bus bus;
    IPlexaMessageDispatcher::SetConfig("Test", "1");
    IPlexaMessageDispatcher* dispatcher = Instance();
    Listener listener;
    EXPECT_EQ(dispatcher->EnableListener(&listener), kInvalidParameter);
    EXPECT_EQ(dispatcher->AddListener(nullptr), kInvalidParameter);
    EXPECT_EQ(dispatcher->AddListener(&listener), kNone);
    EXPECT_EQ(dispatcher->AddListener(&listener), kAlreadyDone);
    EXPECT_EQ(dispatcher->DisableListener(&listener), kAlreadyDone);
    EXPECT_EQ(dispatcher->EnableListener(&listener), kNone);
    EXPECT_EQ(dispatcher->EnableListener(&listener), kAlreadyDone);
    EXPECT_EQ(dispatcher->DisableListener(&listener), kNone);
    EXPECT_EQ(dispatcher->RemoveListener(&listener), kNone);
    EXPECT_EQ(dispatcher->RemoveListener(&listener), kInvalidParameter);
    Refreshes refreshes;
    EXPECT_EQ(dispatcher->RegisterEndPointRefreshCallback(nullptr, &refreshes), kInvalidParameter);
    EXPECT_EQ(dispatcher->RegisterEndPointRefreshCallback(&Refreshes::Called, &refreshes), kNone);
    EXPECT_EQ(dispatcher->RegisterEndPointRefreshCallback(&Refreshes::Called, &refreshes), kAlreadyDone);
    EXPECT_EQ(dispatcher->UnregisterEndPointRefreshCallback(&Refreshes::Called, nullptr), kInvalidParameter);
    EXPECT_EQ(dispatcher->UnregisterEndPointRefreshCallback(&Refreshes::Called, &refreshes), kNone);
    IPlexaMessageDispatcher::ReleaseInstance();
}

TEST(Dispatchers, TellALateCallbackOnce) {
    const Bus bus;
    const Member member;
    Refreshes refreshes;
    member.dispatcher->RegisterEndPointRefreshCallback(&Refreshes::Called, &refreshes);
    EXPECT_TRUE(Eventually([&] { return refreshes.count == 1; }));
    Peer other;
    other.Join("B-1");
    EXPECT_TRUE(Eventually([&] { return refreshes.count == 2; }));
    member.dispatcher->UnregisterEndPointRefreshCallback(&Refreshes::Called, &refreshes);
    other.Kill();
    EndPoint* list = nullptr;
    std::size_t count = 0;
    EXPECT_TRUE(Eventually([&] {
        member.dispatcher->GetEndPointList(&list, &count);
        member.dispatcher->ReleaseEndPointList(list);
        return count == 1;
    }));
    EXPECT_EQ(refreshes.count, 2);
}

TEST(Dispatchers, RefuseMessagesThatAreTooLong) {
    const Bus bus;
    const Member member;
    const auto send = [&](std::size_t inType, std::size_t inPayload) {
        SuiteMessage message(std::string(inType, 't').c_str());
        message.SetPayload(std::string(inPayload, 'p').c_str());
        return member.dispatcher->SendMessage(message);
    };
    EXPECT_EQ(send(4096, std::size_t{1} << 20U), kNone);
    EXPECT_EQ(send(4097, 0), kInvalidParameter);
    EXPECT_EQ(send(1, (std::size_t{1} << 20U) + 1), kInvalidParameter);
}

TEST(Dispatchers, CallListenersOnOneThreadOfTheirOwn) {
    const Bus bus;
    Peer other;
    other.Join("B-1");
    Member member;
    other.AwaitEndPoints(2);
    other.Tell("burst Test-1 t 1000");
    member.Send("local", member.dispatcher->GetSelfEndPoint());
    member.Send("lost", {"Nobody-1", 1, 1});
    EXPECT_TRUE(Eventually([&] { return member.listener.Count() == 1002; }));
    EXPECT_EQ(member.listener.Threads().size(), 1U);
    EXPECT_FALSE(member.listener.Threads().contains(std::this_thread::get_id()));
}

TEST(Dispatchers, TellOfAMessageToSomebodyUnknown) {
    const Bus bus;
    Member member;
    EXPECT_EQ(member.Send("lost", {"Nobody-1", 1, 1}), kNone);
    EXPECT_TRUE(member.listener.Gets("error Nobody-1: no such end point is known"));
    EXPECT_EQ(member.Send("lost", {"Test-1", std::uint64_t{1} << 40U, 1}), kNone);
    EXPECT_TRUE(member.listener.Gets("error Test-1: no such end point is known"));
}

TEST(Dispatchers, TraceEachFailure) {
    const Bus bus;
    TraceLines trace("PlexaMessage5=1");
    {
        const Member member;
        member.Send("lost", {"Nobody-1", 1, 1});
        EXPECT_TRUE(Eventually([&] { return !trace.Lines().empty(); }));
    }
    EXPECT_EQ(trace.Lines(),
              std::vector<std::string>{
                  "1 PlexaMessage5 Not delivered: \"t\" to Nobody-1: no such end point is known\r\n"});
}

TEST(Dispatchers, ReportWhatAListenerThrowsAndGoOn) {
    const Bus bus;
    std::mutex mutex;
    std::vector<std::string> messages;
    const auto before =
        nuocore::debug::SetAssertionHandler([&](const nuocore::debug::AssertionRecord& inRecord) {
            const std::scoped_lock lock(mutex);
            messages.push_back(inRecord.mMessage);
            return false;
        });
    {
        Member member([](const std::string& inText) {
            if (inText == "one") throw std::runtime_error("from inside");
            if (inText == "two") throw 2;
        });
        const EndPoint self = member.dispatcher->GetSelfEndPoint();
        for (const char* text : {"one", "two", "three"}) member.Send(text, self);
        EXPECT_TRUE(member.listener.Gets("three"));
    }
    nuocore::debug::SetAssertionHandler(before);
    EXPECT_EQ(messages, (std::vector<std::string>{"from inside", "an exception of another kind"}));
}

TEST(Dispatchers, RegisterAndAnswerWhileACallRuns) {
    const Bus bus;
    std::promise<void> inside;
    std::promise<void> go;
    Member member([&](const std::string&) {
        inside.set_value();
        go.get_future().wait();
    });
    member.Send("stay", member.dispatcher->GetSelfEndPoint());
    inside.get_future().wait();
    // None of these waits for the call: this thread is the one that would end it.
    Listener second;
    Refreshes refreshes;
    EXPECT_EQ(Instance(), member.dispatcher);
    IPlexaMessageDispatcher::ReleaseInstance();
    EXPECT_EQ(member.dispatcher->AddListener(&second), kNone);
    EXPECT_EQ(member.dispatcher->EnableListener(&second), kNone);
    EXPECT_EQ(member.dispatcher->RegisterEndPointRefreshCallback(&Refreshes::Called, &refreshes), kNone);
    EXPECT_EQ(member.dispatcher->UnregisterEndPointRefreshCallback(&Refreshes::Called, &refreshes), kNone);
    EXPECT_EQ(member.Send("next", EndPoint()), kNone);
    EXPECT_EQ(member.dispatcher->RemoveListener(&second), kNone);  // isn't the one being called
    go.set_value();
}

TEST(Dispatchers, TakeMessagesFromManyThreads) {
    constexpr int kThreads = 8;
    constexpr int kEach = 2000;
    const Bus bus;
    Peer other;
    other.Join("B-1");
    const Member member;
    other.AwaitEndPoints(2);
    std::vector<std::thread> threads;
    for (int i = 0; i != kThreads; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j != kEach; ++j) member.Send("x", EndPoint());
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i != kThreads * kEach; ++i) ASSERT_EQ(other.Await("got"), "got Test-1 t x");
}

TEST(Dispatchers, LetAListenerSendWithoutBound) {
    // Each message begets one, to the process itself and to the other, from inside Receive.
    const Bus bus;
    Peer other;
    other.Join("B-1");
    other.Set("answer t");
    IPlexaMessageDispatcher* dispatcher = nullptr;
    std::atomic<int> left{2000};
    Member member([&](const std::string& inText) {
        if (left.fetch_sub(1) > 0) {
            SuiteMessage message("t");
            message.SetPayload(inText.c_str());
            dispatcher->SendMessage(message);
        }
    });
    dispatcher = member.dispatcher;
    other.AwaitEndPoints(2);
    for (int i = 0; i != 10; ++i) member.Send("ball", EndPoint());
    EXPECT_TRUE(Eventually([&] { return member.listener.Count() >= 2000; })) << member.listener.Count();
}

TEST(Dispatchers, TakeOnlyTheBroadcastsOfTypesTheyAreInterestedIn) {
    const Bus bus;
    const std::array<const char*, 2> types = {"wanted", "t"};
    EXPECT_EQ(SetInterest(types.data(), types.size()), kNone);
    const char* null = nullptr;
    EXPECT_EQ(SetInterest(&null, 1), kInvalidParameter);
    Member member;
    Peer other;
    other.Join("B-1");
    other.AwaitEndPoints(2);
    other.Tell("send - unwanted no");
    other.Tell("send Test-1 unwanted directly");
    other.Tell("send - wanted yes");
    EXPECT_TRUE(member.listener.Gets("yes"));
    EXPECT_EQ(member.listener.Texts(), (std::vector<std::string>{"directly", "yes"}));
    EXPECT_EQ(SetInterest(nullptr, 0), kNone);
    EXPECT_TRUE(Eventually([&] {
        other.Tell("send - unwanted later");
        other.Await("sent");
        return member.listener.Has("later");
    }));
}

TEST(Dispatchers, WaitAndThenFailWhileTheBrokerStandsStill) {
    using Clock = std::chrono::steady_clock;
    const Bus bus;
    Member member;
    Peer other;
    other.Join("B-1");
    const pid_t broker = bus.Broker();
    EndPoint to;
    EXPECT_TRUE(Eventually([&] {
        EndPoint* list = nullptr;
        std::size_t count = 0;
        member.dispatcher->GetEndPointList(&list, &count);
        if (count == 2) to = list[1];
        member.dispatcher->ReleaseEndPointList(list);
        return count == 2;
    }));
    ::kill(broker, SIGSTOP);
    const std::string text(100000, 'x');
    Clock::duration longest{};
    int sent = 0;
    while (longest < std::chrono::seconds(1) && sent != 1000) {
        const auto begin = Clock::now();
        EXPECT_EQ(member.Send(text.c_str(), to), kNone);
        longest = std::max(longest, Clock::now() - begin);
        ++sent;
    }
    EXPECT_GE(longest, std::chrono::seconds(4));
    EXPECT_LE(longest, std::chrono::seconds(8));
    // The receiver was cut off: each message to it has failed.
    EXPECT_TRUE(Eventually([&] { return static_cast<int>(member.listener.Count()) == sent; }));
    EXPECT_GT(sent, 50);
    ::kill(broker, SIGCONT);
    EXPECT_TRUE(Eventually([&] {
        member.Send("again", to);
        return other.HasCome("got Test-1 t again");
    }));
}

TEST(BrokerStatus, IsAJsonObjectWithTheMembers) {
    const Bus bus;
    std::string text;
    EXPECT_EQ(QueryBrokerStatus(1000, text), kPlexaMessageErrorCode_BrokerProcessDoesNotExist);
    EXPECT_NE(text, "");
    const Member member;
    ASSERT_EQ(QueryBrokerStatus(10000, text), kNone) << text;
    const auto status = boost::json::parse(text).as_object();
    ASSERT_EQ(status.at("members").as_array().size(), 1U) << text;
    EXPECT_EQ(status.at("members").as_array()[0].at("app_id").as_string(), "Test-1");
    ::kill(bus.Broker(), SIGSTOP);
    EXPECT_EQ(QueryBrokerStatus(50, text), kPlexaMessageErrorCode_Unknown);
    EXPECT_EQ(text, "the broker doesn't answer in time");
}
