// What a sender is told when a message can't arrive.
#include <gtest/gtest.h>

#include <csignal>

#include "Bus.h"
#include "Peer.h"

TEST(Errors, AMessageThatAReceiverHadInHandWhenItWasKilledIsNotConfirmed) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
    b.Set("hold t");
    a.Tell("send B-1 t stay");
    b.Await("held stay");
    b.Kill();
    const std::string error = a.Await("error");
    EXPECT_EQ(error, "error t Delivery not confirmed|B-1: its process ended");
}

TEST(Errors, MessagesToAReceiverThatLeavesWithoutTakingThemAreNotDelivered) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
    b.Set("hold t");
    a.Tell("send B-1 t first");
    b.Await("held first");
    a.Tell("send B-1 u second");
    EXPECT_EQ(a.Await("sent"), "sent 0");
    b.Set("leave-on t");  // at the end of the call that runs
    b.Tell("go");
    EXPECT_EQ(b.Await("left inside"), "left inside");
    EXPECT_EQ(a.Await("error"), "error u Not delivered|B-1: it has left");
    EXPECT_FALSE(a.HasCome("error t"));
}

TEST(Errors, ABroadcastToAReceiverThatEndsIsNoError) {
    Bus bus;
    Peer a;
    Peer b;
    Peer c;
    JoinAll({&a, &b, &c});
    b.Set("hold t");
    a.Tell("send - t all");
    b.Await("held all");
    c.Await("got A-1 t all");
    b.Kill();
    a.AwaitEndPoints(2);
    EXPECT_FALSE(a.HasCome("error"));
}
