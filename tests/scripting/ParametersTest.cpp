#include <gmock/gmock.h>

#include "Probe.h"

namespace {

using probe::Console;
using probe::Probe;
using testing::ElementsAre;
using testing::HasSubstr;

class Parameters : public testing::Test {
  protected:
    std::string Eval(const std::string& inSource) {
        return probe::Result(mContext, "var p = new test.probes.Probe(); " + inSource);
    }
    std::string Call(const std::string& inCall) {
        return probe::Result(mContext,
                             "(() => { const p = new test.probes.Probe(); return p." + inCall + "; })()");
    }

    Console mConsole;
    nuoscripting::RefPtr<nuoscripting::ScriptContext> mContext = mConsole.MakeContext();
};

std::string Refused(const std::string& inMethod, const std::string& inRest) {
    return "TypeError: test.probes.Probe." + inMethod + ": " + inRest;
}

}  // namespace

TEST_F(Parameters, OfEachTypeArriveAndComeBack) {
    EXPECT_EQ(Call("takeBool(true)"), "true");
    EXPECT_EQ(Call("takeInt32(-2147483648)"), "-2147483648");
    EXPECT_EQ(Call("takeInt64(9007199254740992)"), "9007199254740992");
    EXPECT_EQ(Call("takeDouble(0.5)"), "0.5");
    EXPECT_EQ(Call("takeText('x')"), "\"x\"");
    EXPECT_EQ(Call("takeVariant({a: [1, 'b', null, true, 0.5, {c: {}}]})"),
              "{\"a\":[1,\"b\",null,true,0.5,{\"c\":{}}]}");
    EXPECT_EQ(Call("callBack(x => x + 1, 4)"), "5");
    EXPECT_EQ(Call("nothing() === undefined"), "true");
}

TEST_F(Parameters, AWholeNumberThatScriptsCannotHoldIsNoResult) {
    EXPECT_EQ(Call("giveInt64('9007199254740992')"), "9007199254740992");
    EXPECT_EQ(Call("giveInt64('-9007199254740992')"), "-9007199254740992");
    const std::string refusal = "Error: a whole number beyond 2^53 can't be a result: scripts can't hold it";
    EXPECT_EQ(Call("giveInt64('9007199254740993')"), refusal);
    EXPECT_EQ(Call("giveInt64('-9223372036854775808')"), refusal);
}

TEST_F(Parameters, OneThatIsMissingIsNamed) {
    EXPECT_EQ(Call("takeText()"),
              Refused("takeText", "parameter 1 \"text\" is missing; it must be a string"));
    EXPECT_EQ(Call("takeText(undefined)"),
              Refused("takeText", "parameter 1 \"text\" is missing; it must be a string"));
    EXPECT_EQ(
        Call("takeVariant()"),
        Refused("takeVariant", "parameter 1 \"value\" is missing; it must be a value that JSON can express"));
}

TEST_F(Parameters, OneOfTheWrongTypeIsNamedWithWhatCame) {
    const auto text = [](const std::string& inWhat) {
        return Refused("takeText", "parameter 1 \"text\" must be a string, not " + inWhat);
    };
    EXPECT_EQ(Call("takeText(5)"), text("a number"));
    EXPECT_EQ(Call("takeText(null)"), text("null"));
    EXPECT_EQ(Call("takeText(true)"), text("a boolean"));
    EXPECT_EQ(Call("takeText({})"), text("an object"));
    EXPECT_EQ(Call("takeText([])"), text("an array"));
    EXPECT_EQ(Call("takeText(() => 1)"), text("a function"));
    EXPECT_EQ(Call("takeText(Symbol())"), text("a symbol"));
    EXPECT_EQ(Call("takeText(5n)"), text("a bigint"));
    EXPECT_EQ(Call("takeText(new String('x'))"), text("an object"));
    EXPECT_EQ(Call("takeBool(1)"),
              Refused("takeBool", "parameter 1 \"flag\" must be a boolean, not a number"));
    EXPECT_EQ(Call("takeDouble('1')"),
              Refused("takeDouble", "parameter 1 \"number\" must be a number, not a string"));
    EXPECT_EQ(Call("callBack({})"),
              Refused("callBack", "parameter 1 \"function\" must be a function, not an object"));
    EXPECT_EQ(
        Call("takeTwo('a', 'b')"),
        Refused("takeTwo", "parameter 2 \"second\" must be a whole number of at most 32 bits, not a string"));
    EXPECT_EQ(
        Call("takeInt32(1.5)"),
        Refused("takeInt32", "parameter 1 \"number\" must be a whole number of at most 32 bits, not 1.5"));
    EXPECT_EQ(Call("takeInt64(NaN)"),
              Refused("takeInt64", "parameter 1 \"number\" must be a whole number, not NaN"));
    EXPECT_THAT(Probe::sTexts, testing::IsEmpty());
}

