#include <gmock/gmock.h>

#include <stdexcept>
#include <thread>
#include <utility>

#include "Probe.h"

namespace {

using nuoscripting::RefPtr;
using nuoscripting::ScriptContext;
using nuoscripting::ScriptLimitExceeded;
using probe::Console;
using probe::Probe;
using probe::Result;
using Limit = ScriptLimitExceeded::Limit;

constexpr std::size_t kMiB = std::size_t{1} << 20;

class Limits : public testing::Test {
  protected:
    RefPtr<ScriptContext> MakeContext(std::chrono::milliseconds inTime, std::size_t inMemory) {
        nuoscripting::ScriptContextSettings settings;
        settings.mTimeLimit = inTime;
        settings.mMemoryLimit = inMemory;
        return mConsole.MakeContext(std::move(settings));
    }
    // Which limit stops a script; none when it isn't stopped. A script that isn't stopped hangs, which the
    // patience of the test run ends.
    static std::optional<Limit> Stops(const RefPtr<ScriptContext>& inContext, const std::string& inSource) {
        try {
            inContext->Run(inSource, "script.js");
        } catch (const ScriptLimitExceeded& exceeded) {
            return exceeded.GetLimit();
        } catch (const nuoscripting::ScriptException& exception) {
            ADD_FAILURE() << exception.what();
        }
        return std::nullopt;
    }

    Console mConsole;
    RefPtr<ScriptContext> mHasty = MakeContext(std::chrono::milliseconds(100), 0);
    RefPtr<ScriptContext> mSmall = MakeContext(std::chrono::seconds(100), 64 * kMiB);
};

}  // namespace

TEST_F(Limits, ALoopIsStopped) {
    EXPECT_EQ(Stops(mHasty, "for (;;);"), Limit::kTime);
    EXPECT_EQ(Result(mHasty, "1 + 1"), "2");
}

TEST_F(Limits, AStoppedScriptCannotCatchIt) {
    EXPECT_EQ(
        Stops(mHasty,
              "var caught = 0; for (;;) { try { for (;;); } catch (e) { caught++; } finally { for (;;); } }"),
        Limit::kTime);
    EXPECT_EQ(Result(mHasty, "caught"), "0");
}

TEST_F(Limits, PromisesThatNeverEndAreStopped) {
    EXPECT_EQ(Stops(mHasty, "(async () => { for (;;) await 0; })()"), Limit::kTime);
    EXPECT_EQ(Stops(mHasty, "function f() { Promise.resolve().then(f); } f()"), Limit::kTime);
    EXPECT_EQ(Stops(mHasty, "var p = Promise.resolve(); (async () => { for (;;) await p; })()"),
              Limit::kTime);
    EXPECT_EQ(Stops(mHasty, "(async () => { await 0; for (;;); })()"), Limit::kTime);
    EXPECT_EQ(Result(mHasty, "1 + 1"), "2");
}

TEST_F(Limits, PromisesThatNeverEndAreStoppedAfterAnExceptionToo) {
    try {
        mHasty->Run("(async () => { for (;;) await 0; })(); throw new Error('first')", "script.js");
        FAIL();
    } catch (const nuoscripting::ScriptException& exception) {
        EXPECT_STREQ(exception.what(), "Error: first");
    }
    EXPECT_EQ(Result(mHasty, "1 + 1"), "2");
}

TEST_F(Limits, WhatIsLeftOfAStoppedScriptIsNotRun) {
    // The engine tells of the rejection when it gives its lock up, and what promises had to do is left then.
    EXPECT_EQ(
        Stops(mHasty, "Promise.reject({toString() { for (;;); }}); (async () => { await 0; for (;;); })()"),
        Limit::kTime);
    EXPECT_EQ(Result(mHasty, "1 + 1"), "2");
    EXPECT_EQ(Stops(mHasty,
                    "var ran = 0; for (let i = 0; i < 3; i++) (async () => { await 0; for (;;); })(); "
                    "(async () => { await 0; ran++; for (;;); })()"),
              Limit::kTime);
    EXPECT_EQ(Result(mHasty, "ran"), "0");
}

