#include <gmock/gmock.h>

#include <future>

#include "Probe.h"
#include "doubles/NuocoreWatch.h"

namespace {

using namespace nuoscripting;
using probe::Console;
using probe::Probe;
using testing::ElementsAre;

class Promises : public testing::Test {
  protected:
    ~Promises() override { Probe::sHook = nullptr; }

    // Runs a script with the object "p", and what follows from it.
    void Run(const std::string& inSource) {
        mContext->Run("{ let p = new test.probes.Probe(); " + inSource + " }", "script.js");
        while (mContext->CountOpenPromises() > 0 && mContext->WaitForPending(std::chrono::seconds(30))) {
            mContext->RunPending();
        }
        EXPECT_EQ(mContext->CountOpenPromises(), 0U);
    }

    Console mConsole;
    RefPtr<ScriptContext> mContext = mConsole.MakeContext();
};

}  // namespace

TEST_F(Promises, AMethodFlaggedForThemGivesOneAndRunsElsewhere) {
    Run("let q = p.promisedHook('done'); console.log(q instanceof Promise); q.then(v => console.log(v));");
    EXPECT_THAT(mConsole.mLines, ElementsAre("true", "done"));
    EXPECT_NE(Probe::sThread, std::this_thread::get_id());
}

TEST_F(Promises, ANativeExceptionRejects) {
    Run("p.promisedThrow('trouble').catch(e => console.log(e instanceof Error, e.message));");
    EXPECT_THAT(mConsole.mLines, ElementsAre("true trouble"));
}

TEST_F(Promises, ArgumentsAreCheckedBeforeOneIsMade) {
    Run("try { p.promisedHook(5) } catch (e) { console.log(e.message) }");
    EXPECT_THAT(mConsole.mLines,
                ElementsAre("test.probes.Probe.promisedHook: parameter 1 \"value\" must be a string, "
                            "not a number"));
}

TEST_F(Promises, OneThatIsRejectedAndNotHandledIsToldToTheHost) {
    EXPECT_THROW(Run("p.promisedThrow('lost');"), ScriptException);
}

TEST_F(Promises, OneThatIsRejectedInACallThatThrowsIsForgottenWithIt) {
    try {
        mContext->Run("Promise.reject(1); throw 2", "script.js");
        FAIL();
    } catch (const ScriptException& exception) {
        EXPECT_STREQ(exception.what(), "2");
    }
    mContext->Run("console.log('next')", "script.js");
    EXPECT_THAT(mConsole.mLines, ElementsAre("next"));
}

TEST_F(Promises, AreNotMadeInAContextWithoutThem) {
    ScriptContextSettings settings;
    settings.mFlags = 0;
    mContext = mConsole.MakeContext(std::move(settings));
    EXPECT_EQ(mContext->GetFlags(), 0U);
    Run("console.log(p.promisedHook('now'));");
    EXPECT_THAT(mConsole.mLines, ElementsAre("now"));
    EXPECT_EQ(Probe::sThread, std::this_thread::get_id());
}

TEST_F(Promises, ManyAreCompleted) {
    Run("Promise.all(Array.from({length: 500}, (_, i) => p.promisedHook('' + i))).then(v => console.log(v.length, "
        "v[499]));");
    EXPECT_THAT(mConsole.mLines, ElementsAre("500 499"));
}

TEST_F(Promises, TheHostIsToldThatThereIsSomethingToRun) {
    std::atomic<int> told = 0;
    ScriptContextSettings settings;
    settings.mOnPendingWork = [&] { ++told; };
    mContext = mConsole.MakeContext(std::move(settings));
    Run("p.promisedHook('x');");
    // It may be told after the work has been taken.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (told == 0 && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
    EXPECT_EQ(told, 1);
}

TEST_F(Promises, TheHostIsNotToldAnyMoreWhenTheContextHasGone) {
    std::promise<void> begun;
    std::atomic<bool> isDone = false;
    ScriptContextSettings settings;
    settings.mOnPendingWork = [&] {
        begun.set_value();
        std::this_thread::sleep_for(
            std::chrono::milliseconds(50));  // for a release that doesn't wait to be seen
        isDone = true;
    };
    mContext = mConsole.MakeContext(std::move(settings));
    mContext->Run("new test.probes.Probe().promisedHook('x')", "script.js");
    begun.get_future().wait();
    mContext.reset();
    EXPECT_TRUE(isDone);
}

TEST_F(Promises, TheHostMayReleaseTheContextWhenItIsTold) {
    ScriptContextSettings settings;
    settings.mOnPendingWork = [&] { mContext.reset(); };
    mContext = mConsole.MakeContext(std::move(settings));
    bool hasRun = false;
    mContext->Post([&] { hasRun = true; });
    EXPECT_EQ(mContext, nullptr);
    EXPECT_FALSE(hasRun);
}

TEST_F(Promises, WhatTheHostThrowsWhenItIsToldGoesToTheLog) {
    const doubles::LogWatch log;
    ScriptContextSettings settings;
    settings.mOnPendingWork = [] { throw std::runtime_error("not now"); };
    mContext = mConsole.MakeContext(std::move(settings));
    mContext->Post([] {});
    Run("p.promisedHook('done').then(v => console.log(v));");
    EXPECT_THAT(mConsole.mLines, ElementsAre("done"));
    mContext.reset();
    EXPECT_EQ(log.Records().size(), 2U);
}

TEST_F(Promises, OneThatOutlivesItsContextIsNothing) {
    std::promise<void> begun;
    std::promise<void> mayEnd;
    Probe::sHook = [&](Probe& /*ioProbe*/) {
        begun.set_value();
        mayEnd.get_future().wait();
    };
    mContext->Run("new test.probes.Probe().promisedHook('x')", "script.js");
    begun.get_future().wait();
    mContext.reset();
    EXPECT_EQ(Probe::sAlive, 1);  // its method is running
    mayEnd.set_value();
    while (Probe::sAlive > 0) std::this_thread::yield();
}
