// A weak pointer of a registry is turned strong, and everybody else lets go meanwhile: whoever made it strong
// is now the last owner. Neither the client's destructor nor the shutdown in it may run under the registry
// lock or in the middle of a walk over a registry.
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>

#include "client/DispatchFixture.h"
#include "nuoplexasupport/Notifications.h"

namespace nuoplexasupport {
namespace {

using testing::ElementsAre;

// What a client was made in is given back when the registry erases its last weak pointer: under the lock, in
// the middle of the walk. The hook runs there.
template <typename T>
struct HookAllocator {
    using value_type = T;

    explicit HookAllocator(const std::function<void()>& inHook) : mHook(&inHook) {}
    template <typename Other>
    HookAllocator(const HookAllocator<Other>& inOther) : mHook(inOther.mHook) {}  // NOLINT: as allocators do

    T* allocate(std::size_t inCount) { return std::allocator<T>().allocate(inCount); }
    void deallocate(T* inPlace, std::size_t inCount) {
        std::allocator<T>().deallocate(inPlace, inCount);
        (*mHook)();
    }

    const std::function<void()>* mHook;
};

bool RegistryLockIsFree() {
    const auto taken = std::make_shared<std::promise<void>>();
    std::future<void> isTaken = taken->get_future();
    std::thread probe([taken] {
        sRegistryLock.Lock("probe", kRegistryLockTimeoutMilliseconds);
        sRegistryLock.Unlock();
        taken->set_value();
    });
    const bool isFree = isTaken.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    // A thread that is detached as it begins is sometimes never run by MinGW's C library.
    if (isFree) {
        probe.join();
    } else {
        probe.detach();
    }
    return isFree;
}

class LastOwner : public Dispatch {
  protected:
    LastOwner() {
        mClient->mOnDestruction = [this] {
            mDestroyedOn = std::this_thread::get_id();
            TellOnce();
            mLockWasFree = RegistryLockIsFree();
            UnsubscribeFromMessage({}, ImmutableString("T"));
        };
        mDouble.ClearCalls();
        mDouble.mOnCall = [this] { mLockWasFree = mLockWasFree && RegistryLockIsFree(); };
    }
    /// Another thread gives the client up, and so far that it only has to let go, or is about to destroy it.
    void ReleaseOnAnotherThread() {
        mReleasing = std::thread([this] {
            mClient.reset();
            TellOnce();
        });
        mTold.get_future().wait();
    }
    /// A subscription, made after those of the test, whose erasing releases the client.
    void SubscribeTheHook() { SubscribeToMessage(HookedClient(), ImmutableString("T")); }
    /// The same for a registration.
    void RegisterTheHook() {
        RegisterTaviNotificationObserver(HookedClient(), ImmutableString("N"), ImmutableString("S"));
    }
    /// The client went on this thread, which was its last owner, with the lock free, and took the transport
    /// with it.
    void ExpectGone() {
        ASSERT_TRUE(mReleasing.joinable()) << "nobody has released the client";
        mReleasing.join();
        EXPECT_EQ(mDestroyedOn, std::this_thread::get_id());
        EXPECT_TRUE(mLockWasFree);
        EXPECT_EQ(mDouble.Calls().back(), "ReleaseInstance");
    }

    boost::shared_ptr<RecordingClient> mClient = MakeClient("client");

  private:
    boost::shared_ptr<RecordingClient> HookedClient() {
        return boost::allocate_shared<RecordingClient>(HookAllocator<RecordingClient>(mHook), "gone", mCalls);
    }
    void TellOnce() {
        if (!mHasTold.exchange(true)) {
            mTold.set_value();
        }
    }

    std::function<void()> mHook = [this] { ReleaseOnAnotherThread(); };
    std::thread mReleasing;
    std::promise<void> mTold;
    std::atomic<bool> mHasTold = false;
    std::thread::id mDestroyedOn;
    bool mLockWasFree = false;
};

TEST_F(LastOwner, WhoUnsubscribesAnotherDestroysItAfterTheLock) {
    SubscribeToMessage(mClient, ImmutableString("T"));
    SubscribeTheHook();
    UnsubscribeFromMessage({}, ImmutableString("T"));
    ExpectGone();
    EXPECT_TRUE(sMessageSubscriptionClientsMap.empty());
}

TEST_F(LastOwner, WhoUnsubscribesTheClientItselfDestroysItAfterTheLock) {
    SubscribeToMessage(mClient, ImmutableString("T"));
    SubscribeTheHook();
    UnsubscribeFromMessage(mClient, ImmutableString("T"));
    ExpectGone();
    EXPECT_TRUE(sMessageSubscriptionClientsMap.empty());
}

TEST_F(LastOwner, WhoUnregistersAnotherObserverDestroysItAfterTheLock) {
    RegisterTaviNotificationObserver(mClient, ImmutableString("N"), ImmutableString("S"));
    RegisterTheHook();
    UnregisterTaviNotificationObserver({}, ImmutableString("N"), ImmutableString("S"));
    ExpectGone();
    EXPECT_EQ(sNotificationSubscriptionClientsMap.size(), 1U);
}

TEST_F(LastOwner, WhoUnregistersTheObserverItselfDestroysItAfterTheLock) {
    RegisterTaviNotificationObserver(mClient, ImmutableString("N"), ImmutableString("S"));
    RegisterTheHook();
    UnregisterTaviNotificationObserver(mClient, ImmutableString("N"), ImmutableString("S"));
    ExpectGone();
    EXPECT_TRUE(sNotificationSubscriptionClientsMap.empty());
}

TEST_F(LastOwner, WhoRemovesAnObserversSubscriptionDestroysItsOtherSubscribersAfterTheLock) {
    RegisterTheHook();
    const ImmutableString type = sMessageSubscriptionClientsMap.begin()->first;
    SubscribeToMessage(mClient, type);
    UnregisterTaviNotificationObserver({}, ImmutableString("N"), ImmutableString("S"));
    ExpectGone();
}

TEST_F(LastOwner, ADeliveryServesTheClientAndDestroysItAfterwards) {
    SubscribeToMessage(mClient, ImmutableString("T"));
    SubscribeTheHook();
    Arrive("T", "words");
    EXPECT_THAT(TakeCalls(), ElementsAre("client: raw T 'words' from PEER-1"));
    ExpectGone();
    EXPECT_TRUE(sMessageSubscriptionClientsMap.empty());
}

TEST_F(LastOwner, AResponseIsHandedOverAndItsClientDestroyedAfterwards) {
    Await(mClient, kId1);
    mClient->mOnReceive = [this] { ReleaseOnAnotherThread(); };
    Arrive("T", WithId("requestId", kId1));
    EXPECT_EQ(TakeCalls().size(), 1U);
    ExpectGone();
    EXPECT_TRUE(sResponseMap.empty());
}

}  // namespace
}  // namespace nuoplexasupport