TEST_F(Limits, AScriptIsStoppedInsideANativeMethod) {
    const std::string probe = "var p = new test.probes.Probe(); ";
    EXPECT_EQ(Stops(mHasty, probe + "p.takeVariant({get a() { for (;;); }})"), Limit::kTime);
    EXPECT_EQ(Stops(mHasty, probe + "for (;;) try { p.takeVariant({get a() { for (;;); }}) } catch (e) {}"),
              Limit::kTime);
    EXPECT_EQ(
        Stops(mHasty, probe + "for (;;) try { p.takeLooseText({toString() { for (;;); }}) } catch (e) {}"),
        Limit::kTime);
    EXPECT_EQ(Stops(mHasty, probe + "for (;;) try { p.callBack(() => { for (;;); }) } catch (e) {}"),
              Limit::kTime);
    EXPECT_EQ(
        Stops(
            mHasty,
            "for (;;) try { console.log({toString() { for (;;); }, get stack() { for (;;); }}) } catch (e) {}"),
        Limit::kTime);
    EXPECT_EQ(Result(mHasty, "1 + 1"), "2");
}

TEST_F(Limits, AStoppedScriptCallsNothingAnyMore) {
    Probe::sHook = [](Probe& /*ioProbe*/) { std::this_thread::sleep_for(std::chrono::milliseconds(150)); };
    EXPECT_EQ(Stops(mHasty,
                    "var p = new test.probes.Probe(); p.hook(''); p.takeText('a'); p.takeText('b'); "
                    "console.log('c'); for (;;);"),
              Limit::kTime);
    EXPECT_EQ(
        Stops(
            mHasty,
            "console.log({toString() { p.hook(''); return 'x'; }, get stack() { p.hook(''); }}); for (;;);"),
        Limit::kTime);
    Probe::sHook = nullptr;
    EXPECT_EQ(
        Stops(mHasty,
              "function deep(n) { if (n == 0) for (;;); try { p.callBack(() => deep(n - 1)) } finally { "
              "p.takeText('d'); new test.probes.Probe(); console.log('e') } } deep(50)"),
        Limit::kTime);
    EXPECT_THAT(Probe::sTexts, testing::IsEmpty());
    EXPECT_THAT(mConsole.mLines, testing::IsEmpty());
}

TEST_F(Limits, LargeBuffersCountAgainstTheMemory) {
    const auto context = MakeContext(std::chrono::seconds(20), 64 * kMiB);
    EXPECT_EQ(
        Stops(
            context,
            "var a = new Uint8Array(512 * 1024 * 1024).fill(1); const end = Date.now() + 3000; while (Date.now() < end);"),
        Limit::kMemory);
    // What the engine has freed and not yet given back hides what comes after it for a moment only.
    const std::string spin =
        "const spin = ms => { const end = Date.now() + ms; while (Date.now() < end); }; ";
    EXPECT_EQ(
        Stops(MakeContext(std::chrono::seconds(20), 64 * kMiB),
              spin + "for (let i = 0; i < 60; i++) new Uint8Array(8 * 1024 * 1024).fill(1); spin(1500); "
                     "var a = new Uint8Array(400 * 1024 * 1024).fill(1); spin(3000)"),
        Limit::kMemory);
    EXPECT_EQ(Stops(MakeContext(std::chrono::seconds(20), 64 * kMiB),
                    spin + "for (let i = 0; i < 60; i++) new Uint8Array(8 * 1024 * 1024).fill(1); "
                           "var a = new Uint8Array(400 * 1024 * 1024).fill(1); spin(3000)"),
              Limit::kMemory);
    EXPECT_EQ(Stops(context, "a = null; var b = new Uint8Array(16 * 1024 * 1024).fill(1)"), std::nullopt);
}

