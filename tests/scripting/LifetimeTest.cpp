#include <gmock/gmock.h>

#include "Probe.h"
#include "doubles/NuocoreWatch.h"

namespace {

using nuoscripting::RefPtr;
using nuoscripting::ScriptContext;
using nuoscripting::ScriptError;
using probe::Console;
using probe::Probe;
using probe::Result;

class Lifetime : public testing::Test {
  protected:
    ~Lifetime() override {
        Probe::sHook = nullptr;
        Probe::sAtEnd = nullptr;
        Probe::sKept.clear();
    }
    std::string Eval(const std::string& inSource) { return Result(mContext, inSource); }

    Console mConsole;
    RefPtr<ScriptContext> mContext = mConsole.MakeContext();
};

}  // namespace

TEST_F(Lifetime, WhatAScriptHasLostGoes) {
    mContext->Run("for (let i = 0; i < 1000; i++) new test.probes.Probe()", "script.js");
    mContext->CollectGarbage();
    // The engine looks at its stack conservatively: an old value may keep an object or two.
    EXPECT_LT(Probe::sAlive, 10);
    EXPECT_GT(Probe::sFinalized, 990);
}

TEST_F(Lifetime, ManyObjectsDoNotPileUpWhileAScriptRuns) {
    int most = 0;
    Probe::sHook = [&](Probe& /*ioProbe*/) { most = std::max(most, Probe::sAlive.load()); };
    mContext->Run(
        "for (let i = 0; i < 3000000; i++) { let p = new test.probes.Probe(); if (i % 1000 == 0) p.hook('') }",
        "script.js");
    EXPECT_LT(most, 2000000);
}

TEST_F(Lifetime, WhatGetsTheAddressOfALostObjectIsNotTakenForIt) {
    // Others take the places of the lost, and no class of the host's is asked for anything meanwhile.
    EXPECT_EQ(
        Eval("const take = new test.probes.Probe().takeText; for (let i = 0; i < 100000; i++) new "
             "test.probes.Probe(); let others = []; for (let i = 0; i < 200000; i++) others.push({}); "
             "let refused = 0; for (const o of others) { try { take.call(o, 'x') } catch { refused++ } } "
             "refused"),
        "200000");
    EXPECT_THAT(Probe::sTexts, testing::IsEmpty());
}

TEST_F(Lifetime, ObjectsThatGetTheAddressesOfLostOnesAreNoLessKept) {
    // The collector may come while an object is made, so that it gets the address of one that isn't released
    // yet; making the next one releases that.
    EXPECT_EQ(
        Eval("const kept = []; const works = p => p.takeTwo('x') == 'x-'; let all = true; let before = null; "
             "for (let i = 0; i < 500000; i++) { const p = new test.probes.Probe(); all &&= works(p) && "
             "(before == null || works(before)); before = p; if (i % 50 == 0) kept.push(p) } all"),
        "true");
    mContext->CollectGarbage();
    EXPECT_GE(Probe::sAlive, 10000);
    EXPECT_LT(Probe::sAlive, 10010);
    EXPECT_EQ(Probe::sFinalized, 500000 - Probe::sAlive);
    EXPECT_EQ(Eval("kept.every(works)"), "true");
    mContext.reset();
    EXPECT_EQ(Probe::sAlive, 0);
    EXPECT_EQ(Probe::sFinalized, 500000);
}

TEST_F(Lifetime, WhatAScriptKeepsStaysUntilTheContextGoes) {
    mContext->Run("var kept = []; for (let i = 0; i < 100; i++) kept.push(new test.probes.Probe())",
                  "script.js");
    mContext->CollectGarbage();
    EXPECT_EQ(Probe::sAlive, 100);
    mContext.reset();
    EXPECT_EQ(Probe::sAlive, 0);
    EXPECT_EQ(Probe::sFinalized, 100);
}

TEST_F(Lifetime, AnEndedObjectFailsInTheScript) {
    const auto object = mContext->AddObject("shared", "Probe");
    object->Finalize();
    object->Finalize();
    EXPECT_EQ(Probe::sFinalized, 1);
    EXPECT_EQ(Eval("shared.takeText('x')"), "TypeError: test.probes.Probe.takeText: the object has ended");
}

TEST_F(Lifetime, AnObjectThatEndsWhileItsArgumentsAreTakenFailsInTheScript) {
    const auto object = mContext->AddObject("shared", "Probe");
    Probe::sHook = [&](Probe& /*ioProbe*/) { object->Finalize(); };
    mContext->Run("const ender = new test.probes.Probe(), ends = {get a() { return ender.hook(''); }}",
                  "script.js");
    EXPECT_EQ(Eval("shared.takeVariant(ends)"),
              "TypeError: test.probes.Probe.takeVariant: the object has ended");
}

TEST_F(Lifetime, AnObjectMayEndItselfInItsMethod) {
    Probe::sHook = [](Probe& ioProbe) { ioProbe.Finalize(); };
    EXPECT_EQ(Eval("let p = new test.probes.Probe(); p.hook('x')"), "\"x\"");
    EXPECT_EQ(Eval("p.hook('x')"), "TypeError: test.probes.Probe.hook: the object has ended");
}

TEST_F(Lifetime, AnObjectOutlivesTheScriptThatLostItWhileTheHostHoldsIt) {
    RefPtr<nuoscripting::ScriptObject> object = mContext->AddObject("shared", "Probe");
    mContext.reset();
    EXPECT_EQ(Probe::sAlive, 1);
    EXPECT_TRUE(object->IsFinalized());
    EXPECT_EQ(object->GetContext(), nullptr);
    object.reset();
    EXPECT_EQ(Probe::sAlive, 0);
}