TEST_F(Parameters, WholeNumbersAreWholeAndFit) {
    for (const char* const value : {"1.5", "NaN", "Infinity", "2147483648", "-2147483649", "1e100"}) {
        EXPECT_THAT(Call("takeInt32(" + std::string(value) + ")"), HasSubstr("must be a whole number"))
            << value;
    }
    for (const char* const value : {"1.5", "NaN", "-Infinity", "9007199254740994"}) {
        EXPECT_THAT(Call("takeInt64(" + std::string(value) + ")"), HasSubstr("must be a whole number"))
            << value;
    }
}

TEST_F(Parameters, OptionalOnesMayBeLeftOut) {
    EXPECT_EQ(Call("takeTwo('a')"), "\"a-\"");
    EXPECT_EQ(Call("takeTwo('a', undefined)"), "\"a-\"");
    EXPECT_EQ(Call("takeTwo('a', 7)"), "\"a7\"");
    EXPECT_EQ(Call("takeTwo('a', 7, 'and', 'more')"), "\"a7\"");
}

TEST_F(Parameters, AreConvertedWhenTheItemIsNotStrict) {
    EXPECT_EQ(Call("takeLooseText(5)"), "\"5\"");
    EXPECT_EQ(Call("takeLooseText({toString() { return 'made'; }})"), "\"made\"");
    EXPECT_EQ(Call("takeLooseInt32('5')"), "5");
    EXPECT_EQ(Call("takeLooseText({toString() { throw new RangeError('mine'); }})"), "RangeError: mine");
    EXPECT_EQ(Call("takeLooseInt32(Symbol())"), "TypeError: Cannot convert a symbol to a number");
}

TEST_F(Parameters, TextsKeepEveryCharacter) {
    EXPECT_EQ(Call("takeText('a\\0b').length"), "3");
    EXPECT_EQ(Call("takeText('\\u00e9\\u20ac\\u{1f600}') === '\\u00e9\\u20ac\\u{1f600}'"), "true");
    EXPECT_EQ(Call("takeText('a\\ud800b') === 'a\\ufffdb'"), "true");
    EXPECT_EQ(Call("takeText('') === ''"), "true");
    EXPECT_EQ(Call("takeText('x'.repeat(100000)) === 'x'.repeat(100000)"), "true");
    EXPECT_EQ(Call("takeText('\\u20ac'.repeat(100000)) === '\\u20ac'.repeat(100000)"), "true");
    EXPECT_EQ(Probe::sTexts.front(), std::string("a\0b", 3));
}

TEST_F(Parameters, ATextThatIsTooLongIsRefused) {
    EXPECT_THAT(Call("takeText('x'.repeat(2 ** 26 + 1))"),
                HasSubstr("parameter 1 \"text\" can't be taken: the text is too long"));
    EXPECT_THAT(Call("takeVariant('x'.repeat(2 ** 26 + 1))"), HasSubstr("can't be taken"));
    EXPECT_THAT(Probe::sTexts, testing::IsEmpty());
}

TEST_F(Parameters, CyclesHaveNoVariantForm) {
    EXPECT_THAT(Eval("let a = {}; a.a = a; p.takeVariant(a)"),
                HasSubstr("TypeError: JSON.stringify cannot serialize cyclic structures"));
}

TEST_F(Parameters, ValuesWithoutJSONHaveNoVariantForm) {
    EXPECT_EQ(Call("takeVariant(() => 1)"),
              Refused("takeVariant",
                      "parameter 1 \"value\" must be a value that JSON can express, not a function"));
    EXPECT_EQ(
        Call("takeVariant(Symbol())"),
        Refused("takeVariant", "parameter 1 \"value\" must be a value that JSON can express, not a symbol"));
    EXPECT_THAT(Call("takeVariant(5n)"), HasSubstr("BigInt"));
    EXPECT_EQ(Call("takeVariant({f() {}, u: undefined, n: NaN})"), "{\"n\":null}");
}

TEST_F(Parameters, AGetterThatThrowsIsHeardByTheScript) {
    EXPECT_EQ(Call("takeVariant({get a() { throw new RangeError('mine'); }})"), "RangeError: mine");
    EXPECT_EQ(Call("takeVariant({toJSON() { throw 5; }})"), "5");
    EXPECT_EQ(Eval("try { p.takeVariant({get a() { throw p; }}) } catch (e) { e === p }"), "true");
}

