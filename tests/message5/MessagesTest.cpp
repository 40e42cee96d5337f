// Messages between processes, through the real broker.
#include <gtest/gtest.h>

#include "Bus.h"
#include "Peer.h"

TEST(Messages, AProcessStartsTheBrokerAndIsReady) {
    Bus bus;
    Peer a;
    a.Tell("start A-1");
    EXPECT_EQ(a.Await("started"), "started 0");
    EXPECT_EQ(a.Await("refresh"), "refresh 1 ready");
    a.Tell("list");
    EXPECT_EQ(a.Await("list"), "list A-1");
}

TEST(Messages, AMessageReachesItsDestinationOnly) {
    Bus bus;
    Peer a;
    Peer b;
    Peer c;
    JoinAll({&a, &b, &c});
    a.Tell("send B-1 t hello there");
    EXPECT_EQ(a.Await("sent"), "sent 0");
    EXPECT_EQ(b.Await("got"), "got A-1 t hello there");
    a.Tell("send C-1 u next");
    EXPECT_EQ(c.Await("got"), "got A-1 u next");
}

TEST(Messages, ABroadcastReachesEveryoneButItsSender) {
    Bus bus;
    Peer a;
    Peer b;
    Peer c;
    JoinAll({&a, &b, &c});
    a.Tell("send - t all");
    EXPECT_EQ(b.Await("got"), "got A-1 t all");
    EXPECT_EQ(c.Await("got"), "got A-1 t all");
    b.Tell("send A-1 t afterwards");
    EXPECT_EQ(a.Await("got"), "got B-1 t afterwards");
}

TEST(Messages, TenThousandMessagesArriveInOrder) {
    Bus bus;
    Peer a;
    Peer b;
    Peer c;
    JoinAll({&a, &b, &c});
    b.Set("count n");
    c.Set("count n");
    a.Tell("burst - n 10000");
    EXPECT_EQ(a.Await("sent"), "sent 0");
    EXPECT_EQ(b.AwaitCount("A-1", 10000), "counted A-1 10000 in order");
    EXPECT_EQ(c.AwaitCount("A-1", 10000), "counted A-1 10000 in order");
}

TEST(Messages, LargePayloadsArriveWholeAndLargerOnesAreRefused) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
    for (const char* size : {"4095", "65536", "262144", "1048576"}) {
        a.Tell(std::string("fill B-1 t ") + size);
        EXPECT_EQ(a.Await("sent"), "sent 0");
        EXPECT_EQ(b.Await("got"), std::string("got A-1 t size ") + size);
    }
    a.Tell("fill B-1 t 1048577");
    EXPECT_EQ(a.Await("sent"), "sent 3");
    a.Tell("send B-1 t still");
    EXPECT_EQ(b.Await("got"), "got A-1 t still");
}

TEST(Messages, AMessageToOneselfIsDelivered) {
    Bus bus;
    Peer a;
    a.Join("A-1");
    a.Tell("send A-1 t me");
    EXPECT_EQ(a.Await("got"), "got A-1 t me");
    a.Set("count n");
    a.Tell("burst A-1 n 1000");
    EXPECT_EQ(a.AwaitCount("A-1", 1000), "counted A-1 1000 in order");
}

TEST(Messages, AnAnswerFromInsideReceiveArrives) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
    b.Set("answer ask");
    for (const char* text : {"one", "two", "three"}) {
        a.Tell(std::string("send B-1 ask ") + text);
        EXPECT_EQ(a.Await("got"), std::string("got B-1 answer ") + text);
    }
}

TEST(Messages, WhatArrivesBeforeAListenerIsEnabledWaits) {
    Bus bus;
    Peer a;
    Peer b;
    a.Join("A-1");
    b.Tell("instance B-1");
    EXPECT_EQ(b.Await("started"), "started 0");
    b.Tell("send - t first");  // makes it join
    EXPECT_EQ(a.Await("got"), "got B-1 t first");
    a.AwaitEndPoints(2);
    a.Tell("send B-1 t early");
    EXPECT_EQ(a.Await("sent"), "sent 0");
    b.Tell("enable");
    EXPECT_EQ(b.Await("got"), "got A-1 t early");
}

TEST(Messages, TheListOfEndPointsFollowsThoseThatComeAndGo) {
    Bus bus;
    Peer a;
    Peer b;
    a.Join("A-1");
    b.Join("B-1");
    EXPECT_EQ(a.Await("refresh"), "refresh 2 ready");
    b.Tell("release");
    EXPECT_EQ(a.Await("refresh"), "refresh 1 ready");
    {
        Peer c;
        c.Join("C-1");
        EXPECT_EQ(a.Await("refresh"), "refresh 2 ready");
    }
    EXPECT_EQ(a.Await("refresh"), "refresh 1 ready");
}

TEST(Messages, TheListIsOrderedByTheTimeOfJoining) {
    Bus bus;
    Peer z;
    Peer m;
    Peer a;
    z.Join("Z-1");
    m.Join("M-1");
    a.Join("A-1");
    for (Peer* peer : {&z, &m, &a}) {
        peer->AwaitEndPoints(3);
        peer->Tell("list");
        EXPECT_EQ(peer->Await("list"), "list Z-1 M-1 A-1");
    }
}
