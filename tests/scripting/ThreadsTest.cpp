#include <gmock/gmock.h>

#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>

#include "Probe.h"

namespace {

using namespace nuoscripting;
using probe::Console;
using probe::Probe;
using probe::Result;
using testing::ElementsAre;
using testing::HasSubstr;

// A thread that does as a UI thread does: one piece of work after the other.
class Desktop final : public nuocore::async::AsyncExecutor {
  public:
    Desktop() : mThread([this] { Loop(); }) {}
    ~Desktop() override {
        Post(nullptr);
        mThread.join();
    }
    void Post(std::function<void()> inWork) override {
        const std::lock_guard lock(mLock);
        mWork.push_back(std::move(inWork));
        mChanged.notify_one();
    }
    [[nodiscard]] std::thread::id Id() const { return mThread.get_id(); }

  private:
    void Loop() {
        for (;;) {
            std::unique_lock lock(mLock);
            mChanged.wait(lock, [this] { return !mWork.empty(); });
            const std::function<void()> work = std::move(mWork.front());
            mWork.pop_front();
            lock.unlock();
            if (!work) return;
            work();
        }
    }

    std::mutex mLock;
    std::condition_variable mChanged;
    std::deque<std::function<void()>> mWork;
    std::thread mThread;
};

class Threads : public testing::Test {
  protected:
    Threads() {
        SetUIThread(mDesktop, [this] { return std::this_thread::get_id() == mDesktop->Id(); });
    }
    ~Threads() override {
        SetUIThread(nullptr, nullptr);
        Probe::sHook = nullptr;
    }

    boost::shared_ptr<Desktop> mDesktop = boost::make_shared<Desktop>();
    Console mConsole;
    RefPtr<ScriptContext> mContext = mConsole.MakeContext();
};

}  // namespace

TEST_F(Threads, AMethodFlaggedForTheUIThreadRunsThereWhileTheScriptWaits) {
    EXPECT_EQ(Result(mContext, "new test.probes.Probe().uiHook('x')"), "\"x\"");
    EXPECT_EQ(Probe::sThread, mDesktop->Id());
    EXPECT_EQ(Result(mContext, "new test.probes.Probe().uiThrow('trouble')"), "Error: trouble");
}

TEST_F(Threads, AMethodWithoutFlagsRunsOnTheScriptsThread) {
    EXPECT_EQ(Result(mContext, "new test.probes.Probe().hook('x')"), "\"x\"");
    EXPECT_EQ(Probe::sThread, std::this_thread::get_id());
}

TEST_F(Threads, AScriptWaitsForTheUIThreadNoLongerThanTheItemSays) {
    std::promise<void> mayGo;
    mDesktop->Post([&] { mayGo.get_future().wait(); });
    EXPECT_EQ(Result(mContext, "new test.probes.Probe().uiHook('x')"),
              "Error: the UI thread did not answer within 200 ms");
    mayGo.set_value();
    // What wasn't begun in time isn't begun at all.
    DirectVoidCallOnUIThread([] {}, std::chrono::seconds(30));
    EXPECT_EQ(Probe::sThread, std::thread::id());
}

TEST_F(Threads, AScriptWaitsNoLongerThanItMayRun) {
    ScriptContextSettings settings;
    settings.mTimeLimit = std::chrono::milliseconds(50);
    const auto hasty = mConsole.MakeContext(std::move(settings));
    std::promise<void> mayGo;
    mDesktop->Post([&] { mayGo.get_future().wait(); });
    try {
        hasty->Run("new test.probes.Probe().uiThrow('x')", "script.js");
        ADD_FAILURE();
    } catch (const ScriptError& error) {
        EXPECT_THAT(error.what(),
                    testing::AnyOf(testing::ContainsRegex("did not answer within [0-9]?[0-9] ms"),
                                   HasSubstr("longer than 50 ms")));
    }
    mayGo.set_value();
}

TEST_F(Threads, AMethodThatComesTooLateRunsToItsEnd) {
    std::promise<void> mayGo;
    Probe::sHook = [&](Probe& /*ioProbe*/) { mayGo.get_future().wait(); };
    EXPECT_THAT(Result(mContext, "new test.probes.Probe().uiHook('x')"), HasSubstr("did not answer within"));
    mContext.reset();
    EXPECT_EQ(Probe::sAlive, 1);
    mayGo.set_value();
    DirectVoidCallOnUIThread([] {}, std::chrono::seconds(30));
    EXPECT_EQ(Probe::sAlive, 0);
}

