// Memory that runs out while a module is asked for.
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <string_view>
#include <thread>
#include <utility>

#include "modules/ModulesFixture.h"
#include "support/FailingMemory.h"

namespace nuoplexasupport {
namespace {

using nuocore::thread::RecursiveMutex;

RecursiveMutex* sSlot = nullptr;
int sDestroyed = 0;
int sDestroyedUnderTheLock = 0;

bool IsFree(RecursiveMutex& inMutex) {
    const auto taken = std::make_shared<std::promise<void>>();
    std::future<void> isTaken = taken->get_future();
    std::thread([taken, &inMutex] {
        inMutex.Lock("probe", 60000);
        inMutex.Unlock();
        taken->set_value();
    }).detach();
    return isTaken.wait_for(std::chrono::seconds(50)) == std::future_status::ready;
}

// The client's destructor is seen by its unsubscribing.
void Observe(const RecursiveMutex& inMutex, const char* inAcquirer, std::uint32_t) {
    const std::string_view acquirer(inAcquirer);
    if (acquirer.ends_with("GetModuleDownloadClient")) {
        sSlot = const_cast<RecursiveMutex*>(&inMutex);
    } else if (acquirer == "nuoplexasupport::UnsubscribeFromMessage") {
        const int left = support::StopFailing();
        ++sDestroyed;
        sDestroyedUnderTheLock += IsFree(*sSlot) ? 0 : 1;
        support::FailAllocations(left);
    }
}

TEST_F(Modules, AreAskedForOrNotWhicheverAllocationFails) {
    const ImmutableString id("KQ7L");
    const auto before = nuocore::thread::SetLockObserver(&Observe);
    int thrown = 0;
    int left = -1;
    for (int successes = 0; left < 0; ++successes) {
        const auto captured = std::make_shared<int>(0);
        std::function<void(const ImmutableString&, float)> callback = [captured](const ImmutableString&,
                                                                                 float) {};
        Future<void> future;
        support::FailAllocations(successes);
        try {
            future = RequestModuleDownload(id, std::move(callback), true);
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
        left = support::StopFailing();
        if (future.IsValid() && !future.IsReady()) {
            Event("completed");
            EXPECT_TRUE(Succeeded(future)) << successes;
        }
        EXPECT_EQ(StartupCount(), 1U) << successes;
        callback = nullptr;
        EXPECT_EQ(captured.use_count(), 1) << successes;
        for (const StrongClient& client : EventClients()) {
            EXPECT_EQ(client, nullptr) << successes;
        }
    }
    nuocore::thread::SetLockObserver(before);
    EXPECT_GT(thrown, 10);
    EXPECT_GT(sDestroyed, 10);
    EXPECT_EQ(sDestroyedUnderTheLock, 0);
}

}  // namespace
}  // namespace nuoplexasupport
