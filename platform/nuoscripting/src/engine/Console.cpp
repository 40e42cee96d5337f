#include "Console.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>

#include "EngineContext.h"
#include "Exceptions.h"
#include "Strings.h"

namespace nuoscripting::engine {

namespace {

constexpr std::size_t kMaxLine = std::size_t{64} << 20;

// What becomes of the arguments.
enum class Form { kLine, kAssertion, kNothing };

struct ConsoleFunction {
    ConsoleFunction(EngineContext& inContext, ConsoleLevel inLevel, Form inForm) noexcept
        : mContext(inContext), mLevel(inLevel), mForm(inForm) {}
    EngineContext& mContext;
    const ConsoleLevel mLevel;
    const Form mForm;
};

UTF8String TextShown(JSContextRef inContext, JSValueRef inValue, JSValueRef* outException) {
    const String text = StringOf(inContext, inValue, outException);
    return text ? TextOf(text.get()) : UTF8String();
}

UTF8String ObjectShown(EngineContext& ioContext, JSObjectRef inObject, JSValueRef* outException) {
    const JSContextRef context = ioContext.GetContext();
    const Limits& limits = ioContext.GetLimits();
    JSValueRef ignored = nullptr;
    if (JSValueIsInstanceOfConstructor(context, inObject, ioContext.GetErrorClass(), &ignored)) {
        const UTF8String stack = TextPropertyOf(context, inObject, "stack");
        if (limits.HasStopped()) {
            return {};
        }
        const UTF8String text = TextShown(context, inObject, outException);
        return stack.empty() ? text : text + "\n" + stack;
    }
    if (!limits.HasStopped()) {
        if (const String json(JSValueCreateJSONString(context, inObject, 0, &ignored));
            json && ignored == nullptr) {
            return TextOf(json.get());
        }
    }
    return limits.HasStopped() ? UTF8String() : TextShown(context, inObject, outException);
}

// Texts as they are, errors with their stack, objects as JSON where that is possible.
UTF8String Shown(EngineContext& ioContext, JSValueRef inValue, JSValueRef* outException) {
    const JSContextRef context = ioContext.GetContext();
    const bool isSymbol = JSValueIsSymbol(context, inValue);
    if (!isSymbol && !JSValueIsObject(context, inValue)) {
        return TextShown(context, inValue, outException);
    }
    JSObjectRef object = JSValueToObject(context, inValue, outException);
    if (object == nullptr) {
        return {};
    }
    // A symbol can't be converted.
    return isSymbol ? "Symbol(" + TextPropertyOf(context, object, "description") + ")"
                    : ObjectShown(ioContext, object, outException);
}

UTF8String LineOf(const ConsoleFunction& inFunction, std::span<const JSValueRef> inValues,
                  JSValueRef* outException) {
    UTF8String line;
    UTF8String between;
    if (inFunction.mForm == Form::kAssertion) {
        line = "Assertion failed";
        between = ": ";
        inValues = inValues.subspan(std::min<std::size_t>(1, inValues.size()));
    }
    for (const JSValueRef value : inValues) {
        line += between + Shown(inFunction.mContext, value, outException);
        between = " ";
        if (*outException != nullptr || inFunction.mContext.GetLimits().HasStopped()) {
            break;
        }
        if (line.size() > kMaxLine) {
            throw ScriptError("a line of the console is longer than " + std::to_string(kMaxLine >> 20U) +
                              " MiB");
        }
    }
    return line;
}

JSValueRef Print(JSContextRef inContext, JSObjectRef inFunction, JSObjectRef /*inThis*/, std::size_t inCount,
                 const JSValueRef inArguments[], JSValueRef* outException) {
    const auto& function = *static_cast<const ConsoleFunction*>(JSObjectGetPrivate(inFunction));
    Limits& limits = function.mContext.GetLimits();
    const bool holds =
        function.mForm == Form::kAssertion && inCount > 0 && JSValueToBoolean(inContext, inArguments[0]);
    if (holds || function.mForm == Form::kNothing || limits.HasStopped()) {
        return JSValueMakeUndefined(inContext);
    }
    try {
        const UTF8String line = LineOf(function, {inArguments, inCount}, outException);
        if (*outException == nullptr && !limits.HasStopped()) {
            function.mContext.GetOwner().GetSettings().mConsole(function.mLevel, line);
        }
    } catch (...) {
        *outException = MakeErrorOfCurrent(function.mContext);
    }
    static_cast<void>(limits.StopAfterCall(outException));
    return JSValueMakeUndefined(inContext);
}

void Forget(JSObjectRef inFunction) { delete static_cast<ConsoleFunction*>(JSObjectGetPrivate(inFunction)); }

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

struct NamedFunction {
    const char* mName;
    ConsoleLevel mLevel = ConsoleLevel::kLog;
    Form mForm = Form::kLine;
};

constexpr NamedFunction DoesNothing(const char* inName) {
    return {inName, ConsoleLevel::kLog, Form::kNothing};
}

constexpr auto kFunctions = std::to_array<NamedFunction>({{"log"},
                                                          {"info", ConsoleLevel::kInfo},
                                                          {"debug", ConsoleLevel::kDebug},
                                                          {"warn", ConsoleLevel::kWarn},
                                                          {"error", ConsoleLevel::kError},
                                                          {"dir"},
                                                          {"dirxml"},
                                                          {"table"},
                                                          {"trace"},
                                                          {"assert", ConsoleLevel::kError, Form::kAssertion},
                                                          DoesNothing("group"),
                                                          DoesNothing("groupCollapsed"),
                                                          DoesNothing("groupEnd"),
                                                          DoesNothing("time"),
                                                          DoesNothing("timeLog"),
                                                          DoesNothing("timeEnd"),
                                                          DoesNothing("count"),
                                                          DoesNothing("countReset"),
                                                          DoesNothing("clear")});

}  // namespace

void DefineConsole(EngineContext& ioContext) {
    JSGlobalContextRef context = ioContext.GetContext();
    JSObjectRef console = JSObjectMake(context, nullptr, nullptr);
    for (const auto& [name, level, form] : kFunctions) {
        JSObjectRef function =
            JSObjectMake(context, PrintClass(), new ConsoleFunction(ioContext, level, form));
        ioContext.GetProperties().DefineFunction(function, name, 0);
        JSObjectSetProperty(context, console, MakeString(name).get(), function, kJSPropertyAttributeNone,
                            nullptr);
    }
    JSObjectSetProperty(context, JSContextGetGlobalObject(context), MakeString("console").get(), console,
                        kJSPropertyAttributeDontEnum, nullptr);
}

}  // namespace nuoscripting::engine
