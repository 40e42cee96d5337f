// What is on its way to the bus, behind receivers that don't keep pace.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
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

/// Expects that so many messages are taken up, and no more, while nothing gets through.
void ExpectTakenUp(std::size_t inExpected, std::size_t inBytes) {
    SlowPort slow;
    Outbox outbox(slow);
    const std::size_t messages = inExpected + 10;
    std::atomic<std::size_t> given{0};
    std::thread giver([&] {
        for (; given != messages; ++given) outbox.Send(kAnna, "type", std::string(inBytes, 'x'));
    });
    slow.mDoor.AwaitComer();
    const auto until = std::chrono::steady_clock::now() + support::kPatience;
    while (given < inExpected && std::chrono::steady_clock::now() < until) std::this_thread::yield();
    // However slow this machine is, one that is held up stays so.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(given, inExpected);
    slow.mDoor.Open();
    giver.join();
    outbox.Finish();
    EXPECT_EQ(slow.Payloads().size(), messages);
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

TEST(Sending, HoldsUpWhoComesAfterMany) { ExpectTakenUp(Outbox::kMaxMessages + 1, 1); }

TEST(Sending, HoldsUpWhoComesAfterMuch) {
    constexpr std::size_t kBytes = std::size_t{1} << 20U;
    // Each weighs a little more than its payload; one is being sent.
    ExpectTakenUp(Outbox::kMaxBytes / kBytes - 1 + 1, kBytes);
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
