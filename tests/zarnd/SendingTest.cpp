// What is on its way to the bus, behind receivers that don't keep pace.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "bus/Outbox.h"
#include "support/ServiceFixture.h"

namespace zarnd_test {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Lets nothing through until it is opened.
class SlowPort final : public IPort {
  public:
    void Send(const Asker& inTo, const std::string& inType, const std::string& inPayload) override {
        mDoor.Pass();
        mPort.Send(inTo, inType, inPayload);
        const std::lock_guard lock(mMutex);
        mPayloads.push_back(inPayload);
    }
    [[nodiscard]] std::vector<std::string> Payloads() {
        const std::lock_guard lock(mMutex);
        return mPayloads;
    }

    Door mDoor;
    Port mPort;

  private:
    std::mutex mMutex;
    std::vector<std::string> mPayloads;
};

/// How many messages of so many, with a payload of some bytes each, are taken up while nothing gets through.
std::size_t CountTakenUp(std::size_t inMessages, std::size_t inBytes) {
    SlowPort slow;
    Outbox outbox(slow);
    std::atomic<std::size_t> given{0};
    std::thread giver([&] {
        for (; given != inMessages; ++given) outbox.Send(kAnna, "type", std::string(inBytes, 'x'));
    });
    slow.mDoor.AwaitComer();
    // It has been held up when there is no more for a while; if not, there would be more than is said here.
    std::size_t before = 0;
    do {
        before = given;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    } while (given != before);
    slow.mDoor.Open();
    giver.join();
    outbox.Finish();
    EXPECT_EQ(slow.Payloads().size(), inMessages);
    return before;
}

}  // namespace

TEST(Sending, HoldsNobodyUpBehindAReceiverThatIsSlow) {
    SlowPort slow;
    Outbox outbox(slow);
    for (const char* const text : {"1", "2", "3"}) outbox.Send(kAnna, "type", text);
    slow.mDoor.AwaitComer();
    EXPECT_THAT(slow.Payloads(), IsEmpty());
    slow.mDoor.Open();
    outbox.Finish();
    EXPECT_THAT(slow.Payloads(), ElementsAre("1", "2", "3"));
    outbox.Send(kAnna, "type", "late");
    EXPECT_THAT(slow.Payloads(), ElementsAre("1", "2", "3", "late"));
}

TEST(Sending, HoldsUpWhoComesAfterMany) {
    EXPECT_EQ(CountTakenUp(Outbox::kMaxMessages + 10, 1), Outbox::kMaxMessages + 1);
}

TEST(Sending, HoldsUpWhoComesAfterMuch) {
    constexpr std::size_t kBytes = std::size_t{1} << 20U;
    // Each weighs a little more than its payload; one is being sent.
    EXPECT_EQ(CountTakenUp(30, kBytes), Outbox::kMaxBytes / kBytes - 1 + 1);
}

TEST_F(ServiceParts, WorksOnWhileAReceiverIsSlow) {
    SlowPort slow;
    Outbox outbox(slow);
    mWayOut = &outbox;
    mDoor.Open();
    Start();
    Take(Install(kAnna, "A"));
    const auto text = mScratch.Path() / "modules/QRTX/A/current/files/a";
    const auto until = std::chrono::steady_clock::now() + support::kPatience;
    while (!std::filesystem::exists(text) && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(Read(text), "words");
    EXPECT_THAT(slow.Payloads(), IsEmpty());
    slow.mDoor.Open();
    slow.mPort.Await(kAnna, "completed");
    End();
    mService.reset();  // before its way to the bus
}

}  // namespace zarnd_test
