// Memory that runs out on the library's own threads. A program of its own, because every allocation passes
// here.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <new>
#include <random>
#include <string>
#include <string_view>

#include <PlexaMessage5/PlexaMessage5.h>
#include <pthread.h>

#include "Bus.h"
#include "Eventually.h"
#include "Peer.h"

using namespace orvane::plexa::api5;

namespace {

/// Of so many allocations of a library thread one fails; 0: none.
std::atomic<unsigned> sOneOf{0};
std::atomic<std::uint64_t> sFailed{0};
/// The host's own code runs, which is to have its memory.
thread_local bool sHostsTurn = false;

bool OfTheLibrary() {
    thread_local const bool is = [] {
        std::array<char, 16> name{};
        ::pthread_getname_np(::pthread_self(), name.data(), name.size());
        return std::string_view(name.data()).starts_with("plexa-");
    }();
    return is;
}

bool Fails() {
    const unsigned oneOf = sOneOf.load(std::memory_order_relaxed);
    if (oneOf == 0 || sHostsTurn || !OfTheLibrary()) return false;
    thread_local std::minstd_rand random{7};
    if (random() % oneOf != 0) return false;
    ++sFailed;
    return true;
}

void* Allocate(std::size_t inBytes, std::size_t inAlignment) {
    const std::size_t bytes = (inBytes + inAlignment) / inAlignment * inAlignment;
    void* memory = Fails() ? nullptr : std::aligned_alloc(inAlignment, bytes);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

// Not inlined: the compiler would see one half of a pair and take it for a mistake.
[[gnu::noinline]] void* operator new(std::size_t inBytes) {
    return Allocate(inBytes, alignof(std::max_align_t));
}
[[gnu::noinline]] void* operator new(std::size_t inBytes, std::align_val_t inAlignment) {
    return Allocate(inBytes, static_cast<std::size_t>(inAlignment));
}
[[gnu::noinline]] void operator delete(void* inMemory) noexcept { std::free(inMemory); }
[[gnu::noinline]] void operator delete(void* inMemory, std::size_t) noexcept { std::free(inMemory); }
[[gnu::noinline]] void operator delete(void* inMemory, std::align_val_t) noexcept { std::free(inMemory); }
[[gnu::noinline]] void operator delete(void* inMemory, std::size_t, std::align_val_t) noexcept {
    std::free(inMemory);
}

namespace {

/// The system has no memory for what is written to sockets.
std::atomic<bool> sWritesFail{false};
std::atomic<std::uint64_t> sWrites{0};

}  // namespace

/// Takes the place of the system's own.
extern "C" __attribute__((visibility("default"))) ssize_t sendmsg(int inSocket, const msghdr* inMessage,
                                                                  int inFlags) {
    if (sWritesFail) {
        ++sWrites;
        errno = ENOBUFS;
        return -1;
    }
    return ::syscall(SYS_sendmsg, inSocket, inMessage, inFlags);
}

namespace {

/// Counts numbered messages, and sends a number of its own for each tenth of them.
class Counter final : public IPlexaMessageListener {
  public:
    Counter() {
        IPlexaMessageDispatcher::SetConfig("Test", "1");
        EXPECT_EQ(IPlexaMessageDispatcher::GetInstance(&mDispatcher), kPlexaMessageErrorCode_None);
    }
    void Join() {
        mDispatcher->AddListener(this);
        mDispatcher->EnableListener(this);
    }
    void Leave() {
        mDispatcher->RemoveListener(this);
        IPlexaMessageDispatcher::ReleaseInstance();
    }
    void Receive(const PlexaMessage& inMessage) override {
        sHostsTurn = true;
        if (const auto* message = dynamic_cast<const SuiteMessage*>(&inMessage)) {
            std::string text(message->GetPayloadSize(), '\0');
            message->GetPayload(text.data());
            if (std::stol(text) != ++mCount) mInOrder = false;
            if (mCount % 10 == 0) Answer(mCount / 10);
        } else {
            ++mErrors;
        }
        sHostsTurn = false;
    }

    IPlexaMessageDispatcher* mDispatcher = nullptr;
    std::atomic<long> mCount{0};
    std::atomic<bool> mInOrder{true};
    std::atomic<int> mErrors{0};

  private:
    /// What could not be sent has not been sent.
    void Answer(long inNumber) {
        SuiteMessage message("n");
        message.SetPayload(std::to_string(inNumber).c_str());
        PlexaMessageErrorCode result = kPlexaMessageErrorCode_Unknown;
        while (result != kPlexaMessageErrorCode_None) {
            sHostsTurn = false;
            result = mDispatcher->SendMessage(message);
            sHostsTurn = true;
        }
    }
};

}  // namespace

TEST(Memory, NothingIsLostOrDoubledThoughAllocationsFail) {
    constexpr long kMessages = 20'000;
    Bus bus;
    Peer other;
    other.Join("B-1");
    other.Set("count n");
    Counter counter;
    sOneOf = 20;
    counter.Join();
    other.AwaitEndPoints(2);
    other.Tell("burst Test-1 n " + std::to_string(kMessages));
    for (int i = 0; i != 3; ++i) {
        const long before = counter.mCount;
        Eventually([&] { return counter.mCount > before; });
        bus.KillBroker();
    }
    EXPECT_TRUE(Eventually([&] { return counter.mCount == kMessages; })) << counter.mCount;
    EXPECT_EQ(other.AwaitCount("Test-1", kMessages / 10),
              "counted Test-1 " + std::to_string(kMessages / 10) + " in order");
    EXPECT_TRUE(counter.mInOrder);
    EXPECT_EQ(counter.mErrors, 0);
    EXPECT_GT(sFailed, 20U);
    counter.Leave();
    sOneOf = 0;
    other.AwaitEndPoints(1);
}

TEST(Memory, WritesForWhichTheSystemHasNoMemoryArePausedAndNothingIsLost) {
    using namespace std::chrono_literals;
    const Bus bus;
    Peer other;
    other.Join("B-1");
    other.Set("count n");
    Counter counter;
    counter.Join();
    other.AwaitEndPoints(2);
    sWritesFail = true;
    for (int number = 1; number != 21; ++number) {
        SuiteMessage message("n");
        message.SetPayload(std::to_string(number).c_str());
        EXPECT_EQ(counter.mDispatcher->SendMessage(message), kPlexaMessageErrorCode_None);
    }
    // This is about time itself.
    const auto over = std::chrono::steady_clock::now() + 1s;
    EXPECT_TRUE(Eventually([&] { return std::chrono::steady_clock::now() > over; }));
    EXPECT_GT(sWrites, 2U);
    EXPECT_LT(sWrites, 200U);
    sWritesFail = false;
    EXPECT_EQ(other.AwaitCount("Test-1", 20), "counted Test-1 20 in order");
    counter.Leave();
}
