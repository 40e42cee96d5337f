// Registering and unregistering observers of notifications.
#include <stdexcept>
#include <thread>

#include "client/ClientFixture.h"
#include "nuoplexasupport/Notifications.h"

namespace nuoplexasupport {
namespace {

using doubles::LockWatch;
using testing::ElementsAre;
using testing::IsEmpty;

const ImmutableString kKind("weather");
const ImmutableString kSubKind("storm");

class Observers : public ClientFixture {
  protected:
    Observers() {
        Startup();
        mDouble.Refresh();
        mDouble.ClearCalls();
    }
    static bool Register(const WeakClient& inClient) {
        return RegisterTaviNotificationObserver(inClient, kKind, kSubKind);
    }
    static bool Unregister(const WeakClient& inClient) {
        return UnregisterTaviNotificationObserver(inClient, kKind, kSubKind);
    }
    /// The observer namespaces of a kind in the order of registering.
    static std::vector<std::string> Namespaces(const ImmutableString& inKind = kKind,
                                               const ImmutableString& inSubKind = kSubKind) {
        std::vector<std::string> namespaces;
        const auto [begin, end] = sNotificationSubscriptionClientsMap.equal_range({inKind, inSubKind});
        for (auto entry = begin; entry != end; ++entry) {
            namespaces.emplace_back(entry->second.second.View());
        }
        return namespaces;
    }
    static std::string Type(const std::string& inNamespace) { return "plexa.SuiteMessage." + inNamespace; }
    static std::string Message(const std::string& inAction, const std::string& inNamespace,
                               const std::string& inKind = "weather",
                               const std::string& inSubKind = "storm") {
        return "type=plexa.SuiteMessage.zarn.notifications payload=<?xml version=\"1.0\" "
               "encoding=\"utf-8\" ?><NEMessage action=\"" +
               inAction + "\"><observer-namespace>" + inNamespace + "</observer-namespace><sub-type>" +
               inSubKind + "</sub-type><type>" + inKind + "</type></NEMessage> source=SELF-1";
    }
};

TEST_F(Observers, AreSubscribedEnteredAndMadeKnown) {
    const auto client = MakeClient("a");
    EXPECT_TRUE(Register(client));
    const auto namespaces = Namespaces();
    ASSERT_EQ(namespaces.size(), 1U);
    const auto id = Guid::Parse(namespaces[0]);
    ASSERT_TRUE(id);
    EXPECT_FALSE(id->IsNull());
    EXPECT_EQ(id->AsUTF8String(), UTF8String(namespaces[0]));
    ASSERT_EQ(sMessageSubscriptionClientsMap.size(), 1U);
    EXPECT_EQ(sMessageSubscriptionClientsMap.begin()->first.View(), Type(namespaces[0]));
    EXPECT_EQ(sMessageSubscriptionClientsMap.begin()->second.lock(), client);
    EXPECT_EQ(sNotificationSubscriptionClientsMap.begin()->second.first.lock(), client);
    EXPECT_THAT(TakeSends(), ElementsAre(Message("RegisterObserver", namespaces[0])));

    EXPECT_TRUE(Unregister(client));
    EXPECT_TRUE(sMessageSubscriptionClientsMap.empty());
    EXPECT_TRUE(sNotificationSubscriptionClientsMap.empty());
    EXPECT_THAT(TakeSends(), ElementsAre(Message("UnregisterObserver", namespaces[0])));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Observers, RegisteredTwiceHaveTwoNamespacesAndGoWithOneUnregistration) {
    const auto client = MakeClient("a");
    EXPECT_TRUE(Register(client));
    EXPECT_TRUE(Register(client));
    const auto namespaces = Namespaces();
    ASSERT_EQ(namespaces.size(), 2U);
    EXPECT_NE(namespaces[0], namespaces[1]);
    EXPECT_EQ(sMessageSubscriptionClientsMap.size(), 2U);
    EXPECT_THAT(TakeSends(), ElementsAre(Message("RegisterObserver", namespaces[0]),
                                         Message("RegisterObserver", namespaces[1])));
    EXPECT_TRUE(Unregister(client));
    EXPECT_TRUE(sMessageSubscriptionClientsMap.empty());
    EXPECT_TRUE(sNotificationSubscriptionClientsMap.empty());
    EXPECT_THAT(TakeSends(), ElementsAre(Message("UnregisterObserver", namespaces[0]),
                                         Message("UnregisterObserver", namespaces[1])));
}

TEST_F(Observers, OfOneKindStayWhenAnotherClientGoes) {
    const auto a = MakeClient("a");
    const auto b = MakeClient("b");
    Register(a);
    Register(b);
    const auto namespaces = Namespaces();
    TakeSends();
    EXPECT_TRUE(Unregister(a));
    EXPECT_THAT(Namespaces(), ElementsAre(namespaces[1]));
    EXPECT_THAT(TakeSends(), ElementsAre(Message("UnregisterObserver", namespaces[0])));
    Arrive(Type(namespaces[1]).c_str(), "words");
    EXPECT_THAT(TakeCalls(), ElementsAre("b: raw " + Type(namespaces[1]) + " 'words' from PEER-1"));
}

TEST_F(Observers, AreToldApartByTypeAndSubType) {
    const auto client = MakeClient("a");
    const ImmutableString other("other");
    RegisterTaviNotificationObserver(client, kKind, kSubKind);
    RegisterTaviNotificationObserver(client, kSubKind, kKind);
    RegisterTaviNotificationObserver(client, kKind, other);
    const auto swapped = Namespaces(kSubKind, kKind);
    TakeSends();
    EXPECT_TRUE(UnregisterTaviNotificationObserver(client, kSubKind, kKind));
    EXPECT_THAT(TakeSends(), ElementsAre(Message("UnregisterObserver", swapped.at(0), "storm", "weather")));
    EXPECT_EQ(Namespaces().size(), 1U);
    EXPECT_EQ(Namespaces(kKind, other).size(), 1U);
}

TEST_F(Observers, OfAKindThatNobodyRegisteredAreUnregisteredWithoutAWord) {
    const auto client = MakeClient("a");
    const auto other = MakeClient("b");
    EXPECT_TRUE(Unregister(client));
    Register(other);
    TakeSends();
    EXPECT_TRUE(Unregister(client));
    EXPECT_THAT(TakeSends(), IsEmpty());
    EXPECT_EQ(Namespaces().size(), 1U);
}

TEST_F(Observers, ThatExpiredGoWithAnExpiredClientAndNobodyElse) {
    const auto live = MakeClient("live");
    auto gone = MakeClient("gone");
    auto goneToo = MakeClient("goneToo");
    Register(gone);
    Register(live);
    Register(goneToo);
    RegisterTaviNotificationObserver(gone, kKind, kKind);
    const auto namespaces = Namespaces();
    const WeakClient expired = gone;
    gone.reset();
    goneToo.reset();
    TakeSends();
    EXPECT_TRUE(Unregister(expired));
    EXPECT_THAT(Namespaces(), ElementsAre(namespaces[1]));
    EXPECT_EQ(Namespaces(kKind, kKind).size(), 1U) << "of another kind";
    EXPECT_EQ(sMessageSubscriptionClientsMap.size(), 2U);
    EXPECT_THAT(TakeSends(), ElementsAre(Message("UnregisterObserver", namespaces[0]),
                                         Message("UnregisterObserver", namespaces[2])));
}

TEST_F(Observers, ThatExpiredGoAlsoWithALiveClient) {
    const auto client = MakeClient("a");
    auto gone = MakeClient("gone");
    Register(gone);
    Register(client);
    const auto namespaces = Namespaces();
    gone.reset();
    TakeSends();
    EXPECT_TRUE(Unregister(client));
    EXPECT_THAT(Namespaces(), IsEmpty());
    EXPECT_TRUE(sMessageSubscriptionClientsMap.empty());
    EXPECT_EQ(TakeSends().size(), 2U);
}

TEST_F(Observers, TakeExpiredSubscriptionsToTheirMessageTypeWithThem) {
    const auto client = MakeClient("a");
    const auto live = MakeClient("live");
    auto gone = MakeClient("gone");
    Register(client);
    const ImmutableString type(Type(Namespaces().at(0)));
    SubscribeToMessage(live, type);
    SubscribeToMessage(gone, type);
    gone.reset();
    EXPECT_TRUE(Unregister(client));
    ASSERT_EQ(sMessageSubscriptionClientsMap.size(), 1U);
    EXPECT_EQ(sMessageSubscriptionClientsMap.begin()->second.lock(), live);
}

TEST_F(Observers, WithoutANamespaceGoSilently) {
    const auto client = MakeClient("a");
    SubscribeToMessage(client, ImmutableString("plexa.SuiteMessage."));
    sNotificationSubscriptionClientsMap.emplace(std::pair(kKind, kSubKind),
                                                std::pair(WeakClient(client), ImmutableString()));
    EXPECT_TRUE(Unregister(client));
    EXPECT_TRUE(sNotificationSubscriptionClientsMap.empty());
    EXPECT_EQ(sMessageSubscriptionClientsMap.size(), 1U);
    EXPECT_THAT(TakeSends(), IsEmpty());
}

TEST_F(Observers, StayWhenTheServiceCannotBeToldAndCanBeRemovedThen) {
    const auto client = MakeClient("a");
    mDouble.mOnSend = [] { throw std::runtime_error("from the dispatcher"); };
    EXPECT_FALSE(Register(client));
    EXPECT_EQ(Namespaces().size(), 1U);
    EXPECT_EQ(sMessageSubscriptionClientsMap.size(), 1U);
    EXPECT_EQ(mAssertions.Records().size(), 1U);
    EXPECT_TRUE(Unregister(client)) << "whatever becomes of the message";
    EXPECT_TRUE(sNotificationSubscriptionClientsMap.empty());
    EXPECT_TRUE(sMessageSubscriptionClientsMap.empty());
    EXPECT_EQ(mAssertions.Records().size(), 2U);
}

TEST_F(Observers, AreChangedInOneStepAndMadeKnownWithoutTheLock) {
    const auto client = MakeClient("a");
    int checks = 0;
    mDouble.mOnSend = [&checks] {
        std::thread([&checks] {
            SubscribeToMessage({}, ImmutableString("the lock is free"));
            ++checks;
        }).join();
    };
    LockWatch locks;
    Register(client);
    auto acquisitions = locks.Acquisitions();
    EXPECT_EQ(acquisitions.at(0), "nuoplexasupport::RegisterTaviNotificationObserver|60000");
    EXPECT_EQ(acquisitions.at(1), "nuoplexasupport::PlexaInterface::Send|60000");
    locks.Clear();
    Unregister(client);
    acquisitions = locks.Acquisitions();
    EXPECT_EQ(acquisitions.at(0), "nuoplexasupport::UnregisterTaviNotificationObserver|60000");
    EXPECT_EQ(acquisitions.at(1), "nuoplexasupport::PlexaInterface::Send|60000");
    EXPECT_EQ(checks, 2);
}

TEST_F(Observers, GetNotificationsWithTheTypesOfTheMessageEvenBeforeTheRegistrationReturns) {
    const auto client = MakeClient("a");
    mDouble.mOnSend = [] {
        Arrive(Type(Namespaces().at(0)).c_str(),
               R"(<n v="1"><notification-signal type="T" sub-type="S"/><text>hello</text></n>)");
    };
    EXPECT_TRUE(Register(client));
    EXPECT_THAT(TakeCalls(), ElementsAre("a: notification T/S "
                                         R"({"notification-signal":{"__attributes__":)"
                                         R"({"sub-type":"S","type":"T"}},"text":"hello"})"));
}

TEST_F(Observers, GetAnyOtherMessageOfTheirTypeAsAnOrdinaryOne) {
    const auto client = MakeClient("a");
    Register(client);
    const std::string type = Type(Namespaces().at(0));
    Arrive(type.c_str(), "<n v=\"1\"><text>hello</text></n>");
    EXPECT_THAT(TakeCalls(), ElementsAre("a: object " + type + R"( {"text":"hello"})"));
}

TEST_F(Observers, LeftAtShutdownAreReported) {
    auto client = MakeClient("a");
    Register(client);
    client.reset();
    Shutdown();
    const auto records = mLog.Records();
    ASSERT_EQ(records.size(), 1U);
    const auto& fields = records[0].mFields;
    EXPECT_EQ(boost::any_cast<std::uint64_t>(fields.at(0).second), 1U) << fields.at(0).first;
    EXPECT_EQ(boost::any_cast<std::uint64_t>(fields.at(1).second), 1U) << fields.at(1).first;
    EXPECT_EQ(fields.at(1).first, "notificationClients");
}

}  // namespace
}  // namespace nuoplexasupport
