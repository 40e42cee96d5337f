// Memory that runs out while a module is asked for. A program of its own, because every allocation passes
// here.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <new>
#include <string_view>
#include <thread>
#include <utility>

#include "modules/ModulesFixture.h"

namespace {

/// So many allocations of this thread succeed, then one fails; none does while it is negative.
thread_local int sCountdown = -1;

void* Allocate(std::size_t inBytes) {
    void* memory = sCountdown >= 0 && sCountdown-- == 0 ? nullptr : std::malloc(inBytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

// Not inlined: the compiler would see one half of a pair and take it for a mistake.
[[gnu::noinline]] void* operator new(std::size_t inBytes) { return Allocate(inBytes + 1); }
[[gnu::noinline]] void operator delete(void* inMemory) noexcept { std::free(inMemory); }
[[gnu::noinline]] void operator delete(void* inMemory, std::size_t) noexcept { std::free(inMemory); }

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
    return isTaken.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
}

// The client's destructor is seen by its unsubscribing.
void Observe(const RecursiveMutex& inMutex, const char* inAcquirer, std::uint32_t) {
    const std::string_view acquirer(inAcquirer);
    if (acquirer.ends_with("GetModuleDownloadClient")) {
        sSlot = const_cast<RecursiveMutex*>(&inMutex);
    } else if (acquirer == "nuoplexasupport::UnsubscribeFromMessage") {
        const int countdown = std::exchange(sCountdown, -1);
        ++sDestroyed;
        sDestroyedUnderTheLock += IsFree(*sSlot) ? 0 : 1;
        sCountdown = countdown;
    }
}

TEST_F(Modules, AreAskedForOrNotWhicheverAllocationFails) {
    const ImmutableString id("KQ7L");
    const auto before = nuocore::thread::SetLockObserver(&Observe);
    int thrown = 0;
    for (int successes = 0; sCountdown < 0; ++successes) {
        const auto captured = std::make_shared<int>(0);
        std::function<void(const ImmutableString&, float)> callback = [captured](const ImmutableString&,
                                                                                 float) {};
        Future<void> future;
        sCountdown = successes;
        try {
            future = RequestModuleDownload(id, std::move(callback), true);
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
        const int left = std::exchange(sCountdown, -1);
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
        sCountdown = left;
    }
    sCountdown = -1;
    nuocore::thread::SetLockObserver(before);
    EXPECT_GT(thrown, 10);
    EXPECT_GT(sDestroyed, 10);
    EXPECT_EQ(sDestroyedUnderTheLock, 0);
}

}  // namespace
}  // namespace nuoplexasupport
