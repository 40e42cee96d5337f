// Who keeps the download client, and what goes with it.
#include <functional>
#include <memory>
#include <thread>

#include "modules/ModulesFixture.h"

namespace nuoplexasupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Asks for another module on another thread while it is destroyed; hangs when a lock is held then.
class AsksWhenDestroyed {
  public:
    explicit AsksWhenDestroyed(int& outAsked) : mAsked(outAsked) {}
    AsksWhenDestroyed(const AsksWhenDestroyed&) = delete;
    AsksWhenDestroyed& operator=(const AsksWhenDestroyed&) = delete;
    ~AsksWhenDestroyed() {
        std::thread([this] {
            (void)RequestModuleDownload(ImmutableString("another"), {}, true);
            ++mAsked;
        }).join();
    }

  private:
    int& mAsked;
};

using DownloadClient = Modules;

TEST_F(DownloadClient, IsMadeByTheFirstRequestAndServesAll) {
    EXPECT_THAT(EventClients(), IsEmpty());
    EXPECT_EQ(StartupCount(), 1U);
    const auto first = Request("KQ7L");
    const auto second = Request("other");
    EXPECT_EQ(EventClients().size(), 1U);
    EXPECT_EQ(StartupCount(), 2U);
}

TEST_F(DownloadClient, GoesWithTheLastCompletionThoughTheCallerKeepsTheFuture) {
    const auto first = Request("KQ7L");
    const auto second = Request("other");
    Event("completed", "KQ7L");
    EXPECT_EQ(EventClients().size(), 1U);
    ErrorEvent("131", "other");
    EXPECT_THAT(EventClients(), IsEmpty());
    EXPECT_EQ(StartupCount(), 1U);
    EXPECT_TRUE(Succeeded(first));
    EXPECT_NE(FailureOf(second), 0);
}

TEST_F(DownloadClient, IsMadeAnewAndSubscribedAgainByTheNextRequest) {
    auto future = Request();
    Event("completed");
    future = {};
    EXPECT_TRUE(sMessageSubscriptionClientsMap.empty());
    future = Request("KQ7L", "second");
    EXPECT_EQ(EventClients().size(), 1U);
    EXPECT_EQ(sMessageSubscriptionClientsMap.size(), 1U);
    ProgressEvent("55");
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"second", "KQ7L", 55.F * 0.01F}));
    Event("completed");
    EXPECT_TRUE(Succeeded(future));
}

TEST_F(DownloadClient, GoesWhenTheCallerGivesTheDownloadUp) {
    const auto captured = std::make_shared<int>(0);
    auto future = RequestModuleDownload(
        ImmutableString("KQ7L"), [captured](const ImmutableString&, float) {}, true);
    auto copy = future;
    future = {};
    EXPECT_EQ(EventClients().size(), 1U) << "a copy is left";
    EXPECT_EQ(captured.use_count(), 2);
    copy = {};
    EXPECT_THAT(EventClients(), IsEmpty());
    EXPECT_EQ(captured.use_count(), 1);
    EXPECT_EQ(StartupCount(), 1U);
}

TEST_F(DownloadClient, ThatOthersKeepStillCallsForADownloadThatWasGivenUp) {
    const auto other = Request("other");
    (void)Request("KQ7L", "given up");
    ProgressEvent("55");
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"given up", "KQ7L", 55.F * 0.01F}));
    Event("completed");
    ProgressEvent("60");
    EXPECT_THAT(TakeProgress(), IsEmpty());
    EXPECT_FALSE(other.IsReady());
}

TEST_F(DownloadClient, IsKeptByADerivedFutureAlone) {
    auto future = Request();
    auto derived = future.Then([](const Future<void>& inDone) {
        inDone.Get();
        return 7;
    });
    future = {};
    EXPECT_EQ(EventClients().size(), 1U);
    Event("completed");
    ASSERT_TRUE(derived.IsReady());
    EXPECT_EQ(derived.Get(), 7);
    EXPECT_THAT(EventClients(), IsEmpty());
}

TEST_F(DownloadClient, StaysWhenADerivedFutureIsDropped) {
    const auto future = Request();
    int runs = 0;
    (void)future.Then([&runs](const Future<void>&) { ++runs; });
    EXPECT_EQ(EventClients().size(), 1U);
    Event("completed");
    EXPECT_EQ(runs, 1);
}

TEST_F(DownloadClient, TakesTheTransportWithItWhenNobodyElseHoldsAStartup) {
    const auto future = Request();
    Shutdown();
    mDouble.ClearCalls();
    EXPECT_THAT(mLog.Records(), IsEmpty());
    Event("completed");
    EXPECT_TRUE(Succeeded(future));
    EXPECT_EQ(StartupCount(), 0U);
    EXPECT_THAT(mDouble.Calls(), ElementsAre("UnregisterEndPointRefreshCallback", "DisableListener",
                                             "RemoveListener", "ReleaseInstance"));
    // What nobody answers stays registered.
    const auto records = mLog.Records();
    ASSERT_EQ(records.size(), 1U);
    std::vector<std::uint64_t> counts;
    for (std::size_t i = 0; i < 3; ++i) {
        counts.push_back(boost::any_cast<std::uint64_t>(records[0].mFields.at(i).second));
    }
    EXPECT_THAT(counts, ElementsAre(0U, 0U, 1U));
}

TEST_F(DownloadClient, UnsubscribesBeforeItShutsDown) {
    const auto future = Request();
    const doubles::LockWatch locks;
    Event("completed");
    const auto acquisitions = locks.Acquisitions();
    ASSERT_GE(acquisitions.size(), 2U);
    EXPECT_EQ(acquisitions[acquisitions.size() - 2], "nuoplexasupport::UnsubscribeFromMessage|60000");
    EXPECT_EQ(acquisitions.back(), "nuoplexasupport::Shutdown|60000");
}

TEST_F(DownloadClient, DestroysWhatCallbacksCapturedWithNoLockHeld) {
    const auto keeper = Request("keeper");
    for (const auto& end : std::initializer_list<std::function<void()>>{
             [] { Event("completed"); }, [] { ErrorEvent("131"); }, [] { Event("cancelled"); }}) {
        int asked = 0;
        auto captured = std::make_shared<AsksWhenDestroyed>(asked);
        const auto future = RequestModuleDownload(
            ImmutableString("KQ7L"), [held = std::move(captured)](const ImmutableString&, float) {}, true);
        end();
        EXPECT_EQ(asked, 1);
    }
}

TEST_F(DownloadClient, HasLetGoOfItsCallbacksWhenAFutureIsCompleted) {
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = captured;
    const auto future = RequestModuleDownload(
        ImmutableString("KQ7L"), [held = std::move(captured)](const ImmutableString&, float) {}, true);
    bool gone = false;
    (void)future.Then([&](const Future<void>&) { gone = watched.expired(); });
    EXPECT_FALSE(watched.expired());
    Event("completed");
    EXPECT_TRUE(gone);
}

TEST_F(DownloadClient, MayGoInsideACallThatGivesUpItsLastDownload) {
    auto future = std::make_unique<Future<void>>();
    *future = RequestModuleDownload(
        ImmutableString("KQ7L"),
        [&](const ImmutableString&, float inValue) {
            mProgress.push_back({"a", "", inValue});
            future.reset();
        },
        true);
    ProgressEvent("55");
    EXPECT_EQ(TakeProgress().size(), 1U);
    EXPECT_THAT(EventClients(), IsEmpty());
    EXPECT_EQ(StartupCount(), 1U);
}

}  // namespace
}  // namespace nuoplexasupport