TEST_F(Threads, OnTheUIThreadItselfNothingIsHandedOver) {
    const std::string result = CallFunctionOnUIThread(
        [] {
            Console console;
            const auto context = console.MakeContext();
            return Result(context, "new test.probes.Probe().uiHook('x')");
        },
        std::chrono::seconds(30));
    EXPECT_EQ(result, "\"x\"");
    EXPECT_EQ(Probe::sThread, mDesktop->Id());
}

TEST_F(Threads, APromiseOfTheUIThread) {
    mContext->Run("new test.probes.Probe().promisedUIHook('x').then(v => console.log(v))", "script.js");
    ASSERT_TRUE(mContext->WaitForPending(std::chrono::seconds(30)));
    mContext->RunPending();
    EXPECT_THAT(mConsole.mLines, ElementsAre("x"));
    EXPECT_EQ(Probe::sThread, mDesktop->Id());
}

TEST_F(Threads, ACallThatWaitsForTheUIThreadKeepsItsObject) {
    std::promise<void> mayGo;
    mDesktop->Post([&] { mayGo.get_future().wait(); });
    mContext->Run(
        "var done = 0; for (let i = 0; i < 1000; i++) new test.probes.Probe().promisedUIHook('x').then(() => done++, e "
        "=> console.log(e.message))",
        "script.js");
    mContext->CollectGarbage();
    EXPECT_EQ(Probe::sFinalized, 0);
    mayGo.set_value();
    while (mContext->CountOpenPromises() > 0 && mContext->WaitForPending(std::chrono::seconds(30))) {
        mContext->RunPending();
    }
    EXPECT_THAT(mConsole.mLines, ElementsAre());
    EXPECT_EQ(Result(mContext, "done"), "1000");
    mContext->CollectGarbage();
    EXPECT_GT(Probe::sFinalized, 990);
}

TEST_F(Threads, ACallThatWaitsForTheUIThreadFailsWhenItsObjectHasEndedMeanwhile) {
    std::promise<void> mayGo;
    mDesktop->Post([&] { mayGo.get_future().wait(); });
    const auto object = mContext->AddObject("shared", "Probe");
    mContext->Run("shared.promisedUIHook('x').catch(e => console.log(e.message))", "script.js");
    object->Finalize();
    mayGo.set_value();
    ASSERT_TRUE(mContext->WaitForPending(std::chrono::seconds(30)));
    mContext->RunPending();
    EXPECT_THAT(mConsole.mLines, ElementsAre("test.probes.Probe.promisedUIHook: the object has ended"));
    EXPECT_EQ(Probe::sThread, std::thread::id());
}

TEST_F(Threads, TheLongestTimeOutIsForEver) {
    bool hasRun = false;
    mDesktop->Post([] { std::this_thread::sleep_for(std::chrono::milliseconds(50)); });
    DirectVoidCallOnUIThread([&] { hasRun = true; }, std::chrono::milliseconds::max());
    EXPECT_TRUE(hasRun);
}

TEST_F(Threads, APromiseOfTheUIThreadIsWaitedForInAContextWithoutPromises) {
    ScriptContextSettings settings;
    settings.mFlags = 0;
    EXPECT_EQ(
        Result(mConsole.MakeContext(std::move(settings)), "new test.probes.Probe().promisedUIHook('x')"),
        "\"x\"");
    EXPECT_EQ(Probe::sThread, mDesktop->Id());
}

TEST_F(Threads, WithoutAUIThreadItsMethodsFail) {
    SetUIThread(nullptr, nullptr);
    EXPECT_EQ(Result(mContext, "new test.probes.Probe().uiHook('x')"),
              "Error: there is no UI thread: the host has named none");
    EXPECT_THROW(mContext->Run("new test.probes.Probe().promisedUIHook('x')", "script.js");
                 mContext->RunPending(), ScriptException);
}

TEST_F(Threads, ContextsOfSeveralThreadsRunAtOnce) {
    std::vector<std::thread> threads;
    std::atomic<int> right = 0;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 5; ++round) {
                const auto context = ScriptContext::Create();
                const std::string sum = Result(
                    context,
                    "let p = new test.probes.Probe(), s = 0; for (let i = 0; i < 20000; i++) s += p.takeInt32(i); "
                    "p.uiHook('" +
                        std::to_string(i) + "') + s");
                if (sum == "\"" + std::to_string(i) + "199990000\"") ++right;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, 20);
    EXPECT_EQ(Probe::sAlive, 0);
}
