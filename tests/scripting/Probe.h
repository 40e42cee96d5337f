/// A class for scripts that the tests look into.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "nuoscripting/nuoscripting.h"

namespace probe {

using nuoscripting::RefPtr;
using nuoscripting::ScriptFunction;
using nuoscripting::UTF8String;
using nuoscripting::VariantValue;

/// "test.probes.Probe". Each method notes its thread and its arguments as text.
class Probe final : public nuoscripting::ScriptObject {
  public:
    Probe();

    void Nothing();
    bool TakeBool(bool inValue);
    std::int32_t TakeInt32(std::int32_t inValue);
    std::int64_t TakeInt64(std::int64_t inValue);
    double TakeDouble(double inValue);
    UTF8String TakeText(const UTF8String& inValue);
    VariantValue TakeVariant(const VariantValue& inValue);
    VariantValue CallBack(const RefPtr<ScriptFunction>& inFunction, std::optional<VariantValue> inArgument);
    void Keep(const RefPtr<ScriptFunction>& inFunction);
    UTF8String TakeTwo(const UTF8String& inFirst, std::optional<std::int32_t> inSecond);
    std::int64_t GiveInt64(const UTF8String& inDigits);
    void Throw(const UTF8String& inWhat);
    UTF8String Hook(const UTF8String& inValue);

    static std::atomic<int> sAlive;
    static std::atomic<int> sFinalized;
    static std::vector<std::string> sTexts;            ///< what TakeText got
    static std::atomic<std::thread::id> sThread;       ///< of the last call of Hook
    static std::function<void(Probe&)> sHook;          ///< what Hook does
    static std::function<void()> sAtBegin;             ///< what making one does
    static std::function<void()> sAtEnd;               ///< what OnFinalize does
    static std::vector<RefPtr<ScriptFunction>> sKept;  ///< what Keep got

  protected:
    ~Probe() override;
    void OnFinalize() override;
};

/// "test.probes.Other".
class Other final : public nuoscripting::ScriptObject {
  public:
    Other() : ScriptObject("Other") {}
    void Nothing() {}
};

/// What a script says on its console, and contexts that say it. Begins with nothing noted.
struct Console {
    Console();
    std::vector<std::string> mLines;
    RefPtr<nuoscripting::ScriptContext> MakeContext(nuoscripting::ScriptContextSettings inSettings = {});
};

/// The result of an expression as JSON; what it throws as text.
std::string Result(const RefPtr<nuoscripting::ScriptContext>& inContext, const std::string& inSource);

}  // namespace probe