TEST_F(Limits, NativeObjectsCountAgainstTheMemory) {
    const auto context = MakeContext(std::chrono::seconds(100), 0);
    context->CollectGarbage();
    const std::size_t before = context->GetMemoryUse();
    context->Run("var kept = []; for (let i = 0; i < 100000; i++) kept.push(new test.probes.Probe())",
                 "script.js");
    context->CollectGarbage();
    EXPECT_GE(context->GetMemoryUse(), before + 100000 * std::size_t{256});
    EXPECT_EQ(Stops(mSmall, "var kept = []; for (;;) kept.push(new test.probes.Probe())"), Limit::kMemory);
    // What is lost but not yet released doesn't count.
    EXPECT_EQ(Stops(MakeContext(std::chrono::seconds(100), 12 * kMiB),
                    "for (let i = 0; i < 500000; i++) new test.probes.Probe()"),
              std::nullopt);
}

TEST_F(Limits, TimeThatNativeMethodsWaitCounts) {
    int calls = 0;
    Probe::sHook = [&](Probe& /*ioProbe*/) {
        ++calls;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    };
    EXPECT_EQ(Stops(mHasty, "let p = new test.probes.Probe(); for (;;) try { p.hook('') } catch (e) {}"),
              Limit::kTime);
    EXPECT_LE(calls, 15);
    Probe::sHook = nullptr;
}

TEST_F(Limits, TimeThatNativeObjectsTakeToBeMadeCounts) {
    int made = 0;
    Probe::sAtBegin = [&] {
        ++made;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    };
    EXPECT_EQ(Stops(mHasty, "for (;;) try { new test.probes.Probe() } catch (e) {}"), Limit::kTime);
    EXPECT_LE(made, 15);
    Probe::sAtBegin = nullptr;
}

TEST_F(Limits, AScriptThatIsStoppedWhileAnObjectIsMadeCannotCatchIt) {
    mHasty->Run("new test.probes.Probe().keep(() => { for (;;); })", "script.js");
    const auto endless = Probe::sKept.at(0);
    Probe::sAtBegin = [&] { endless->Call({}); };
    EXPECT_EQ(Stops(mHasty, "var caught = 0; try { new test.probes.Probe() } catch (e) { caught++ }"),
              Limit::kTime);
    Probe::sAtBegin = nullptr;
    EXPECT_EQ(Result(mHasty, "caught"), "0");
    Probe::sKept.clear();
}

TEST_F(Limits, WhatANativeObjectThrowsTooLateCannotBeCaught) {
    // The engine knows of no stop before: the time has passed without the processor.
    const auto late = [] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        throw std::runtime_error("late");
    };
    Probe::sAtBegin = late;
    EXPECT_EQ(Stops(mHasty, "var caught = 0; try { new test.probes.Probe() } catch (e) { caught++ }"),
              Limit::kTime);
    Probe::sAtBegin = nullptr;
    EXPECT_EQ(Result(mHasty, "caught"), "0");
    Probe::sHook = [&](Probe& /*ioProbe*/) { late(); };
    EXPECT_EQ(Stops(mHasty, "var p = new test.probes.Probe(); try { p.hook('') } catch (e) { caught++ }"),
              Limit::kTime);
    Probe::sHook = nullptr;
    EXPECT_EQ(Result(mHasty, "caught"), "0");
}

TEST_F(Limits, TimeThatTheConsoleTakesCounts) {
    int lines = 0;
    nuoscripting::ScriptContextSettings settings;
    settings.mTimeLimit = std::chrono::milliseconds(100);
    settings.mConsole = [&](nuoscripting::ConsoleLevel, std::string_view) {
        ++lines;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    };
    EXPECT_EQ(Stops(ScriptContext::Create(settings), "for (;;) try { console.log(1) } catch (e) {}"),
              Limit::kTime);
    EXPECT_LE(lines, 15);
}

TEST_F(Limits, AResultThatIsNeverReadyIsStopped) {
    EXPECT_THROW(mHasty->Evaluate("({get a() { for (;;); }})", "script.js"), ScriptLimitExceeded);
    EXPECT_EQ(Stops(mHasty, "throw {toString() { for (;;); }}"), Limit::kTime);
}

