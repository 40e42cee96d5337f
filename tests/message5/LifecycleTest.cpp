// Starting, leaving, and what may be done inside a call.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "Bus.h"
#include "Eventually.h"
#include "Peer.h"

TEST(Lifecycle, OfTenProcessesThatStartTogetherOneStartsTheBroker) {
    constexpr std::size_t kCount = 10;
    Bus bus;
    std::vector<std::unique_ptr<Peer>> peers;
    for (std::size_t i = 0; i != kCount; ++i) peers.push_back(std::make_unique<Peer>());
    for (std::size_t i = 0; i != kCount; ++i) peers[i]->Tell("start P-" + std::to_string(i));
    for (const auto& peer : peers) peer->AwaitEndPoints(kCount);
    EXPECT_TRUE(Eventually([&] { return bus.CountBrokers() == 1; })) << bus.CountBrokers();
}

TEST(Lifecycle, TheBrokerIsNoChildOfItsStarter) {
    Bus bus;
    pid_t broker = 0;
    Peer b;
    {
        Peer a;
        a.Join("A-1");
        b.Join("B-1");
        broker = bus.Broker();
        a.Kill();
    }
    b.AwaitEndPoints(1);
    EXPECT_EQ(bus.Broker(), broker);
}

TEST(Lifecycle, ASenderThatReleasesRightAfterSendingHasHandedOver) {
    Bus bus;
    Peer b;
    b.Join("B-1");
    for (int i = 0; i != 10; ++i) {
        Peer a;
        a.Join("A-1");
        a.AwaitEndPoints(2);
        a.Tell("send B-1 t bye");
        a.Tell("release");
        a.Tell("exit");
        EXPECT_EQ(a.AwaitExit(), 0);
        EXPECT_EQ(b.Await("got"), "got A-1 t bye");
        b.AwaitEndPoints(1);
    }
}

TEST(Lifecycle, ABroadcastBeforeTheConnectionIsMadeIsHandedOver) {
    Bus bus;
    Peer b;
    b.Join("B-1");
    Peer a;
    a.Tell("instance A-1");
    a.Tell("send - t soon");
    a.Tell("release");
    EXPECT_EQ(a.Await("released"), "released");
    EXPECT_EQ(b.Await("got"), "got A-1 t soon");
}

TEST(Lifecycle, TheLastReleaseInsideReceiveReturnsAndLeaves) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
    b.Set("leave-on t");
    a.Tell("send B-1 t leave");
    EXPECT_EQ(b.Await("left inside"), "left inside");
    a.AwaitEndPoints(1);
    // A dispatcher pointer from before does nothing, and a new instance is a new member.
    b.Tell("list");
    EXPECT_EQ(b.Await("list"), "list");
    b.Set("leave-on nothing");
    b.Join("B-1");
    a.AwaitEndPoints(2);
    a.Tell("send B-1 t again");
    EXPECT_EQ(b.Await("got"), "got A-1 t again");
}

TEST(Lifecycle, RemovingAListenerWaitsForItsCall) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
    b.Set("hold t");
    a.Tell("send B-1 t stay");
    b.Await("held stay");
    b.Tell("remove");
    b.Await("removing");
    EXPECT_FALSE(b.HasCome("removed"));
    b.Tell("go");
    EXPECT_EQ(b.Await("released"), "released stay");
    EXPECT_EQ(b.Await("removed"), "removed 0");
}

TEST(Lifecycle, AListenerMayRemoveItselfInsideItsCall) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
    b.Set("remove-on t");
    a.Tell("send B-1 t go");
    EXPECT_EQ(b.Await("removed inside"), "removed inside");
    b.Set("remove-on nothing");
    a.Tell("send B-1 t unheard");
    a.Await("sent");
    b.Tell("enable");
    b.Await("enabled");
    a.Tell("send B-1 t heard");
    const std::string got = b.Await("got");
    EXPECT_TRUE(got == "got A-1 t heard" || got == "got A-1 t unheard") << got;
}

TEST(Lifecycle, AProcessThatEndsWithoutReleasingDoesNotCrash) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
    a.Set("count n");
    b.Tell("burst A-1 n 5000");
    a.Tell("exit");
    EXPECT_EQ(a.AwaitExit(), 0);
    b.AwaitEndPoints(1);
}

TEST(Lifecycle, WhileAListenerRunsForLongItsProcessSendsAndKeepsUp) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
    b.AwaitEndPoints(2);
    a.Set("count n");
    b.Set("hold t");
    a.Tell("send B-1 t stay");
    b.Await("held stay");
    // More than a window: without reports being read it would stop.
    b.Tell("burst A-1 n 50000");
    EXPECT_EQ(b.Await("sent"), "sent 0");
    EXPECT_EQ(a.AwaitCount("B-1", 50000), "counted B-1 50000 in order");
    b.Tell("go");
    EXPECT_EQ(b.Await("released"), "released stay");
}
