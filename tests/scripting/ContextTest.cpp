#include <gmock/gmock.h>

#include <thread>

#include "Probe.h"

namespace {

using nuoscripting::ScriptContext;
using nuoscripting::ScriptException;
using probe::Console;
using probe::Result;
using testing::ElementsAre;
using testing::HasSubstr;

class Context : public testing::Test {
  protected:
    ScriptException Thrown(const std::string& inSource) {
        try {
            mContext->Run(inSource, "script.js");
        } catch (const ScriptException& exception) {
            return exception;
        }
        return {"nothing was thrown", "", 0, 0, ""};
    }

    Console mConsole;
    nuoscripting::RefPtr<ScriptContext> mContext = mConsole.MakeContext();
};

}  // namespace

TEST_F(Context, RunsTodaysLanguage) {
    EXPECT_EQ(Result(mContext,
                     "class A { #x = 1n; static { A.y = 2; } get x() { return Number(this.#x); } } "
                     "const {x, ...rest} = {x: new A().x, y: A.y}; [x ?? 0, rest?.y, [1, 2, 3].at(-1)]"),
              "[1,2,3]");
}

TEST_F(Context, KeepsItsGlobalsBetweenScripts) {
    mContext->Run("var n = 5; function twice(x) { return 2 * x; }", "first.js");
    EXPECT_EQ(Result(mContext, "twice(n)"), "10");
}

TEST_F(Context, TellsAnUndefinedResultFromNull) {
    EXPECT_FALSE(mContext->EvaluateIfDefined("undefined", "script.js"));
    EXPECT_FALSE(mContext->EvaluateIfDefined("", "script.js"));
    const auto null = mContext->EvaluateIfDefined("null", "script.js");
    ASSERT_TRUE(null);
    EXPECT_TRUE(null->empty());
    EXPECT_TRUE(mContext->EvaluateIfDefined("0", "script.js"));
    EXPECT_TRUE(mContext->Evaluate("undefined", "script.js").empty());
    EXPECT_THROW(mContext->EvaluateIfDefined("throw 1", "script.js"), nuoscripting::ScriptException);
    std::thread([&] {
        EXPECT_THROW(mContext->EvaluateIfDefined("1", "script.js"), nuoscripting::ScriptError);
    }).join();
}

TEST_F(Context, TellsWhereAScriptThrew) {
    const ScriptException exception =
        Thrown("function inner() {\n  throw new TypeError('no');\n}\ninner();\n");
    EXPECT_STREQ(exception.what(), "TypeError: no");
    EXPECT_EQ(exception.GetFile(), "script.js");
    EXPECT_EQ(exception.GetLine(), 2);
    EXPECT_GT(exception.GetColumn(), 0);
    EXPECT_THAT(exception.GetStack(), HasSubstr("inner@script.js:2:"));
    EXPECT_THAT(exception.GetStack(), HasSubstr("global code@script.js:4:"));
}

TEST_F(Context, TellsWhereAScriptIsIllFormed) {
    const ScriptException exception = Thrown("let a = 1;\nlet b = ;\n");
    EXPECT_THAT(exception.what(), HasSubstr("SyntaxError: "));
    EXPECT_EQ(exception.GetFile(), "script.js");
    EXPECT_EQ(exception.GetLine(), 2);
}

TEST_F(Context, CountsLinesFromWhereItIsTold) {
    try {
        mContext->Run("\nthrow new Error('x')", "part.js", 10);
        FAIL();
    } catch (const ScriptException& exception) {
        EXPECT_EQ(exception.GetLine(), 11);
    }
}

TEST_F(Context, AnythingThrownHasAText) {
    EXPECT_STREQ(Thrown("throw 5").what(), "5");
    EXPECT_STREQ(Thrown("throw undefined").what(), "undefined");
    EXPECT_STREQ(Thrown("throw {toString() { throw 1; }}").what(), "an exception that has no text");
    EXPECT_STREQ(Thrown("throw Symbol()").what(), "an exception that has no text");
    EXPECT_STREQ(Thrown("throw {get line() { throw 1; }, toString() { return 'odd'; }}").what(), "odd");
}

TEST_F(Context, SaysWhyAResultHasNoVariantForm) {
    EXPECT_EQ(Result(mContext, "() => 1"), "TypeError: the result is a function, which JSON can't express");
    EXPECT_EQ(Result(mContext, "undefined"), "null");
    EXPECT_THAT(Result(mContext, "let c = {}; c.c = c"), HasSubstr("cyclic"));
}

