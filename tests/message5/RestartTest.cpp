// The broker killed or stopped under its clients.
#include <chrono>
#include <csignal>
#include <ctime>
#include <thread>

#include <gtest/gtest.h>

#include "Bus.h"
#include "Peer.h"

TEST(Restart, ProcessesGoOnWhenTheBrokerWasKilledBetweenMessages) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
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

TEST(Restart, AProcessThatLingersIsNoEndPointAgain) {
    Bus bus;
    Peer leaving;
    Peer slow;
    Peer watcher;
    Peer other;
    leaving.Join("L-1");
    slow.Join("S-1");
    watcher.Join("W-1");
    other.Join("O-1");
    leaving.AwaitEndPoints(4);
    other.AwaitEndPoints(4);
    slow.Set("hold t");
    leaving.Tell("send S-1 t stay");
    slow.Await("held stay");
    leaving.Tell("release");  // and lingers until that is handled
    watcher.AwaitEndPoints(3);
    ::kill(leaving.Process(), SIGSTOP);
    bus.KillBroker();
    other.Tell("send W-1 t there");
    EXPECT_EQ(watcher.Await("got"), "got O-1 t there");
    watcher.Tell("list");
    EXPECT_EQ(watcher.Await("list"), "list S-1 W-1 O-1") << "while it is away";
    ::kill(leaving.Process(), SIGCONT);
    slow.Tell("go");
    leaving.Await("released");
    EXPECT_FALSE(watcher.HasCome("refresh")) << "when it was back";
}

TEST(Restart, NothingIsLostOrDoubledWhenTheBrokerIsKilledUnderLoad) {
    Bus bus;
    Peer a;
    Peer b;
    Peer c;
    JoinAll({&a, &b, &c});
    b.Set("count n");
    c.Set("count n");
    a.Tell("burst - n 100000");
    for (int i = 0; i != 3; ++i) bus.KillBroker();
    EXPECT_EQ(a.Await("sent"), "sent 0");
    EXPECT_EQ(b.AwaitCount("A-1", 100000), "counted A-1 100000 in order");
    EXPECT_EQ(c.AwaitCount("A-1", 100000), "counted A-1 100000 in order");
}

namespace {

/// In milliseconds.
long ProcessorTime(pid_t inProcess) {
    clockid_t clock{};
    timespec time{};
    EXPECT_EQ(::clock_getcpuclockid(inProcess, &clock), 0);
    EXPECT_EQ(::clock_gettime(clock, &time), 0);
    return time.tv_sec * 1000 + time.tv_nsec / 1'000'000;
}

}  // namespace

TEST(Restart, AProcessSleepsWhileAStoppedBrokerTakesNothing) {
    Bus bus;
    Peer a;
    Peer b;
    JoinAll({&a, &b});
    b.AwaitEndPoints(2);
    a.Set("hold t");
    b.Tell("send A-1 t stay");
    a.Await("held stay");
    const pid_t broker = bus.Broker();
    ASSERT_EQ(::kill(broker, SIGSTOP), 0);
    a.Tell("fill B-1 u 1000000");  // more than the socket takes
    a.Await("sent");
    a.Tell("go");  // what is acknowledged now is due before the socket has room
    a.Await("released");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const long before = ProcessorTime(a.Process());
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_LT(ProcessorTime(a.Process()) - before, 200);
    ASSERT_EQ(::kill(broker, SIGCONT), 0);
    EXPECT_EQ(b.Await("got"), "got A-1 u size 1000000");
    b.Tell("send A-1 u back");
    EXPECT_EQ(a.Await("got"), "got B-1 u back");
}
