#include "Console.h"

#include <array>
#include <string>
#include <utility>

#include "EngineContext.h"
#include "Exceptions.h"
#include "Strings.h"

namespace nuoscripting::engine {

namespace {

struct ConsoleFunction : Carried {
    ConsoleFunction(EngineContext& inContext, ConsoleLevel inLevel) noexcept
        : Carried(Kind::kOther), mContext(inContext), mLevel(inLevel) {}
    EngineContext& mContext;
    const ConsoleLevel mLevel;
};

// Texts as they are, errors with their stack, objects as JSON where that is possible.
UTF8String Shown(JSContextRef inContext, const Limits& inLimits, JSValueRef inValue,
                 JSValueRef* outException) {
    if (JSValueIsObject(inContext, inValue)) {
        JSObjectRef object = JSValueToObject(inContext, inValue, nullptr);
        UTF8String stack = object != nullptr ? TextPropertyOf(inContext, object, "stack") : UTF8String();
        if (inLimits.HasStopped()) {
            return {};
        }
        if (!stack.empty()) {
            const String text = StringOf(inContext, inValue, outException);
            return text ? TextOf(text.get()) + "\n" + stack : std::move(stack);
        }
        JSValueRef ignored = nullptr;
        if (const String json(JSValueCreateJSONString(inContext, inValue, 0, &ignored));
            json && ignored == nullptr) {
            return TextOf(json.get());
        }
        if (inLimits.HasStopped()) {
            return {};
        }
    }
    const String text = StringOf(inContext, inValue, outException);
    return text ? TextOf(text.get()) : UTF8String();
}

JSValueRef Print(JSContextRef inContext, JSObjectRef inFunction, JSObjectRef /*inThis*/, std::size_t inCount,
                 const JSValueRef inArguments[], JSValueRef* outException) {
    const auto& function = static_cast<const ConsoleFunction&>(*CarriedBy(inFunction));
    Limits& limits = function.mContext.GetLimits();
    if (limits.HasStopped()) {
        return JSValueMakeUndefined(inContext);
    }
    try {
        UTF8String line;
        for (std::size_t i = 0; i < inCount && *outException == nullptr && !limits.HasStopped(); ++i) {
            if (i > 0) {
                line += ' ';
            }
            line += Shown(inContext, limits, inArguments[i], outException);
        }
        if (*outException == nullptr && !limits.HasStopped()) {
            function.mContext.GetOwner().GetSettings().mConsole(function.mLevel, line);
        }
    } catch (...) {
        *outException = MakeError(function.mContext, std::current_exception());
    }
    if (limits.HasStopped()) {
        *outException = nullptr;
        limits.Hurry();
    }
    return JSValueMakeUndefined(inContext);
}

void Forget(JSObjectRef inFunction) { delete static_cast<ConsoleFunction*>(CarriedBy(inFunction)); }

JSClassRef PrintClass() {
    static JSClassRef sClass = [] {
        JSClassDefinition definition = kJSClassDefinitionEmpty;
        definition.className = "Function";
        definition.attributes = kJSClassAttributeNoAutomaticPrototype;
        definition.callAsFunction = &Print;
        definition.finalize = &Forget;
        return JSClassCreate(&definition);
    }();
    return sClass;
}

constexpr std::array<std::pair<const char*, ConsoleLevel>, 5> kFunctions = {
    {{"log", ConsoleLevel::kLog},
     {"info", ConsoleLevel::kInfo},
     {"debug", ConsoleLevel::kDebug},
     {"warn", ConsoleLevel::kWarn},
     {"error", ConsoleLevel::kError}}};

}  // namespace

void DefineConsole(EngineContext& ioContext) {
    JSGlobalContextRef context = ioContext.GetContext();
    JSObjectRef console = JSObjectMake(context, nullptr, nullptr);
    for (const auto& [name, level] : kFunctions) {
        JSObjectRef function =
            JSObjectMake(context, PrintClass(), static_cast<Carried*>(new ConsoleFunction(ioContext, level)));
        JSObjectSetProperty(context, console, MakeString(name).get(), function, kJSPropertyAttributeNone,
                            nullptr);
    }
    JSObjectSetProperty(context, JSContextGetGlobalObject(context), MakeString("console").get(), console,
                        kJSPropertyAttributeDontEnum, nullptr);
}

}  // namespace nuoscripting::engine