TEST_F(Lifetime, AnObjectWhoseScriptSideGoesInItsMethodRunsToItsEnd) {
    Probe::sHook = [&](Probe& ioProbe) {
        mContext->Run("shared = null", "nested.js");
        mContext->CollectGarbage();
        EXPECT_EQ(ioProbe.GetName(), "Probe");
    };
    mContext->AddObject("shared", "Probe");
    EXPECT_EQ(Eval("shared.hook('x')"), "\"x\"");
}

TEST_F(Lifetime, AFunctionThatTheHostKeepsCanBeCalledLater) {
    mContext->Run("var heard = 0; new test.probes.Probe().keep(x => heard += x)", "script.js");
    mContext->CollectGarbage();
    Probe::sKept.at(0)->Call({nuoscripting::VariantValue(std::int64_t{5})});
    EXPECT_EQ(Eval("heard"), "5");
}

TEST_F(Lifetime, AFunctionThatTheHostKeepsIsDeadWithoutItsContext) {
    mContext->Run("new test.probes.Probe().keep(() => 1)", "script.js");
    mContext.reset();
    EXPECT_THROW(Probe::sKept.at(0)->Call({}), ScriptError);
}

TEST_F(Lifetime, AFunctionIsRefusedToOtherThreadsButMayBeReleasedThere) {
    mContext->Run("for (let i = 0; i < 100; i++) { let p = new test.probes.Probe(); p.keep(() => p) }",
                  "script.js");
    std::thread([] {
        EXPECT_THROW(Probe::sKept.at(0)->Call({}), ScriptError);
        Probe::sKept.clear();
    }).join();
    EXPECT_EQ(Probe::sAlive, 100);
    mContext->Run("1", "script.js");
    mContext->CollectGarbage();
    EXPECT_LT(Probe::sAlive, 10);
}

TEST_F(Lifetime, FunctionsThatTheHostHasReleasedGoWithWhatTheyRefTo) {
    mContext->Run("for (let i = 0; i < 100; i++) { let p = new test.probes.Probe(); p.keep(() => p) }",
                  "script.js");
    mContext->CollectGarbage();
    EXPECT_EQ(Probe::sAlive, 100);
    Probe::sKept.clear();
    mContext->Run("1", "script.js");
    mContext->CollectGarbage();
    EXPECT_LT(Probe::sAlive, 10);
}

TEST_F(Lifetime, AContextMayBeReleasedInsideItsOwnScript) {
    Probe::sHook = [&](Probe& /*ioProbe*/) { mContext.reset(); };
    mContext->Run("new test.probes.Probe().hook('x'); new test.probes.Probe()", "script.js");
    EXPECT_EQ(mContext, nullptr);
    EXPECT_EQ(Probe::sAlive, 0);
}

TEST_F(Lifetime, AContextMayBeReleasedInsideAFunctionThatTheHostCalls) {
    Probe::sHook = [&](Probe& /*ioProbe*/) { mContext.reset(); };
    mContext->Run("let p = new test.probes.Probe(); p.keep(() => { p.hook('x'); return 5; })", "script.js");
    const nuoscripting::VariantValue result = Probe::sKept.at(0)->Call({});
    EXPECT_EQ(boost::any_cast<std::int64_t>(result), 5);
    EXPECT_EQ(mContext, nullptr);
    EXPECT_EQ(Probe::sAlive, 0);
    EXPECT_THROW(Probe::sKept.at(0)->Call({}), ScriptError);
}

TEST_F(Lifetime, AContextMayBeReleasedByTheEndOfAnObject) {
    mContext->Run("for (let i = 0; i < 100; i++) new test.probes.Probe()", "script.js");
    Probe::sAtEnd = [&] { mContext.reset(); };
    mContext->CollectGarbage();
    EXPECT_EQ(mContext, nullptr);
    EXPECT_EQ(Probe::sAlive, 0);
}

TEST_F(Lifetime, WhatTheEndOfAnObjectThrowsGoesToTheLog) {
    Probe::sAtEnd = [] { throw std::runtime_error("no good end"); };
    const doubles::LogWatch log;
    // Objects end while others are made, before a script runs, and with their context.
    mContext->Run("for (let i = 0; i < 300000; i++) new test.probes.Probe()", "script.js");
    EXPECT_GT(Probe::sFinalized, 0);
    mContext->Run("1", "script.js");
    mContext->CollectGarbage();
    mContext.reset();
    EXPECT_EQ(Probe::sAlive, 0);
    ASSERT_FALSE(log.Records().empty());
    EXPECT_EQ(log.Records()[0].mMessage, "The end of a script's object threw");
    EXPECT_EQ(boost::any_cast<nuoscripting::UTF8String>(log.Records()[0].mFields.at(0).second),
              "no good end");
}

TEST_F(Lifetime, WhatTheEndOfAnObjectThrowsGoesToTheHostThatEndsIt) {
    Probe::sAtEnd = [] { throw std::runtime_error("no good end"); };
    EXPECT_THROW(mContext->AddObject("shared", "Probe")->Finalize(), std::runtime_error);
}

TEST_F(Lifetime, ManyContextsComeAndGo) {
    for (int i = 0; i < 20; ++i) {
        const auto context = mConsole.MakeContext();
        context->Run("var p = new test.probes.Probe()", "script.js");
    }
    EXPECT_EQ(Probe::sAlive, 0);
}
