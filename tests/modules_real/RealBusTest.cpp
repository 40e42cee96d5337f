// Modules and notifications over a real bus: a host, a service and the broker, each a process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <memory>

#include "support/ChildProcess.h"
#include "support/PrivateBus.h"

namespace {

using support::ChildProcess;
using support::Command;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class OnBus : public testing::Test {
  protected:
    OnBus() : mService(Program({SERVICE_PROGRAM})) {
        EXPECT_TRUE(mService.AwaitOutput("ready")) << mService.Errors();
    }
    [[nodiscard]] Command Program(std::vector<std::string> inArguments) const {
        return Command{std::move(inArguments), mBus.Environment(BROKER_BASE)};
    }
    [[nodiscard]] std::unique_ptr<ChildProcess> Host(std::vector<std::string> inArguments) const {
        inArguments.insert(inArguments.begin(), HOST_PROGRAM);
        return std::make_unique<ChildProcess>(Program(std::move(inArguments)));
    }
    void EndService() {
        mService.Signal(SIGTERM);
        EXPECT_EQ(mService.Wait(), 0) << mService.Errors();
    }

    support::PrivateBus mBus;
    ChildProcess mService;
};

using ModulesOnBus = OnBus;
using NotificationsOnBus = OnBus;

TEST_F(ModulesOnBus, AreInstalledOneAfterTheOtherWithProgress) {
    const auto host = Host({"install", "KQ7L", "BLOCKED", "CANCELLED", "M-2"});
    EXPECT_EQ(host->Wait(), 0) << host->Errors();
    EXPECT_EQ(host->Output(),
              "KQ7L 0\nKQ7L 0.55\nKQ7L 1\nKQ7L is installed\n"
              "BLOCKED 0\nBLOCKED 0.55\nBLOCKED: Failed to download the requested module (0xED440083)\n"
              "CANCELLED 0\nCANCELLED 0.55\nCANCELLED: Failed to download the requested module (0xA00F0007)\n"
              "M-2 0\nM-2 0.55\nM-2 1\nM-2 is installed\n");
    EndService();
}

TEST_F(ModulesOnBus, TheLastCompletionLeavesTheBusOnTheDeliveryThreadWhenTheHostHoldsNoStartup) {
    const auto host = Host({"last", "KQ7L"});
    ASSERT_TRUE(host->AwaitOutput("log: ")) << host->Errors();
    ASSERT_TRUE(mService.AwaitOutput("the host has left")) << "though its process goes on";
    host->Signal(SIGTERM);
    EXPECT_EQ(host->Wait(), 0) << host->Errors();
    EXPECT_THAT(host->Output(), AllOf(HasSubstr("KQ7L is installed\n"),
                                      HasSubstr("log: All clients did not unregister at shutdown, on the "
                                                "delivery thread\n"),
                                      HasSubstr("not heard any more\n"), Not(HasSubstr("served again"))));
    EndService();
}

TEST_F(NotificationsOnBus, ReachTheirObserver) {
    const auto host = Host({"observe", "weather", "storm"});
    EXPECT_EQ(host->Wait(), 0) << host->Errors();
    EXPECT_EQ(host->Output(), "notified: weather/storm hello\n");
    EXPECT_TRUE(mService.AwaitOutput("RegisterObserver weather/storm\n"));
    EXPECT_TRUE(mService.AwaitOutput("UnregisterObserver weather/storm\n"));
    EndService();
}

}  // namespace