TEST_F(Parameters, ProxiesAreAskedLikeObjects) {
    EXPECT_EQ(Call("takeVariant(new Proxy({a: 1}, {}))"), "{\"a\":1}");
    EXPECT_EQ(Call("takeVariant(new Proxy({}, {ownKeys() { throw new Error('no keys'); }}))"),
              "Error: no keys");
    EXPECT_EQ(
        Eval(
            "let r = Proxy.revocable({}, {}); r.revoke(); try { p.takeVariant(r.proxy); 'taken' } catch (e) { "
            "e instanceof TypeError }"),
        "true");
    EXPECT_THAT(Call("takeText(new Proxy({}, {}))"), HasSubstr("must be a string, not an object"));
}

TEST_F(Parameters, UnpairedSurrogatesInTextsAreReplaced) {
    EXPECT_EQ(Call("takeText('\\u20ac\\u20ac\\ud800abc')"), "\"\u20AC\u20AC\uFFFDabc\"");
    EXPECT_EQ(Call("takeText('\\u00e9\\udc00')"), "\"\u00E9\uFFFD\"");
}

TEST_F(Parameters, UnpairedSurrogatesInValuesAreReplaced) {
    EXPECT_EQ(Call(R"(takeVariant({a: JSON.rawJSON('"\\ud83d\\ude00\\uD800\\uDC00\\uD83D"')}))"),
              "{\"a\":\"\U0001F600\U00010000\uFFFD\"}");
    EXPECT_EQ(Call("takeVariant('\\ud800')"), "\"\uFFFD\"");
    EXPECT_EQ(
        Call("takeVariant({'\\udfffx': ['a\\\\ud800', '\\ud83d\\ude00', '\\ud7ff\\n', '\\udc00\\ud800']})"),
        "{\"\uFFFDx\":[\"a\\\\ud800\",\"\U0001F600\",\"\uD7FF\\n\",\"\uFFFD\uFFFD\"]}");
}

TEST_F(Parameters, DeepValuesAreRefused) {
    EXPECT_THAT(Eval("let d = []; for (let i = 0; i < 300; i++) d = [d]; p.takeVariant(d)"),
                HasSubstr("parameter 1 \"value\" can't be taken"));
    EXPECT_THAT(Eval("let e = []; for (let i = 0; i < 1e6; i++) e = [e]; p.takeVariant(e)"),
                HasSubstr("RangeError"));
}

TEST_F(Parameters, NativeExceptionsBecomeTheScripts) {
    EXPECT_EQ(Call("throw('trouble')"), "Error: trouble");
    EXPECT_EQ(Call("throw('memory')"), "Error: out of memory");
    EXPECT_EQ(Call("throw('number')"), "Error: a native error of an unknown type");
    EXPECT_EQ(Eval("try { p.throw('code') } catch (e) { [e instanceof Error, e.message, e.code >>> 0] }"),
              "[true,\"no luck (0xA00F0001)\",2685337601]");
}

TEST_F(Parameters, AFunctionsExceptionGoesThroughTheNativeMethod) {
    EXPECT_EQ(Call("callBack(() => { throw new RangeError('mine'); })"), "RangeError: mine");
    EXPECT_EQ(Call("callBack(() => Symbol())"),
              "Error: the function's result is a symbol, which JSON can't express");
}

TEST_F(Parameters, NoScriptSeesHowArgumentsArePassed) {
    EXPECT_EQ(Eval("var seen = 0; Object.defineProperty(Array.prototype, 0, {set() { seen++; }}); "
                   "[p.callBack(x => x.a, {a: 5}), seen]"),
              "[5,0]");
}

TEST_F(Parameters, WhatIsTooDeepDoesNotTravel) {
    EXPECT_THROW(mContext->Evaluate("let d = []; for (let i = 0; i < 300; i++) d = [d]; d", "test.js"),
                 nuoscripting::ScriptError);
    mContext->Run("p = new test.probes.Probe(); p.keep(x => 1)", "test.js");
    nuocore::serialization::VariantArray deep;
    for (int i = 0; i < 600; ++i) {
        nuocore::serialization::VariantArray outer;
        outer.push_back(nuocore::serialization::MakeValue(std::move(deep)));
        deep = std::move(outer);
    }
    EXPECT_THROW(Probe::sKept.at(0)->Call({nuoscripting::VariantValue(deep)}), nuoscripting::ScriptError);
    Probe::sKept.clear();
}

TEST_F(Parameters, NothingAScriptRedefinesMatters) {
    EXPECT_EQ(
        Eval("TypeError = 5; JSON.stringify = JSON.parse = () => 7; Array.prototype.push = 5; "
             "Object.defineProperty(Object.prototype, 'x', {get() { throw 1; }}); p.takeVariant({a: [1]})"),
        "{\"a\":[1]}");
    EXPECT_EQ(Call("takeText()"),
              Refused("takeText", "parameter 1 \"text\" is missing; it must be a string"));
}
