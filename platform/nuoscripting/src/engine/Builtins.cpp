#include "Builtins.h"

#include <array>

#include "Strings.h"

namespace nuoscripting::engine {

namespace {

void Delete(JSContextRef inContext, JSObjectRef inObject, const char* inName) {
    JSObjectDeleteProperty(inContext, inObject, MakeString(inName).get(), nullptr);
}

}  // namespace

void TakeAwayUnbounded(JSGlobalContextRef inContext) {
    JSObjectRef global = JSContextGetGlobalObject(inContext);
    // Its code can't be stopped, its memory isn't counted, and its promises are completed by timers.
    Delete(inContext, global, "WebAssembly");
    Delete(inContext, global, "FinalizationRegistry");
    if (JSObjectRef atomics = ObjectNamed(inContext, global, "Atomics")) {
        Delete(inContext, atomics, "wait");
        Delete(inContext, atomics, "waitAsync");
    }
}

PropertyDefiner::PropertyDefiner(JSGlobalContextRef inContext)
    : mContext(inContext),
      mFunction(ObjectNamed(inContext, ObjectNamed(inContext, JSContextGetGlobalObject(inContext), "Object"),
                            "defineProperty")) {
    JSValueProtect(inContext, mFunction);
}

void PropertyDefiner::DefineFunction(JSObjectRef ioFunction, std::string_view inName,
                                     std::size_t inLength) const {
    JSObjectSetPrototype(mContext, ioFunction, JSObjectGetPrototype(mContext, mFunction));
    Define(ioFunction, MakeString("name").get(), JSValueMakeString(mContext, MakeString(inName).get()),
           kNaming, nullptr);
    Define(ioFunction, MakeString("length").get(), JSValueMakeNumber(mContext, static_cast<double>(inLength)),
           kNaming, nullptr);
}

void PropertyDefiner::Define(JSObjectRef inObject, JSStringRef inName, JSValueRef inValue, Rights inRights,
                             JSValueRef* outException) const {
    JSObjectRef description = JSObjectMake(mContext, nullptr, nullptr);
    JSObjectSetPrototype(mContext, description, JSValueMakeNull(mContext));  // scripts may have added to it
    const auto describe = [&](const char* inWhat, JSValueRef inHow) {
        JSObjectSetProperty(mContext, description, MakeString(inWhat).get(), inHow, kJSPropertyAttributeNone,
                            nullptr);
    };
    describe("value", inValue);
    describe("writable", JSValueMakeBoolean(mContext, inRights.mWrite));
    describe("enumerable", JSValueMakeBoolean(mContext, inRights.mEnumerate));
    describe("configurable", JSValueMakeBoolean(mContext, inRights.mConfigure));
    const std::array<JSValueRef, 3> arguments = {inObject, JSValueMakeString(mContext, inName), description};
    JSObjectCallAsFunction(mContext, mFunction, nullptr, arguments.size(), arguments.data(), outException);
}

}  // namespace nuoscripting::engine
