// The service without a bus: what its threads, its files and those who ask much do to it.
#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <stdexcept>

#include "bus/OtherService.h"
#include "nuocore/Log.h"
#include "support/HttpServer.h"
#include "support/ServiceFixture.h"

namespace zarnd_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

TEST_F(ServiceParts, LetsARepeatedRequestNotEndTheFirstOne) {
    Start();
    Take(Install(kAnna, "A"));
    mDoor.AwaitComer();
    Offer("");
    Take(Install(kAnna, "A"));
    Take(Install(kBert, "A"));
    mPort.Await(kBert, "<error-code>203<");
    mDoor.Open();
    mPort.Await(kAnna, "completed");
    EXPECT_THAT(mPort.To(kAnna), Not(testing::Contains(HasSubstr("error"))));
}

TEST_F(ServiceParts, RefusesAModuleWhenThereIsNoThreadForItAndServesTheNextOne) {
    mDoor.Open();
    pthread_attr_t usual;
    ASSERT_EQ(::pthread_getattr_default_np(&usual), 0);
    pthread_attr_t huge = usual;
    ::pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
    Start();
    Take(Ask(kBert, kListType));
    mPort.Await(kBert, "\"done\"");  // all other threads are there
    ASSERT_EQ(::pthread_setattr_default_np(&huge), 0);
    Take(Install(kAnna, "A"));
    mPort.Await(kAnna, "<error-code>362<");
    ASSERT_EQ(::pthread_setattr_default_np(&usual), 0);
    Take(Install(kAnna, "A"));
    mPort.Await(kAnna, "completed");
}

// An end that is dealt with before the move of its asker is told where nobody is any more.
TEST(EndPoints, ThatWaitToBeLookedAtAreTheNewestOnesAndOvertakeNothing) {
    Inputs inputs;
    PutEndPoints(inputs, {kBert});
    PutEndPoints(inputs, {kAnna});
    inputs.Put(EndAsked{});
    for (int i = 0; i != 5'000; ++i) PutEndPoints(inputs, {kAnna, kBert});
    EXPECT_THAT(std::get<EndPointsChanged>(*inputs.Take()).mEndPoints, ElementsAre(kAnna));
    EXPECT_TRUE(std::holds_alternative<EndAsked>(*inputs.Take()));
    EXPECT_THAT(std::get<EndPointsChanged>(*inputs.Take()).mEndPoints, ElementsAre(kAnna, kBert));
    EXPECT_FALSE(inputs.Take(std::chrono::steady_clock::now()));
}

TEST(OtherServices, AreThoseWhoseProcessIsOlder) {
    const StartOfProcess startOf = [](std::int32_t inId) { return static_cast<std::uint64_t>(inId / 10); };
    const Asker self{"zarnd-2.0", 1, 55};
    EXPECT_EQ(OlderService({self, kAnna, {"zarnd-2.0", 2, 60}, {"zarnd-2.0", 3, 56}, {"zarnd-1.0", 1, 9}},
                           self, startOf),
              std::nullopt);
    for (const Asker& other : {Asker{"zarnd-1.0", 1, 49}, Asker{"zarnd-2.0", 2, 54}}) {
        EXPECT_EQ(OlderService({kAnna, other, self}, self, startOf), other);
    }
}

TEST(OtherServices, AreChosenByTheirAge) {
    const StartOfProcess startOf = [](std::int32_t inId) { return static_cast<std::uint64_t>(inId / 10); };
    const Asker unseen{"zarnd-1.0", 1, 9};
    const Asker old{"zarnd-1.0", 1, 49};
    const Asker young{"zarnd-2.0", 2, 54};
    EXPECT_EQ(OldestService({kAnna}, startOf), std::nullopt);
    EXPECT_EQ(OldestService({kAnna, unseen}, startOf), unseen);
    EXPECT_EQ(OldestService({unseen, young, kAnna, old}, startOf), old);
}

TEST_F(ServiceParts, RefusesQuestionsThatAreTooLongByTheirId) {
    const std::string filler(20'000, 'x');
    const auto id = OnlyRequestId(R"({"request-id":"7","filler":")" + filler + "\"}");
    EXPECT_EQ(id, R"({"request-id":"7"})");
    EXPECT_EQ(OnlyRequestId(R"({"filler":")" + filler + "\"}"), std::nullopt);
    EXPECT_EQ(OnlyRequestId(R"({"request-id":")" + filler + "\"}"), std::nullopt);
    EXPECT_EQ(OnlyRequestId(filler), std::nullopt);
    EXPECT_EQ(
        OnlyRequestId(R"({"request-id":"7","filler":")" + std::string(std::size_t{64} << 10U, 'x') + "\"}"),
        std::nullopt);
    Start();
    for (const char* const type : {kObserverType, kListType, kPushType}) {
        Take({kAnna, type, *id, true});
    }
    Take(Ask(kBert, kListType));
    mPort.Await(kBert, "\"done\"");
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("error 209", "error 209"));
    End();
    Take({kAnna, kPushType, *id, true});
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("error 209", "error 209", "error 209"));
}

