#include "FailingMemory.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <utility>

namespace support {

namespace {

thread_local int sSuccesses = -1;
thread_local int sFailures = 0;
std::atomic<long> sLive{0};

bool Fails() noexcept {
    if (sSuccesses > 0) {
        --sSuccesses;
        return false;
    }
    if (sFailures == 0) return false;
    sSuccesses = -1;
    --sFailures;
    return true;
}

}  // namespace

void FailAllocations(int inSuccesses, int inFailures) noexcept {
    sSuccesses = inSuccesses;
    sFailures = inSuccesses < 0 ? 0 : inFailures;
}

int StopFailing() noexcept {
    sFailures = 0;
    return std::exchange(sSuccesses, -1);
}

long LiveAllocations() noexcept { return sLive; }

}  // namespace support

// Not inlined: the compiler would see one half of a pair and take it for a mistake.
[[gnu::noinline]] void* operator new(std::size_t inBytes) {
    void* const memory = support::Fails() ? nullptr : std::malloc(inBytes + 1);
    if (memory == nullptr) throw std::bad_alloc();
    ++support::sLive;
    return memory;
}
[[gnu::noinline]] void operator delete(void* inMemory) noexcept {
    if (inMemory != nullptr) --support::sLive;
    std::free(inMemory);
}
[[gnu::noinline]] void operator delete(void* inMemory, std::size_t) noexcept { operator delete(inMemory); }
