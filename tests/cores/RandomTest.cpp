// The promise, under many orders of events that nobody thought of. A failing seed is printed and repeats
// exactly.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

#include "World.h"

namespace orvane::plexa::test {
namespace {

using namespace std::chrono_literals;

struct Faults {
    bool connections = false;
    bool broker = false;
    bool processes = false;
    bool expiry = false;
};

/// A run of random steps, and what was sent in it.
class Story {
  public:
    Story(unsigned inSeed, Faults inFaults, const wire::Limits& inLimits)
        : mRandom(inSeed), mFaults(inFaults), world(inLimits) {
        for (const char* name : {"A", "B", "C"}) {
            world.Join(name);
        }
    }

    void Play(int inSteps) {
        for (int i = 0; i != inSteps; ++i) {
            Step();
        }
        if (!world.HasBroker()) {
            world.StartBroker();
        }
        for (int i = 0; i != 40; ++i) {
            world.Pass(25ms);
        }
        for (int i = 0; i != 40; ++i) {
            world.Pass(1s);
        }
    }

    void Judge() {
        for (const auto& receiver : world.Nodes()) {
            std::map<std::string, int> last;  // per sender
            std::set<std::string> seen;
            for (const std::string& message : receiver->received) {
                EXPECT_TRUE(seen.insert(message).second)
                    << receiver->Name() << " got " << message << " twice";
                const std::string sender = message.substr(0, 1);
                const int number = std::stoi(message.substr(2));
                EXPECT_LT(last[sender], number) << receiver->Name() << " got messages out of order";
                last[sender] = number;
            }
            for (const Sent& sent : mSent) {
                if (sent.receiver == receiver.get() ||
                    (sent.receiver == nullptr && sent.sender != receiver.get())) {
                    JudgeOne(sent, *receiver,
                             seen.contains(sent.sender->Name() + ":" + std::to_string(sent.number)));
                }
            }
        }
        for (const auto& node : world.Nodes()) {
            EXPECT_TRUE(!node->alive || node->Core().Sender().NothingOwed()) << node->Name();
        }
    }

  private:
    struct Sent {
        Node* sender;
        Node* receiver;  // none: everyone
        int number;
    };

    std::size_t Roll(std::size_t inSides) { return mRandom() % inSides; }
    Node& Anyone() { return *world.Nodes()[Roll(world.Nodes().size())]; }
    std::size_t Portion() { return Roll(3) == 0 ? SIZE_MAX : Roll(300) + 1; }

    void Step() {
        Node& node = Anyone();
        switch (Roll(16)) {
            case 0:
            case 1:
            case 2:
                Send(node);
                break;
            case 3:
            case 4:
                node.Write(Portion());
                break;
            case 5:
            case 6:
                world.BrokerRead(node, Portion());
                break;
            case 7:
            case 8:
                world.BrokerWrite(node, Portion());
                break;
            case 9:
            case 10:
                node.Read(Portion());
                break;
            case 11:
            case 12:
                node.Deliver();
                break;
            case 13:
                node.Connect();
                break;
            case 14:
                world.Elapse(std::chrono::milliseconds(Roll(30)));
                break;
            default:
                Misfortune(node);
                break;
        }
    }

    void Send(Node& ioNode) {
        Node* receiver = Roll(2) == 0 ? nullptr : &Anyone();
        if (!ioNode.alive || receiver == &ioNode || ioNode.Core().Member() == 0 ||
            (receiver != nullptr && receiver->Core().Member() == 0)) {
            return;
        }
        const std::string number = std::to_string(++mNumber);
        if (ioNode.Send(number, receiver, number) == message5::Admission::Verdict::kAccept) {
            mSent.push_back({&ioNode, receiver, mNumber});
        }
    }

    void Misfortune(Node& ioNode) {
        const std::size_t kind = Roll(40);
        if (mFaults.connections && kind < 8 && ioNode.Connected()) {
            world.Break(ioNode);
        } else if (mFaults.broker && kind >= 8 && kind < 14 && world.HasBroker()) {
            world.KillBroker(Roll(2) == 0);
        } else if (mFaults.broker && kind >= 8 && kind < 24 && !world.HasBroker()) {
            world.StartBroker();
        } else if (mFaults.processes && kind == 30 && ioNode.alive) {
            world.Kill(ioNode);
        } else if (mFaults.expiry && kind == 31) {
            world.Elapse(31s);
        }
    }

    void JudgeOne(const Sent& inSent, const Node& inReceiver, bool inSeen) {
        std::size_t failed = 0;
        bool certain = false;
        for (const SendFailure& failure : inSent.sender->failures) {
            if (failure.type == std::to_string(inSent.number) &&
                failure.receiver.appId == inReceiver.Name()) {
                ++failed;
                certain = failure.kind == FailureKind::kNotDelivered;
            }
        }
        const std::string what =
            inSent.sender->Name() + " to " + inReceiver.Name() + ", number " + std::to_string(inSent.number);
        EXPECT_LE(failed, 1U) << what;
        EXPECT_FALSE(inSeen && certain) << what << ": arrived and was called not delivered";
        const bool excused = !inSent.sender->alive || (!inReceiver.alive && inSent.receiver == nullptr) ||
                             (mFaults.expiry && inSent.receiver == nullptr);
        EXPECT_TRUE(inSeen || failed == 1 || excused) << what << ": vanished without a word";
        if (!mFaults.processes && !mFaults.expiry) {
            EXPECT_EQ(failed, 0U) << what << ": failed though both live";
        }
    }

    std::mt19937 mRandom;
    Faults mFaults;
    std::vector<Sent> mSent;
    int mNumber = 0;

  public:
    World world;
};

void Tell(Faults inFaults, unsigned inStories, int inSteps, const wire::Limits& inLimits) {
    for (unsigned seed = 1; seed <= inStories; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Story story(seed, inFaults, inLimits);
        story.Play(inSteps);
        story.Judge();
        if (testing::Test::HasFailure()) {
            return;
        }
    }
}

wire::Limits Narrow() {
    wire::Limits limits;
    limits.firstWindow = 128;
    limits.maxWindow = 256;
    return limits;
}

TEST(Random, NothingIsLostDoubledOrReorderedInQuietTimes) { Tell({}, 60, 600, Narrow()); }

TEST(Random, NothingIsLostDoubledOrReorderedWhenConnectionsBreak) {
    Tell({.connections = true}, 60, 600, Narrow());
}

TEST(Random, NothingIsLostDoubledOrReorderedWhenTheBrokerIsKilled) {
    Tell({.broker = true}, 60, 600, Narrow());
}

TEST(Random, NothingIsLostDoubledOrReorderedWhenBothHappenWithWideWindows) {
    Tell({.connections = true, .broker = true}, 60, 600, {});
}

TEST(Random, WhatCannotBeDeliveredIsToldOnceWhenProcessesEnd) {
    Tell({.connections = true, .broker = true, .processes = true}, 60, 800, Narrow());
}

TEST(Random, WhatCannotBeDeliveredIsToldOnceWhenMembersExpire) {
    Tell({.connections = true, .broker = true, .expiry = true}, 60, 800, Narrow());
}

}  // namespace
}  // namespace orvane::plexa::test
