#include "Exceptions.h"

#include <string>
#include <utility>

#include "EngineContext.h"
#include "Strings.h"
#include "nuocore/Exception.h"

namespace nuoscripting::engine {

JSValueRef MakeError(JSContextRef inContext, std::string_view inText) {
    const JSValueRef text = JSValueMakeString(inContext, MakeString(inText).get());
    return JSObjectMakeError(inContext, 1, &text, nullptr);
}

JSValueRef MakeTypeError(JSContextRef inContext, JSObjectRef inTypeError, std::string_view inText) {
    const JSValueRef text = JSValueMakeString(inContext, MakeString(inText).get());
    JSValueRef exception = nullptr;
    JSObjectRef error = JSObjectCallAsConstructor(inContext, inTypeError, 1, &text, &exception);
    return error != nullptr ? error : exception;
}

JSValueRef MakeError(EngineContext& ioContext, const std::exception_ptr& inError) {
    const JSContextRef context = ioContext.GetContext();
    try {
        std::rethrow_exception(inError);
    } catch (const ScriptException& error) {
        const auto* const thrown = static_cast<const KeptValue*>(error.GetThrown().get());
        return thrown != nullptr && ioContext.Owns(*thrown)
                   ? thrown->Get()
                   : MakeError(context, std::string_view(error.what()));
    } catch (const nuocore::config::nuo_exception& error) {
        const JSValueRef made = MakeError(context, std::string_view(error.what()));
        if (JSObjectRef object = JSValueToObject(context, made, nullptr)) {
            JSObjectSetProperty(context, object, MakeString("code").get(),
                                JSValueMakeNumber(context, error.GetCode()), kJSPropertyAttributeNone,
                                nullptr);
        }
        return made;
    } catch (const std::bad_alloc&) {
        return MakeError(context, std::string_view("out of memory"));
    } catch (const std::exception& error) {
        return MakeError(context, std::string_view(error.what()));
    } catch (...) {
        return MakeError(context, std::string_view("a native error of an unknown type"));
    }
}

JSValueRef MakeErrorOfCurrent(EngineContext& ioContext) noexcept {
    try {
        return MakeError(ioContext, std::current_exception());
    } catch (...) {
        return ioContext.GetOutOfMemory();
    }
}

ScriptException ReadException(EngineContext& ioContext, JSValueRef inException) {
    const JSContextRef context = ioContext.GetContext();
    auto thrown = ioContext.Keep(inException);
    JSValueRef failure = nullptr;
    std::string text = "an exception that has no text";
    try {
        if (const String shown = StringOf(context, inException, &failure); shown && failure == nullptr) {
            text = TextOf(shown.get());
        }
        if (JSObjectRef object = JSValueIsObject(context, inException)
                                     ? JSValueToObject(context, inException, nullptr)
                                     : nullptr) {
            // A getter that is stopped must not be followed by another.
            const Limits& limits = ioContext.GetLimits();
            const auto number = [&](const char* inName) {
                if (limits.HasStopped()) {
                    return 0;
                }
                const JSValueRef value = PropertyOf(context, object, inName);
                if (!JSValueIsNumber(context, value)) {
                    return 0;
                }
                return static_cast<int>(JSValueToInt32(context, value, nullptr));
            };
            const auto words = [&](const char* inName) {
                return limits.HasStopped() ? std::string()
                                           : std::string(TextPropertyOf(context, object, inName));
            };
            return {text,           words("sourceURL"), number("line"), number("column"),
                    words("stack"), std::move(thrown)};
        }
    } catch (const ScriptError&) {
        text = "an exception whose text is too long";
    }
    return {text, {}, 0, 0, {}, std::move(thrown)};
}

}  // namespace nuoscripting::engine