TEST_F(ServiceParts, RefusesInstallationsThatAreTooLongByTheirModule) {
    const auto request = [](const std::string& inModule, const std::string& inVersion, std::size_t inFiller) {
        return OnlyModule("<message><product-sapcode>TAVI</product-sapcode><product-vardo-version>" +
                          inVersion + "</product-vardo-version><modules><module-id>" + inModule +
                          "</module-id></modules><filler>" + std::string(inFiller, 'x') +
                          "</filler></message>");
    };
    const std::string filler(20'000, 'x');
    EXPECT_EQ(request("", "1", 20'000), std::nullopt);
    EXPECT_EQ(request(filler, "1", 0), std::nullopt);
    EXPECT_EQ(request("one", "1", std::size_t{64} << 10U), std::nullopt);
    EXPECT_EQ(OnlyModule(filler), std::nullopt);
    const auto kept = request("one", "1", 20'000);
    EXPECT_EQ(kept,
              R"({"modules":{"module-id":"one"},"product-sapcode":"TAVI","product-vardo-version":"1"})");
    EXPECT_EQ(request("one", filler, 0), R"({"modules":{"module-id":"one"},"product-sapcode":"TAVI"})");
    Start();
    Take({kAnna, kInstallType, *kept, true});
    mPort.Await(kAnna, "<error-code>209<");
    mPort.Await(kAnna, "<module-id>one<");
}

TEST_F(ServiceParts, EchoesAnIdAsItCame) {
    Start();
    Take(Install(kAnna, "one\\ttwo\\nthree"));
    mPort.Await(kAnna, "<module-id>one&#9;two&#10;three</module-id>");
    const std::string longOne(10'000, 'x');
    Take(Install(kBert, longOne));
    mPort.Await(kBert, "<module-id>" + longOne + "</module-id>");
    EXPECT_THAT(mPort.To(kBert), ElementsAre("error 203"));
}

TEST_F(ServiceParts, TellsAProcessThatHasComeBack) {
    const Asker before{"ANNA-1", 1, ::getpid()};
    const Asker now{"ANNA-1", 2, ::getpid()};
    Start();
    Take(Install(before, "A"));
    mDoor.AwaitComer();
    PutEndPoints(mInputs, {now});
    Take(Ask(kBert, kListType));
    mPort.Await(kBert, "\"done\"");  // so it has looked who is there
    mDoor.Open();
    mPort.Await(now, "completed");
    EXPECT_THAT(mPort.To(before), ElementsAre("progress 0"));
}

TEST_F(ServiceParts, InstallsNoMoreThanAThousandModulesForOne) {
    // One that needs twenty, each of which needs as many others of its own.
    const auto offer = [this](std::size_t inOthers) {
        const std::string module = Module("a");
        std::string modules;
        std::string groups;
        const auto add = [&](const std::string& inId, const std::string& inNeeds) {
            modules +=
                "\"" + inId + "\":" + module.substr(0, module.size() - 1) + ",\"needs\":[" + inNeeds + "]},";
        };
        for (std::size_t group = 0, other = 0; group != 20; ++group) {
            std::string others;
            for (; other * 20 < inOthers * (group + 1); ++other) {
                add("O" + std::to_string(other), "");
                others += (others.empty() ? "\"O" : ",\"O") + std::to_string(other) + "\"";
            }
            add("G" + std::to_string(group), others);
            groups += (groups.empty() ? "\"G" : ",\"G") + std::to_string(group) + "\"";
        }
        add("TOP", groups);
        modules.pop_back();
        Offer(modules);
    };
    Start();
    offer(kMaxNeedsInAll - 21);
    Take(Install(kAnna, "TOP"));
    mPort.Await(kAnna, "progress");
    offer(kMaxNeedsInAll - 20);
    Take(Install(kBert, "TOP"));
    mPort.Await(kBert, "the module needs more than 999 others");
    EXPECT_THAT(mPort.To(kBert), ElementsAre("error 202"));
}

TEST_F(ServiceParts, NamesTheModuleThatIsNotMadeForAnEndlessVersion) {
    Start();
    Take(Install(kAnna, "A", std::string(2'000, '1')));
    mPort.Await(kAnna, "the module A is not made for this version");
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("error 204"));
}

TEST_F(ServiceParts, RefusesMoreRequestsThanItRemembers) {
    Start();
    for (std::size_t number = 0; number != Deployment::kMaxRequests; ++number) {
        Take(Install({"MANY-1", number, 1}, "A"));
    }
    Take(Install(kBert, "A"));
    mPort.Await(kBert, "<error-code>205<");
    EXPECT_THAT(mPort.To(kBert), ElementsAre("error 205"));
}

TEST_F(ServiceParts, RefusesMoreQuestionsThanItRemembers) {
    const ModuleStore store(mScratch.Path() / "modules");
    StagedModule staged = store.Stage("QRTX", "A");
    ModuleStore::Complete(staged, {"QRTX", "A", "1", DigestOf(""), {}, {"editor"}, {}});
    store.Switch(std::move(staged), "QRTX", "A");
    Start();
    Take({kAnna, kRemoveType, R"({"request-id":"7","product-sapcode":"QRTX","modules":{"module-id":"A"}})"});
    mDoor.AwaitComer();  // this one is asked whether an editor runs, all others wait
    for (std::size_t number = 0; number != TaskRunner::kMaxWaiting; ++number) {
        Take(Ask({"MANY-1", number, 1}, kListType));
    }
    Take(Ask(kBert, kListType));
    mPort.Await(kBert, "\"205\"");
    EXPECT_THAT(mPort.To(kBert), ElementsAre("error 205"));
    mDoor.Open();
    mPort.Await({"MANY-1", TaskRunner::kMaxWaiting - 1, 1}, "\"done\"");
}

TEST_F(ServiceParts, SaysThatAServerStands) {
    HttpServer server([](const Question&) { return Answer{.mBody = "x", .mCutAfter = 0, .mStalls = true}; });
    mSettings.mFetch.mPace.mStallLimit = 100ms;
    mSettings.mFetch.mRetry.mFirstDelay = mSettings.mFetch.mRetry.mLongestDelay = 1ms;
    Offer(R"("A":)" + Module("a", server.Address()));
    mDoor.Open();
    Start();
    Take(Install(kAnna, "A"));
    mPort.Await(kAnna, "<error-code>303<");
    mPort.Await(kAnna, "the server sends nothing for 100 ms");
}

TEST_F(ServiceParts, NotesThatAFaultIsItsOwn) {
    mSettings.mConflicts = [](const std::vector<std::string>&) -> std::vector<std::string> {
        throw std::logic_error("no idea");
    };
    std::atomic<bool> isNoted{false};
    nuocore::log::SetLogSink([&](const nuocore::log::LogRecord& inRecord) {
        if (std::string(inRecord.mMessage).find("by a fault of this service: no idea") != std::string::npos) {
            isNoted = true;
        }
    });
    Start();
    const auto until = std::chrono::steady_clock::now() + support::kPatience;
    // Of many records not all are made.
    for (std::size_t number = 0; !isNoted && std::chrono::steady_clock::now() < until; ++number) {
        const Asker asker{"MANY-1", number, 1};
        Take(Install(asker, "A"));
        mPort.Await(asker, "<error-metadata>this service fails: no idea<");
    }
    End();
    nuocore::log::SetLogSink({});
    EXPECT_TRUE(isNoted);
}

// It may be idle for one second, and has work for three.
TEST_F(ServiceParts, SleepsWhileItsWorkTakesLongerThanItMayBeIdle) {
    mSettings.mIdleExit = 1s;
    Start();
    Take(Install(kAnna, "A"));
    mDoor.AwaitComer();
    std::this_thread::sleep_for(3s);
    clockid_t clock = 0;
    ASSERT_EQ(::pthread_getcpuclockid(mThread.native_handle(), &clock), 0);
    timespec used{};
    ::clock_gettime(clock, &used);
    EXPECT_LT(std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec), 200ms);
    mDoor.Open();
    mPort.Await(kAnna, "completed");
    mThread.join();  // idle now
}

}  // namespace zarnd_test