TEST_F(Context, DeepRecursionEndsInTheScript) {
    EXPECT_THAT(Thrown("function f() { return f() + 1; } f()").what(),
                HasSubstr("RangeError: Maximum call stack"));
    EXPECT_EQ(Result(mContext, "(() => { try { f() } catch (e) { return e instanceof RangeError } })()"),
              "true");
}

TEST_F(Context, RecursionThroughNativeMethodsEndsInTheScript) {
    EXPECT_THAT(Thrown("let p = new test.probes.Probe(); function g() { return p.callBack(g); } g()").what(),
                HasSubstr("Maximum call stack"));
    EXPECT_EQ(Result(mContext, "1 + 1"), "2");
}

TEST_F(Context, ANativeMethodMayRunScriptsOfAnotherContext) {
    const auto other = mConsole.MakeContext();
    probe::Probe::sHook = [&](probe::Probe& /*ioProbe*/) {
        other->Run("console.log(new test.probes.Probe().takeText('inner'))", "inner.js");
    };
    EXPECT_EQ(Result(mContext, "let p = new test.probes.Probe(); p.hook(''); p.takeText('outer')"),
              "\"outer\"");
    probe::Probe::sHook = [&](probe::Probe& /*ioProbe*/) {
        other->Run("throw new RangeError('inner')", "inner.js");
    };
    // An error of its own, for the other's belongs to another engine.
    EXPECT_EQ(Result(mContext, "try { p.hook('') } catch (e) { [e instanceof Error, e.message] }"),
              "[true,\"RangeError: inner\"]");
    probe::Probe::sHook = nullptr;
    EXPECT_THAT(mConsole.mLines, ElementsAre("inner"));
    EXPECT_EQ(Result(mContext, "p.takeText('still')"), "\"still\"");
}

TEST_F(Context, TheConsoleShowsValues) {
    mContext->Run(
        "console.log('text', 5, [1, {a: 2}], null, undefined, true, () => 1); console.warn('careful'); "
        "console.error('bad'); console.info('i'); console.debug('d'); console.log()",
        "script.js");
    EXPECT_THAT(mConsole.mLines, ElementsAre("text 5 [1,{\"a\":2}] null undefined true () => 1", "! careful",
                                             "! bad", "i", "d", ""));
}

TEST_F(Context, TheConsolesFunctionsAreFunctions) {
    mContext->Run("console.log.apply(null, [1, 2]); [3].forEach(console.warn.bind(console, 'w'))",
                  "script.js");
    EXPECT_THAT(mConsole.mLines, ElementsAre("1 2", "! w 3 0 [3]"));
    EXPECT_EQ(Result(mContext, "[console.log instanceof Function, console.log.name, console.log.length]"),
              "[true,\"log\",0]");
}

TEST_F(Context, TheConsoleShowsOddValues) {
    mContext->Run(
        "let c = {}; c.c = c; console.log(c, 5n); console.log(Symbol('s'), Symbol()); "
        "console.log({get a() { throw 1; }}, {stack: 'mine'})",
        "script.js");
    EXPECT_THAT(mConsole.mLines, ElementsAre("[object Object] 5", "Symbol(s) Symbol()",
                                             "[object Object] {\"stack\":\"mine\"}"));
    mContext->Run("function where() { return new Error('e'); } console.log(where())", "script.js");
    EXPECT_THAT(mConsole.mLines.back(), HasSubstr("Error: e\nwhere@script.js:1:"));
}

TEST_F(Context, TheConsoleHasTheOtherUsualFunctions) {
    mContext->Run(
        "console.dir({a: 1}); console.table([1]); console.trace('here'); console.assert(true, 'well'); "
        "console.assert(0, 'ill', 5); console.assert(); console.group('g'); console.groupCollapsed(); "
        "console.groupEnd(); console.time('t'); console.timeLog('t'); console.timeEnd('t'); console.count(); "
        "console.countReset(); console.clear(); console.dirxml('x')",
        "script.js");
    EXPECT_THAT(mConsole.mLines, ElementsAre("{\"a\":1}", "[1]", "here", "! Assertion failed: ill 5",
                                             "! Assertion failed", "x"));
}

