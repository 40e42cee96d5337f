// The broker killed under its clients.
#include <gtest/gtest.h>

#include "Bus.h"
#include "Peer.h"

TEST(Restart, ProcessesGoOnWhenTheBrokerWasKilledBetweenMessages) {
    Bus bus;
    Peer a;
    Peer b;
    a.Join("A-1");
    b.Join("B-1");
    a.AwaitEndPoints(2);
    b.AwaitEndPoints(2);
    for (int i = 0; i != 5; ++i) {
        bus.KillBroker();
        a.Tell("send B-1 t there");
        EXPECT_EQ(b.Await("got"), "got A-1 t there");
        b.Tell("send A-1 t back");
        EXPECT_EQ(a.Await("got"), "got B-1 t back");
    }
    EXPECT_FALSE(a.HasCome("refresh"));
    EXPECT_FALSE(a.HasCome("error"));
}

TEST(Restart, NothingIsLostOrDoubledWhenTheBrokerIsKilledUnderLoad) {
    Bus bus;
    Peer a;
    Peer b;
    Peer c;
    a.Join("A-1");
    b.Join("B-1");
    c.Join("C-1");
    a.AwaitEndPoints(3);
    b.Set("count n");
    c.Set("count n");
    a.Tell("burst - n 100000");
    for (int i = 0; i != 3; ++i) bus.KillBroker();
    EXPECT_EQ(a.Await("sent"), "sent 0");
    EXPECT_EQ(b.AwaitCount("A-1", 100000), "counted A-1 100000 in order");
    EXPECT_EQ(c.AwaitCount("A-1", 100000), "counted A-1 100000 in order");
}
