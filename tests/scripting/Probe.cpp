#include "Probe.h"

#include <stdexcept>

#include "nuocore/Exception.h"
#include "nuocore/JSON.h"

namespace nuoscripting {

template <>
void ScriptObjectDefinition<probe::Probe>::DefineObject(ScriptDefinitionContext& /*ioContext*/) {
    using probe::Probe;
    using P = ParameterType;
    using R = PropertyType;
    AddOrModifyNamespace("test.probes", kNamespaceFlag_Enumerable);
    AddMethod("nothing", {}, R::Void(), &Probe::Nothing, true, kItemFlag_Enumerable, "", 0);
    AddMethod("takeBool", {P::Bool("flag")}, R::Bool(), &Probe::TakeBool, true, 0, "", 0);
    AddMethod("takeInt32", {P::Int32("number")}, R::Int32(), &Probe::TakeInt32, true, 0, "", 0);
    AddMethod("takeInt64", {P::Int64("number")}, R::Int64(), &Probe::TakeInt64, true, 0, "", 0);
    AddMethod("takeDouble", {P::Double("number")}, R::Double(), &Probe::TakeDouble, true, 0, "", 0);
    AddMethod("takeText", {P::UTF8Text("text")}, R::UTF8Text(), &Probe::TakeText, true, 0, "", 0);
    AddMethod("takeVariant", {P::Variant("value")}, R::Variant(), &Probe::TakeVariant, true, 0, "", 0);
    AddMethod("callBack", {P::Function("function"), P::Variant("argument").AsOptional()}, R::Variant(),
              &Probe::CallBack, true, 0, "", 0);
    AddMethod("keep", {P::Function("function")}, R::Void(), &Probe::Keep, true, 0, "", 0);
    AddMethod("takeTwo", {P::UTF8Text("first"), P::Int32("second").AsOptional()}, R::UTF8Text(),
              &Probe::TakeTwo, true, 0, "", 0);
    AddMethod("takeLooseText", {P::UTF8Text("text")}, R::UTF8Text(), &Probe::TakeText, false, 0, "", 0);
    AddMethod("takeLooseInt32", {P::Int32("number")}, R::Int32(), &Probe::TakeInt32, false, 0, "", 0);
    AddMethod("giveInt64", {P::UTF8Text("digits")}, R::Int64(), &Probe::GiveInt64, true, 0, "", 0);
    AddMethod("throw", {P::UTF8Text("what")}, R::Void(), &Probe::Throw, true, 0, "", 0);
    AddMethod("hook", {P::UTF8Text("value")}, R::UTF8Text(), &Probe::Hook, true, 0, "", 0);
    AddMethod("promisedHook", {P::UTF8Text("value")}, R::UTF8Text(), &Probe::Hook, true, kItemFlag_Promise,
              "", 0);
    AddMethod("promisedThrow", {P::UTF8Text("what")}, R::Void(), &Probe::Throw, true, kItemFlag_Promise, "",
              0);
    AddMethod("uiHook", {P::UTF8Text("value")}, R::UTF8Text(), &Probe::Hook, true, kItemFlag_UIThread, "",
              200);
    AddMethod("uiThrow", {P::UTF8Text("what")}, R::Void(), &Probe::Throw, true, kItemFlag_UIThread, "", 0);
    AddMethod("promisedUIHook", {P::UTF8Text("value")}, R::UTF8Text(), &Probe::Hook, true,
              kItemFlag_PromiseOnUIThread, "", 0);
}

template <>
void ScriptObjectDefinition<probe::Other>::DefineObject(ScriptDefinitionContext& /*ioContext*/) {
    AddOrModifyNamespace("test.probes", kNamespaceFlag_Enumerable);
    AddMethod("nothing", {}, PropertyType::Void(), &probe::Other::Nothing, true, 0, "", 0);
}

}  // namespace nuoscripting

