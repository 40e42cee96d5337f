// Asking for a module: what is sent, under which locks, and what becomes of a request that can't be sent.
#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "modules/ModulesFixture.h"

namespace nuoplexasupport {
namespace {

using doubles::LockWatch;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kSlotLock = "nuoplexasupport::`anonymous-namespace'::GetModuleDownloadClient|60000";
constexpr const char* kRequestLock =
    "nuoplexasupport::`anonymous-namespace'::ModuleDownloadClient::RequestDownload|60000";

class Requests : public Modules {
  protected:
    static std::string IdIn(const std::string& inSend) {
        constexpr std::string_view kOpen = "<requestId>";
        const auto begin = inSend.find(kOpen);
        const auto end = inSend.find("</requestId>");
        if (begin == std::string::npos || end == std::string::npos) return {};
        return inSend.substr(begin + kOpen.size(), end - begin - kOpen.size());
    }
};

TEST_F(Requests, GoOutAsXMLWithTheirIdInTheOrderOfKeys) {
    const auto future = Request();
    EXPECT_FALSE(future.IsReady());
    const auto sends = TakeSends();
    ASSERT_EQ(sends.size(), 1U);
    const std::string id = IdIn(sends[0]);
    EXPECT_EQ(sends[0],
              "type=plexa.SuiteMessage.zarn.apps.installAppModule payload=<?xml version=\"1.0\" "
              "encoding=\"utf-8\" ?><request><modules><module-id>KQ7L</module-id></modules>"
              "<product-sapcode>QRTX</product-sapcode><product-vardo-version>20.0.1"
              "</product-vardo-version><requestId>" +
                  id + "</requestId><silent-mode>true</silent-mode></request> source=SELF-1");
    const auto& responses = sResponseMap.at(sProductModuleDeploymentEventMessageType);
    ASSERT_EQ(responses.size(), 1U);
    EXPECT_EQ(std::string(responses.begin()->first.AsUTF8String()), id);
    EXPECT_EQ(responses.begin()->second.lock(), EventClients().at(0));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Requests, HaveIdsOfTheirOwnAndTheCallersFlagAndModule) {
    const auto first = Request("KQ7L", "a", true);
    const auto second = Request("", "b", false);
    const auto sends = TakeSends();
    ASSERT_EQ(sends.size(), 2U);
    EXPECT_NE(IdIn(sends[0]), IdIn(sends[1]));
    EXPECT_THAT(sends[1], testing::HasSubstr("<module-id></module-id>"));
    EXPECT_THAT(sends[1], testing::HasSubstr("<silent-mode>false</silent-mode>"));
}

TEST_F(Requests, StandOnTheDefaultExecutor) {
    EXPECT_EQ(Request().GetExecutor(), nuocore::async::GetDefaultExecutor());
    mDouble.mOnSend = [] { throw std::runtime_error("from the dispatcher"); };
    EXPECT_EQ(Request().GetExecutor(), nuocore::async::GetDefaultExecutor());
}

TEST_F(Requests, TakeTheLocksInTheirOrder) {
    const LockWatch locks;
    const auto first = Request();
    const auto second = Request("other");
    const std::string send = "nuoplexasupport::PlexaInterface::Send|60000";
    EXPECT_THAT(
        locks.Acquisitions(),
        ElementsAre(kSlotLock, "nuoplexasupport::Startup|60000", "nuoplexasupport::SubscribeToMessage|60000",
                    kRequestLock, "nuoplexasupport::SendClientRequest|60000", send, kSlotLock, kRequestLock,
                    "nuoplexasupport::SendClientRequest|60000", send));
}

// Whoever asks meanwhile must find a client that is subscribed already.
TEST_F(Requests, SubscribeTheNewClientUnderTheLockOfItsSlot) {
    static nuocore::thread::RecursiveMutex* sSlot = nullptr;
    static std::atomic<bool> sTaken = false;
    static bool sTakenWhileSubscribing = false;
    static std::thread sOther;
    const auto before = nuocore::thread::SetLockObserver(
        [](const nuocore::thread::RecursiveMutex& inMutex, const char* inAcquirer, std::uint32_t) {
            const std::string acquirer(inAcquirer);
            if (acquirer == "nuoplexasupport::`anonymous-namespace'::GetModuleDownloadClient") {
                sSlot = const_cast<nuocore::thread::RecursiveMutex*>(&inMutex);
            } else if (acquirer == "nuoplexasupport::SubscribeToMessage") {
                sOther = std::thread([] {
                    sSlot->Lock("other", 60000);
                    sTaken = true;
                    sSlot->Unlock();
                });
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                sTakenWhileSubscribing = sTaken;
            }
        });
    const auto future = Request();
    nuocore::thread::SetLockObserver(before);
    ASSERT_TRUE(sOther.joinable());
    sOther.join();
    EXPECT_TRUE(sTaken);
    EXPECT_FALSE(sTakenWhileSubscribing);
}

TEST_F(Requests, AreSentWithNoLockHeld) {
    Future<void> inner;
    bool asked = false;
    mDouble.mOnSend = [&] {
        if (!std::exchange(asked, true)) {
            std::thread([&] { inner = Request("inner", "b"); }).join();
        }
    };
    const auto outer = Request();
    EXPECT_EQ(TakeSends().size(), 2U);
    Event("completed", "inner");
    EXPECT_TRUE(Succeeded(inner));
}

TEST_F(Requests, MayBeCompletedBeforeTheirSendReturns) {
    mDouble.mOnSend = [] {
        ProgressEvent("55");
        Event("completed");
    };
    const auto future = Request();
    EXPECT_TRUE(Succeeded(future));
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"a", "KQ7L", 55.F * 0.01F}));
}

