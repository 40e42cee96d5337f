#include "Strings.h"

#include <algorithm>
#include <array>
#include <string>

#include "nuocore/StringConversion.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting::engine {

String MakeString(std::string_view inText) {
    static_assert(sizeof(JSChar) == sizeof(char16_t));
    const nuocore::UTF16String text = nuocore::string::UTF8to16(inText);
    return String(JSStringCreateWithCharacters(reinterpret_cast<const JSChar*>(text.data()), text.size()));
}

nuocore::UTF8String TextOf(JSStringRef inString) {
    if (JSStringGetLength(inString) > kMaxStringUnits) {
        throw ScriptError("the text is too long: more than " + std::to_string(kMaxStringUnits) + " units");
    }
    const std::size_t room = JSStringGetMaximumUTF8CStringSize(inString);
    std::array<char, 512> small;  // NOLINT: filled below
    if (room <= small.size()) {
        const std::size_t written = JSStringGetUTF8CString(inString, small.data(), small.size());
        // Not for others: what the engine cut off may be as long as what they take more.
        if (written == JSStringGetLength(inString) + 1 &&
            std::all_of(small.data(), small.data() + written,
                        [](char inByte) { return (inByte & '\x80') == 0; })) {
            return {small.data(), written - 1};
        }
    }
    // The engine cuts a text off at an unpaired surrogate.
    return nuocore::string::UTF16to8(
        {reinterpret_cast<const char16_t*>(JSStringGetCharactersPtr(inString)), JSStringGetLength(inString)});
}

String StringOf(JSContextRef inContext, JSValueRef inValue, JSValueRef* outException) {
    return String(JSValueToStringCopy(inContext, inValue, outException));
}

JSValueRef PropertyOf(JSContextRef inContext, JSObjectRef inObject, const char* inName) {
    const String name = MakeString(inName);
    JSValueRef exception = nullptr;
    JSValueRef value = JSObjectGetProperty(inContext, inObject, name.get(), &exception);
    return exception != nullptr || value == nullptr ? JSValueMakeUndefined(inContext) : value;
}

JSObjectRef ObjectNamed(JSContextRef inContext, JSObjectRef inObject, const char* inName) {
    return JSValueToObject(inContext, PropertyOf(inContext, inObject, inName), nullptr);
}

nuocore::UTF8String TextPropertyOf(JSContextRef inContext, JSObjectRef inObject, const char* inName) {
    const JSValueRef value = PropertyOf(inContext, inObject, inName);
    JSValueRef exception = nullptr;
    const String text =
        JSValueIsUndefined(inContext, value) ? nullptr : StringOf(inContext, value, &exception);
    return text && exception == nullptr ? TextOf(text.get()) : nuocore::UTF8String();
}

}  // namespace nuoscripting::engine
