#include <nuoscripting/nuoscripting.h>

#include "Side.h"

namespace {

using nuoscripting::UTF8String;

class Counter final : public nuoscripting::ScriptObject {
  public:
    Counter() : ScriptObject("Counter") {}
    void Nothing() {}
    double Number(double inValue) { return inValue + 1; }
    std::int32_t Text(const UTF8String& inText) { return static_cast<std::int32_t>(inText.size()); }
};

}  // namespace

template <>
void nuoscripting::ScriptObjectDefinition<Counter>::DefineObject(ScriptDefinitionContext& /*ioContext*/) {
    AddMethod("nothing", {}, PropertyType::Void(), &Counter::Nothing, true, 0, "", 0);
    AddMethod("number", {ParameterType::Double("value")}, PropertyType::Double(), &Counter::Number, true, 0,
              "", 0);
    AddMethod("text", {ParameterType::UTF8Text("text")}, PropertyType::Int32(), &Counter::Text, true, 0, "",
              0);
}

namespace bench {

namespace {

class Initiator final : public nuoscripting::ScriptObjectDefinitionInitiatorBase {
    void Initiate(nuoscripting::ScriptDefinitions& ioDefinitions) override {
        ioDefinitions.AddObjectDefinition(
            "Counter", std::make_shared<nuoscripting::ScriptObjectDefinition<Counter>>("Counter", "Counts"));
    }
};

const nuoscripting::ScriptObjectDefinitionRegistrar sRegistrar(std::make_unique<Initiator>());

class Host final : public Side {
  public:
    explicit Host(bool inWithLimits) {
        nuoscripting::ScriptContextSettings settings;
        if (inWithLimits) {
            settings.mTimeLimit = std::chrono::minutes(10);
            settings.mMemoryLimit = std::size_t{1} << 30;
        }
        mContext = nuoscripting::ScriptContext::Create(std::move(settings));
        mContext->AddObject("o", "Counter");
    }
    double Run(const std::string& inScript) override {
        return static_cast<double>(boost::any_cast<std::int64_t>(mContext->Evaluate(inScript, "bench.js")));
    }

  private:
    nuoscripting::RefPtr<nuoscripting::ScriptContext> mContext;
};

}  // namespace

std::unique_ptr<Side> MakeHost(bool inWithLimits) { return std::make_unique<Host>(inWithLimits); }

}  // namespace bench