TEST_F(Requests, ThatCannotBeSentHaveFailedAndTakeTheClientWithThem) {
    mDouble.mOnSend = [] { throw std::runtime_error("from the dispatcher"); };
    const auto captured = std::make_shared<int>(0);
    const auto future = RequestModuleDownload(
        ImmutableString("KQ7L"), [captured](const ImmutableString&, float) {}, true);
    EXPECT_EQ(captured.use_count(), 1);
    EXPECT_THAT(EventClients(), IsEmpty());
    ASSERT_TRUE(future.IsReady());
    try {
        future.Get();
        FAIL();
    } catch (const ModuleDownloadFailedException&) {
        FAIL() << "nobody refused the module";
    } catch (const nuocore::config::nuo_exception& exception) {
        EXPECT_EQ(exception.GetCode(), nuocore::eUnknown);
        EXPECT_EQ(exception.GetMessageText(), "");
    }
    EXPECT_EQ(mAssertions.Records().size(), 1U) << "the sending's own";
}

TEST_F(Requests, ThatCannotBeSentLeaveTheirEntriesToTheNextEvents) {
    const auto other = Request("other", "other");
    mDouble.mOnSend = [] { throw std::runtime_error("from the dispatcher"); };
    const auto failed = Request("KQ7L", "stale");
    mDouble.mOnSend = {};
    EXPECT_TRUE(failed.IsReady());
    ProgressEvent("55");
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"stale", "KQ7L", 55.F * 0.01F}));
    Event("completed");
    ProgressEvent("60");
    EXPECT_THAT(TakeProgress(), IsEmpty());
    EXPECT_FALSE(Succeeded(failed));
    EXPECT_FALSE(other.IsReady());
}

TEST_F(Requests, ThatCannotBeSentLeaveOthersForTheModuleAlone) {
    const auto first = Request("KQ7L", "first");
    mDouble.mOnSend = [] { throw std::runtime_error("from the dispatcher"); };
    const auto failed = Request("KQ7L", "stale");
    ProgressEvent("10");
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"first", "KQ7L", 10.F * 0.01F},
                                            Progress{"stale", "KQ7L", 10.F * 0.01F}));
    Event("completed");
    EXPECT_TRUE(Succeeded(first));
    EXPECT_FALSE(Succeeded(failed));
}

TEST_F(ClientFixture, AModuleMayBeAskedForBeforeTheBusIsReady) {
    Startup();
    const auto future = RequestModuleDownload(ImmutableString("KQ7L"), {}, true);
    EXPECT_FALSE(future.IsReady());
    EXPECT_THAT(TakeSends(), IsEmpty());
    mDouble.Refresh();
    EXPECT_EQ(TakeSends().size(), 1U);
}

}  // namespace
}  // namespace nuoplexasupport