TEST_F(Limits, AFunctionThatTheHostCallsIsStopped) {
    mHasty->Run("new test.probes.Probe().keep(() => { for (;;); })", "script.js");
    EXPECT_THROW(Probe::sKept.at(0)->Call({}), ScriptLimitExceeded);
    Probe::sKept.clear();
}

TEST_F(Limits, WhatTheEndOfAnObjectCallsIsStopped) {
    const auto context = MakeContext(std::chrono::seconds(1), 0);
    context->Run("new test.probes.Probe().keep(() => { for (;;); })", "script.js");
    const auto endless = Probe::sKept.at(0);
    bool wasCalled = false;
    Probe::sAtEnd = [&] {
        if (!std::exchange(wasCalled, true)) {
            EXPECT_THROW(endless->Call({}), ScriptLimitExceeded);
        }
    };
    // Until the collector finds it; what that has found ends behind the script, in calls of its own.
    for (int i = 0; i < 10000 && !wasCalled; ++i) {
        context->Run("new test.probes.Probe(); for (let i = 0; i < 10000; i++) ({a: i})", "script.js");
    }
    EXPECT_TRUE(wasCalled);
    Probe::sAtEnd = nullptr;
    Probe::sKept.clear();
}

TEST_F(Limits, WorkThatIsRunLaterIsStopped) {
    mHasty->Run("new test.probes.Probe().promisedHook('x').then(() => { for (;;); })", "script.js");
    ASSERT_TRUE(mHasty->WaitForPending(std::chrono::seconds(30)));
    EXPECT_THROW(mHasty->RunPending(), ScriptLimitExceeded);
}

TEST_F(Limits, PromisesOfWorkThatThrowsBehindOtherWorkAreStopped) {
    mHasty->Post([] {});
    mHasty->Post([&] {
        mHasty->Run("(async () => { await 0; for (;;); })()", "script.js");
        throw std::runtime_error("mine");
    });
    EXPECT_THROW(mHasty->RunPending(), std::runtime_error);
    EXPECT_EQ(Result(mHasty, "1 + 1"), "2");
}

TEST_F(Limits, WorkThatIsRunLaterIsOneCall) {
    const auto context = MakeContext(std::chrono::seconds(1), 0);
    int done = 0;
    // Each piece is short.
    for (int i = 0; i < 1000; ++i) {
        context->Post([&] {
            ++done;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        });
    }
    EXPECT_THROW(context->RunPending(), ScriptLimitExceeded);
    EXPECT_LT(done, 150);
    EXPECT_TRUE(context->WaitForPending(std::chrono::milliseconds(0)));
}

TEST_F(Limits, WorkThatWasNotBegunInTimeIsDoneLater) {
    int done = 0;
    for (int i = 0; i < 3; ++i) {
        mHasty->Post([&] {
            ++done;
            std::this_thread::sleep_for(std::chrono::milliseconds(400));  // longer than a call may take
        });
    }
    EXPECT_THROW(mHasty->RunPending(), ScriptLimitExceeded);
    EXPECT_EQ(done, 1);
    EXPECT_THROW(mHasty->RunPending(), ScriptLimitExceeded);
    EXPECT_EQ(done, 2);
    mHasty->RunPending();  // nothing waits behind the last one
    EXPECT_EQ(done, 3);
    EXPECT_FALSE(mHasty->WaitForPending(std::chrono::milliseconds(0)));
}

TEST_F(Limits, TheLongestDurationIsForEver) {
    constexpr auto kForEver = std::chrono::milliseconds::max();
    EXPECT_EQ(Stops(MakeContext(kForEver, 0), "for (let i = 0; i < 3e7; i++);"), std::nullopt);
    std::thread later([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        mSmall->Post([] {});
    });
    EXPECT_TRUE(mSmall->WaitForPending(kForEver));
    later.join();
}

