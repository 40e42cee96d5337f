#include <JavaScriptCore/JavaScript.h>

#include <stdexcept>

#include "Side.h"

namespace bench {

namespace {

JSValueRef Nothing(JSContextRef inContext, JSObjectRef /*inFunction*/, JSObjectRef /*inThis*/,
                   std::size_t /*inCount*/, const JSValueRef* /*inArguments*/, JSValueRef* /*outException*/) {
    return JSValueMakeUndefined(inContext);
}

JSValueRef Number(JSContextRef inContext, JSObjectRef /*inFunction*/, JSObjectRef /*inThis*/,
                  std::size_t inCount, const JSValueRef* inArguments, JSValueRef* outException) {
    if (inCount < 1) return JSValueMakeUndefined(inContext);
    return JSValueMakeNumber(inContext, JSValueToNumber(inContext, inArguments[0], outException) + 1);
}

JSValueRef Text(JSContextRef inContext, JSObjectRef /*inFunction*/, JSObjectRef /*inThis*/,
                std::size_t inCount, const JSValueRef* inArguments, JSValueRef* outException) {
    if (inCount < 1) return JSValueMakeUndefined(inContext);
    JSStringRef text = JSValueToStringCopy(inContext, inArguments[0], outException);
    if (text == nullptr) return nullptr;
    std::string utf8(JSStringGetMaximumUTF8CStringSize(text), '\0');
    utf8.resize(JSStringGetUTF8CString(text, utf8.data(), utf8.size()) - 1);
    JSStringRelease(text);
    return JSValueMakeNumber(inContext, static_cast<double>(utf8.size()));
}

class Bare final : public Side {
  public:
    Bare() : mContext(JSGlobalContextCreate(nullptr)) {
        JSObjectRef object = JSObjectMake(mContext, nullptr, nullptr);
        const auto put = [&](JSObjectRef inWhere, const char* inName, JSValueRef inValue) {
            JSStringRef name = JSStringCreateWithUTF8CString(inName);
            JSObjectSetProperty(mContext, inWhere, name, inValue, kJSPropertyAttributeNone, nullptr);
            JSStringRelease(name);
        };
        const auto give = [&](const char* inName, JSObjectCallAsFunctionCallback inCallback) {
            put(object, inName, JSObjectMakeFunctionWithCallback(mContext, nullptr, inCallback));
        };
        give("nothing", &Nothing);
        give("number", &Number);
        give("text", &Text);
        put(JSContextGetGlobalObject(mContext), "o", object);
    }
    ~Bare() override { JSGlobalContextRelease(mContext); }

    double Run(const std::string& inScript) override {
        JSStringRef source = JSStringCreateWithUTF8CString(inScript.c_str());
        JSValueRef exception = nullptr;
        JSValueRef value = JSEvaluateScript(mContext, source, nullptr, nullptr, 1, &exception);
        JSStringRelease(source);
        if (exception != nullptr) throw std::runtime_error("the script threw");
        return JSValueToNumber(mContext, value, nullptr);
    }

  private:
    JSGlobalContextRef mContext;
};

}  // namespace

std::unique_ptr<Side> MakeBare() { return std::make_unique<Bare>(); }

}  // namespace bench