TEST_F(Context, ALineOfTheConsoleIsBounded) {
    mContext->Run(
        "let s = 'x'.repeat(1 << 24); console.log(s, s); let refused = ''; "
        "try { console.log(s, s, s, s, s) } catch (e) { refused = e.message }",
        "script.js");
    EXPECT_EQ(mConsole.mLines.size(), 1U);
    EXPECT_EQ(Result(mContext, "refused"), "\"a line of the console is longer than 64 MiB\"");
}

TEST_F(Context, PromisesDoTheirPartBeforeRunReturns) {
    mContext->Run("(async () => { await 0; console.log('later'); })(); console.log('first')", "script.js");
    EXPECT_THAT(mConsole.mLines, ElementsAre("first", "later"));
}

TEST_F(Context, ARejectedPromiseThatNobodyHandlesIsAnException) {
    const ScriptException exception = Thrown("Promise.reject(new TypeError('lost'))");
    EXPECT_STREQ(exception.what(), "TypeError: lost");
    EXPECT_EQ(exception.GetLine(), 1);
    EXPECT_NO_THROW(mContext->Run("Promise.reject(1).catch(() => {})", "script.js"));
    EXPECT_NO_THROW(mContext->Run("1", "script.js"));
}

TEST_F(Context, IsRefusedToOtherThreads) {
    std::string refusal;
    std::thread([&] {
        try {
            mContext->Run("1", "script.js");
        } catch (const nuoscripting::ScriptError& error) {
            refusal = error.what();
        }
        EXPECT_THROW(mContext->RunPending(), nuoscripting::ScriptError);
        EXPECT_THROW(static_cast<void>(mContext->GetMemoryUse()), nuoscripting::ScriptError);
        EXPECT_EQ(mContext->GetFlags(), nuoscripting::kContextFlag_Promises);
    }).join();
    EXPECT_THAT(refusal, HasSubstr("ScriptContext::Run was called on another thread"));
}

TEST_F(Context, RunsWhatOtherThreadsPost) {
    std::thread::id ranOn;
    std::thread([&] { mContext->Post([&] { ranOn = std::this_thread::get_id(); }); }).join();
    EXPECT_TRUE(mContext->WaitForPending(std::chrono::seconds(30)));
    EXPECT_TRUE(mContext->RunPending());
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_FALSE(mContext->RunPending());
    EXPECT_FALSE(mContext->WaitForPending(std::chrono::milliseconds(1)));
}

TEST_F(Context, WorkThatThrowsLeavesTheRest) {
    int ran = 0;
    mContext->Post([] { throw std::runtime_error("mine"); });
    mContext->Post([&] { ++ran; });
    EXPECT_THROW(mContext->RunPending(), std::runtime_error);
    EXPECT_EQ(ran, 0);
    EXPECT_TRUE(mContext->RunPending());
    EXPECT_EQ(ran, 1);
}

TEST_F(Context, TheHostIsToldAgainOfWorkThatIsLeft) {
    int told = 0;
    nuoscripting::ScriptContextSettings settings;
    settings.mOnPendingWork = [&] { ++told; };
    const auto context = mConsole.MakeContext(std::move(settings));
    context->Post([] { throw std::runtime_error("mine"); });
    context->Post([] { throw std::runtime_error("mine too"); });
    EXPECT_EQ(told, 2);
    EXPECT_THROW(context->RunPending(), std::runtime_error);
    EXPECT_EQ(told, 3);
    EXPECT_THROW(context->RunPending(), std::runtime_error);
    EXPECT_EQ(told, 3);
}

TEST_F(Context, SeveralShareNothing) {
    const auto other = mConsole.MakeContext();
    mContext->Run("var mine = 1; Object.prototype.shared = 1", "script.js");
    EXPECT_EQ(Result(other, "[typeof mine, typeof {}.shared]"), "[\"undefined\",\"undefined\"]");
}

TEST_F(Context, ANativeMethodMayRunAnotherScript) {
    probe::Probe::sHook = [&](probe::Probe& /*ioProbe*/) { mContext->Run("var nested = 7", "nested.js"); };
    EXPECT_EQ(Result(mContext, "new test.probes.Probe().hook('x'); nested"), "7");
    probe::Probe::sHook = [&](probe::Probe& /*ioProbe*/) {
        mContext->Run("throw new Error('deep')", "nested.js");
    };
    EXPECT_EQ(Result(mContext, "new test.probes.Probe().hook('x')"), "Error: deep");
    probe::Probe::sHook = nullptr;
}