TEST_F(Limits, ADurationBelowNoughtIsNoLimit) {
    EXPECT_EQ(Stops(MakeContext(std::chrono::milliseconds(-5), 0), "for (let i = 0; i < 3e7; i++);"),
              std::nullopt);
}

TEST_F(Limits, WhatEscapesThemIsTakenAway) {
    EXPECT_EQ(Result(mHasty,
                     "[typeof WebAssembly, typeof FinalizationRegistry, typeof Atomics.wait, typeof "
                     "Atomics.waitAsync, typeof SharedArrayBuffer]"),
              R"(["undefined","undefined","undefined","undefined","undefined"])");
    EXPECT_EQ(Result(mHasty, "[typeof Atomics.add, typeof WeakRef]"), R"(["function","function"])");
}

TEST_F(Limits, EachCallHasTheWholeTime) {
    const auto context = MakeContext(std::chrono::seconds(4), 0);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Stops(context, "{ const end = Date.now() + 1000; while (Date.now() < end); }"),
                  std::nullopt);
    }
}

TEST_F(Limits, AScriptThatKeepsObjectsIsStopped) {
    EXPECT_EQ(Stops(mSmall, "var a = []; for (;;) a.push({x: 1})"), Limit::kMemory);
}

TEST_F(Limits, AScriptThatKeepsTextsIsStopped) {
    EXPECT_EQ(Stops(mSmall, "var a = []; for (;;) a.push('x'.repeat(1e5) + a.length)"), Limit::kMemory);
}

TEST_F(Limits, AScriptThatKeepsBuffersIsStopped) {
    EXPECT_EQ(Stops(mSmall, "var a = []; for (;;) a.push(new Uint8Array(1e5))"), Limit::kMemory);
}

TEST_F(Limits, AScriptThatKeepsEntriesIsStopped) {
    EXPECT_EQ(Stops(mSmall, "var m = new Map(); for (let i = 0;; i++) m.set(i, i)"), Limit::kMemory);
}

TEST_F(Limits, AScriptThatIsOverTheMemoryAtItsEndIsTold) {
    // At once, if the system has given all of it already.
    const auto told = Stops(mSmall, "var kept = new Uint8Array(2e8)");
    mSmall->CollectGarbage();
    EXPECT_EQ(told ? told : Stops(mSmall, "1"), Limit::kMemory);
    EXPECT_EQ(Stops(mSmall, "kept = null; 1"), std::nullopt);
}

TEST_F(Limits, GarbageIsNotHeldAgainstAScript) {
    EXPECT_EQ(Stops(mSmall, "for (let i = 0; i < 20000; i++) new Uint8Array(1e5)"), std::nullopt);
    EXPECT_EQ(Stops(mSmall, "for (let i = 0; i < 3e6; i++) ({x: [i]})"), std::nullopt);
}

TEST_F(Limits, ATextThatNoMemoryHoldsIsAnException) {
    EXPECT_EQ(
        Result(mSmall,
               "(() => { try { 'x'.repeat(2 ** 31) } catch (e) { return e instanceof RangeError } })()"),
        "true");
    EXPECT_EQ(Result(mSmall,
                     "(() => { try { let s = 'ab'; for (;;) s += s + 'c' } catch (e) { return e instanceof "
                     "RangeError } })()"),
              "true");
    EXPECT_EQ(
        Result(mSmall,
               "(() => { try { new ArrayBuffer(1e15) } catch (e) { return e instanceof RangeError } })()"),
        "true");
}

TEST_F(Limits, MemoryUseIsToldAndFalls) {
    const auto context = MakeContext(std::chrono::milliseconds(0), 0);
    context->Run("var a = new Uint8Array(5e7)", "script.js");
    context->CollectGarbage();
    EXPECT_GE(context->GetMemoryUse(), 50'000'000U);
    context->Run("a = null", "script.js");
    context->CollectGarbage();
    EXPECT_LT(context->GetMemoryUse(), 50'000'000U);
}
