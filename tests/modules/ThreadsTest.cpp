// Requests, events and given-up downloads on several threads at once.
#include <atomic>
#include <thread>

#include "modules/ModulesFixture.h"

namespace nuoplexasupport {
namespace {

TEST_F(Modules, AreAskedForOnManyThreadsWhileEventsArrive) {
    constexpr int kThreads = 3;
    constexpr int kRounds = 150;
    std::atomic<int> completed = 0;
    std::atomic<int> asking = kThreads;
    std::atomic<int> progress = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            const ImmutableString ids[] = {ImmutableString("shared"),
                                           ImmutableString("own" + std::to_string(thread))};
            for (int round = 0; round < kRounds; ++round) {
                const auto future = RequestModuleDownload(
                    ids[round % 2], [&progress](const ImmutableString&, float) { ++progress; }, true);
                (void)RequestModuleDownload(
                    ids[0], [](const ImmutableString&, float) {}, true);
                future.Wait();
                completed += future.GetException() == nullptr ? 1 : 0;
            }
            --asking;
        });
    }
    // There is one delivery thread, as on a real bus.
    while (asking > 0) {
        for (const char* const id : {"shared", "own0", "own1", "own2"}) {
            ProgressEvent("55", id);
            Event("completed", id);
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(completed, kThreads * kRounds);
    EXPECT_TRUE(EventClients().empty());
    EXPECT_EQ(StartupCount(), 1U);
}

}  // namespace
}  // namespace nuoplexasupport
