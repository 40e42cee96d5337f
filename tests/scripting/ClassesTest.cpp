#include <gmock/gmock.h>

#include "Probe.h"

namespace {

using probe::Console;
using probe::Result;
using testing::ElementsAre;
using testing::HasSubstr;

class Classes : public testing::Test {
  protected:
    std::string Eval(const std::string& inSource) { return Result(mContext, inSource); }

    Console mConsole;
    nuoscripting::RefPtr<nuoscripting::ScriptContext> mContext = mConsole.MakeContext();
};

}  // namespace

TEST_F(Classes, StandInTheirNamespaces) {
    EXPECT_EQ(Eval("typeof test.probes.Probe"), "\"function\"");
    EXPECT_EQ(Eval("test.probes.Probe.name"), "\"Probe\"");
    EXPECT_EQ(Eval("'Probe' in globalThis"), "false");
}

TEST_F(Classes, ANamespaceIsEnumeratedWhenItsFlagSaysSo) {
    EXPECT_EQ(Eval("Object.keys(globalThis).includes('test')"), "true");
    EXPECT_EQ(Eval("Object.keys(test)"), "[\"probes\"]");
}

TEST_F(Classes, AnItemIsEnumeratedWhenItsFlagSaysSo) {
    EXPECT_EQ(Eval("let names = []; for (let n in new test.probes.Probe()) names.push(n); names"),
              "[\"nothing\"]");
}

TEST_F(Classes, ObjectsAreTheirClassesObjects) {
    EXPECT_EQ(Eval("let p = new test.probes.Probe(); [p instanceof test.probes.Probe, {} instanceof "
                   "test.probes.Probe, 5 instanceof test.probes.Probe, p.constructor === test.probes.Probe, "
                   "Object.prototype.toString.call(p), Reflect.ownKeys(p)]"),
              "[true,false,false,true,\"[object Probe]\",[]]");
}

TEST_F(Classes, AConstructorIsNotCalledWithoutNew) {
    EXPECT_EQ(Eval("test.probes.Probe()"),
              "TypeError: test.probes.Probe is a class: use \"new test.probes.Probe()\"");
}

TEST_F(Classes, ScriptsCannotReplaceWhatIsDefined) {
    EXPECT_THAT(Eval("'use strict'; test.probes.Probe = 5"), HasSubstr("TypeError"));
    EXPECT_THAT(Eval("'use strict'; delete test.probes"), HasSubstr("TypeError"));
    EXPECT_THAT(Eval("'use strict'; test.probes.Probe.prototype.takeText = 5"), HasSubstr("TypeError"));
}

TEST_F(Classes, MethodsAreFunctions) {
    EXPECT_EQ(Eval("let m = new test.probes.Probe().takeTwo; [typeof m, m.name, m.length]"),
              "[\"function\",\"takeTwo\",1]");
    EXPECT_EQ(Eval("new test.probes.Probe().takeText.call(new test.probes.Probe(), 'x')"), "\"x\"");
}

TEST_F(Classes, AMethodRefusesForeignObjects) {
    const std::string refusal =
        "TypeError: test.probes.Probe.takeText: called on something that is no such object";
    EXPECT_EQ(Eval("new test.probes.Probe().takeText.call({}, 'x')"), refusal);
    EXPECT_EQ(Eval("let f = new test.probes.Probe().takeText; f('x')"), refusal);
    EXPECT_EQ(Eval("new Proxy(new test.probes.Probe(), {}).takeText('x')"), refusal);
    EXPECT_EQ(Eval("test.probes.Probe.prototype.takeText('x')"), refusal);
    EXPECT_EQ(Eval("new test.probes.Probe().takeText.call(console.log, 'x')"), refusal);
    EXPECT_EQ(Eval("new test.probes.Probe().takeText.call(test.probes.Probe, 'x')"), refusal);
    EXPECT_EQ(Eval("new test.probes.Probe().takeText.call(new test.probes.Probe().takeText, 'x')"), refusal);
    EXPECT_EQ(Eval("Object.create(new test.probes.Probe()).takeText('x')"), refusal);
    EXPECT_THAT(probe::Probe::sTexts, testing::IsEmpty());
}

TEST_F(Classes, AMethodRefusesObjectsOfOtherClasses) {
    EXPECT_EQ(Eval("new test.probes.Other().nothing()"), "null");
    EXPECT_EQ(Eval("new test.probes.Probe().takeText.call(new test.probes.Other(), 'x')"),
              "TypeError: test.probes.Probe.takeText: called on something that is no such object");
    EXPECT_THAT(probe::Probe::sTexts, testing::IsEmpty());
    EXPECT_EQ(
        Eval(
            "let o = new test.probes.Other(); [o instanceof test.probes.Other, o instanceof test.probes.Probe]"),
        "[true,false]");
}

TEST_F(Classes, ADerivedClassGivesObjectsOfTheClassItself) {
    EXPECT_EQ(Eval("class Mine extends test.probes.Probe { own() { return 1 } }; let m = new Mine(); "
                   "[m instanceof test.probes.Probe, typeof m.own, m.takeText('x')]"),
              "[true,\"undefined\",\"x\"]");
}

TEST_F(Classes, AHostGivesItsScriptsAnObject) {
    const auto object = mContext->AddObject("shared", "Probe");
    EXPECT_EQ(object->GetName(), "Probe");
    EXPECT_EQ(object->GetContext(), mContext);
    EXPECT_EQ(Eval("shared instanceof test.probes.Probe && shared.takeText('x')"), "\"x\"");
    EXPECT_THROW(mContext->AddObject("other", "NoSuchClass"), nuoscripting::ScriptError);
}

TEST_F(Classes, AHostsObjectReplacesWhatScriptsHaveThere) {
    mContext->Run(
        "Object.defineProperty(globalThis, 'shared', {set() { throw 1; }, configurable: true}); "
        "Object.prototype.get = () => 1; Object.defineProperty = () => 5",
        "script.js");
    mContext->AddObject("shared", "Probe");
    EXPECT_EQ(Eval("shared.takeText('x')"), "\"x\"");
    EXPECT_EQ(Eval("shared = 5; shared"), "5");
    mContext->Run("delete Object.prototype.get; Reflect.defineProperty(globalThis, 'fixed', {value: 1})",
                  "script.js");
    EXPECT_THROW(mContext->AddObject("fixed", "Probe"), nuoscripting::ScriptException);
    EXPECT_EQ(Eval("fixed"), "1");
}

TEST_F(Classes, AnObjectKnowsTheContextThatMadeIt) {
    probe::Probe::sHook = [&](probe::Probe& ioProbe) { EXPECT_EQ(ioProbe.GetContext(), mContext); };
    EXPECT_EQ(Eval("new test.probes.Probe().hook('x')"), "\"x\"");
    probe::Probe::sHook = nullptr;
}