namespace probe {

using namespace nuoscripting;

std::atomic<int> Probe::sAlive = 0;
std::atomic<int> Probe::sFinalized = 0;
std::vector<std::string> Probe::sTexts;
std::atomic<std::thread::id> Probe::sThread;
std::function<void(Probe&)> Probe::sHook;
std::function<void()> Probe::sAtBegin;
std::function<void()> Probe::sAtEnd;
std::vector<RefPtr<ScriptFunction>> Probe::sKept;

Probe::Probe() : ScriptObject("Probe") {
    if (sAtBegin) sAtBegin();
    ++sAlive;
}
Probe::~Probe() { --sAlive; }
void Probe::OnFinalize() {
    ++sFinalized;
    if (sAtEnd) sAtEnd();
}

void Probe::Nothing() {}
bool Probe::TakeBool(bool inValue) { return inValue; }
std::int32_t Probe::TakeInt32(std::int32_t inValue) { return inValue; }
std::int64_t Probe::TakeInt64(std::int64_t inValue) { return inValue; }
double Probe::TakeDouble(double inValue) { return inValue; }

UTF8String Probe::TakeText(const UTF8String& inValue) {
    sTexts.emplace_back(inValue);
    return inValue;
}

VariantValue Probe::TakeVariant(const VariantValue& inValue) { return inValue; }

VariantValue Probe::CallBack(const RefPtr<ScriptFunction>& inFunction,
                             std::optional<VariantValue> inArgument) {
    std::vector<VariantValue> arguments;
    if (inArgument) arguments.push_back(*inArgument);
    return inFunction->Call(arguments);
}

void Probe::Keep(const RefPtr<ScriptFunction>& inFunction) { sKept.push_back(inFunction); }

UTF8String Probe::TakeTwo(const UTF8String& inFirst, std::optional<std::int32_t> inSecond) {
    return inFirst + (inSecond ? UTF8String(std::to_string(*inSecond)) : UTF8String("-"));
}

std::int64_t Probe::GiveInt64(const UTF8String& inDigits) { return std::stoll(std::string(inDigits)); }

void Probe::Throw(const UTF8String& inWhat) {
    if (inWhat == "code") throw nuocore::config::nuo_exception("no luck", nuocore::eUnknown);
    if (inWhat == "memory") throw std::bad_alloc();
    if (inWhat == "number") throw 5;  // NOLINT: what foreign code may do
    throw std::runtime_error(std::string(inWhat));
}

UTF8String Probe::Hook(const UTF8String& inValue) {
    sThread = std::this_thread::get_id();
    if (sHook) sHook(*this);
    return inValue;
}

Console::Console() {
    Probe::sTexts.clear();
    Probe::sFinalized = 0;
    Probe::sThread = std::thread::id();
}

RefPtr<ScriptContext> Console::MakeContext(ScriptContextSettings inSettings) {
    inSettings.mConsole = [this](ConsoleLevel inLevel, std::string_view inText) {
        mLines.push_back((inLevel >= ConsoleLevel::kWarn ? "! " : "") + std::string(inText));
    };
    return ScriptContext::Create(std::move(inSettings));
}

std::string Result(const RefPtr<ScriptContext>& inContext, const std::string& inSource) {
    try {
        return std::string(
            nuocore::serialization::GetJSONUTF8String(inContext->Evaluate(inSource, "test.js"), false));
    } catch (const ScriptException& exception) {
        return exception.what();
    }
}

namespace {

class Initiator final : public ScriptObjectDefinitionInitiatorBase {
    void Initiate(ScriptDefinitions& ioDefinitions) override {
        ioDefinitions.AddObjectDefinition(
            "Probe", std::make_shared<ScriptObjectDefinition<Probe>>("Probe", "What tests look into"));
        ioDefinitions.AddObjectDefinition(
            "Other", std::make_shared<ScriptObjectDefinition<Other>>("Other", "Something else"));
    }
};

const ScriptObjectDefinitionRegistrar sRegistrar(std::make_unique<Initiator>());

}  // namespace

}  // namespace probe
