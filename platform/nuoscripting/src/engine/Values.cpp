#include "Values.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "Strings.h"
#include "nuocore/JSON.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting::engine {

namespace {

constexpr std::int64_t kLargestWhole = std::int64_t{1} << 53;  // up to it a script has every whole number

bool NumberFromScript(JSContextRef inContext, JSValueRef inValue, bool inStrict, double& outNumber,
                      JSValueRef* outException) {
    if (inStrict && !JSValueIsNumber(inContext, inValue)) {
        return false;
    }
    outNumber = JSValueToNumber(inContext, inValue, outException);
    return *outException == nullptr;
}

bool IsWholeWithin(double inNumber, double inLowest, double inHighest) {
    return inNumber >= inLowest && inNumber <= inHighest && std::trunc(inNumber) == inNumber;
}

// The unit that an escape at a place stands for; 0 when there is none.
unsigned EscapedUnit(std::string_view inJSON, std::size_t inPlace) {
    constexpr std::size_t kPrefix = 2;
    constexpr std::size_t kDigits = 4;
    unsigned unit = 0;
    if (inJSON.size() < inPlace + kPrefix + kDigits || inJSON.compare(inPlace, kPrefix, "\\u") != 0) {
        return 0;
    }
    const char* const digits = inJSON.data() + inPlace + kPrefix;
    std::from_chars(digits, digits + kDigits, unit, 16);
    return unit;
}

// The engine writes them as escapes, which no reader can turn into UTF-8.
UTF8String WithoutUnpairedSurrogates(UTF8String inJSON) {
    constexpr std::size_t kEscape = 6;
    const auto isHigh = [](unsigned inUnit) { return inUnit >= 0xD800 && inUnit <= 0xDBFF; };
    const auto isLow = [](unsigned inUnit) { return inUnit >= 0xDC00 && inUnit <= 0xDFFF; };
    std::size_t place = 0;
    while ((place = inJSON.find('\\', place)) != UTF8String::npos) {
        const unsigned unit = EscapedUnit(inJSON, place);
        if (isHigh(unit) && isLow(EscapedUnit(inJSON, place + kEscape))) {
            place += 2 * kEscape;
            continue;
        }
        if (isHigh(unit) || isLow(unit)) {
            inJSON.replace(place, kEscape, "\\ufffd");
        }
        place += 2;
    }
    return inJSON;
}

bool TextFromScript(JSContextRef inContext, JSValueRef inValue, bool inStrict, ScriptValue& outValue,
                    JSValueRef* outException) {
    if (inStrict && !JSValueIsString(inContext, inValue)) {
        return false;
    }
    const String text = StringOf(inContext, inValue, outException);
    if (!text || *outException != nullptr) {
        return false;
    }
    outValue = TextOf(text.get());
    return true;
}

}  // namespace

const char* KindOf(JSContextRef inContext, JSValueRef inValue) {
    switch (JSValueGetType(inContext, inValue)) {
        case kJSTypeUndefined:
            return "undefined";
        case kJSTypeNull:
            return "null";
        case kJSTypeBoolean:
            return "a boolean";
        case kJSTypeNumber:
            return "a number";
        case kJSTypeString:
            return "a string";
        case kJSTypeSymbol:
            return "a symbol";
        case kJSTypeObject:
            break;
        default:
            return "a bigint";
    }
    if (JSValueIsArray(inContext, inValue)) {
        return "an array";
    }
    JSObjectRef object = JSValueToObject(inContext, inValue, nullptr);
    return object != nullptr && JSObjectIsFunction(inContext, object) ? "a function" : "an object";
}

const char* WordsFor(ScriptType inType) {
    switch (inType) {
        case ScriptType::kBool:
            return "a boolean";
        case ScriptType::kInt32:
            return "a whole number of at most 32 bits";
        case ScriptType::kInt64:
            return "a whole number";
        case ScriptType::kDouble:
            return "a number";
        case ScriptType::kUTF8String:
            return "a string";
        case ScriptType::kFunction:
            return "a function";
        case ScriptType::kVariant:
        case ScriptType::kVoid:
            break;
    }
    return "a value that JSON can express";
}

bool FromScript(JSContextRef inContext, JSValueRef inValue, ScriptType inType, bool inStrict,
                FunctionWrapper& ioWrapper, ScriptValue& outValue, JSValueRef* outException) {
    double number = 0;
    switch (inType) {
        case ScriptType::kUTF8String:
            return TextFromScript(inContext, inValue, inStrict, outValue, outException);
        case ScriptType::kBool:
            if (inStrict && !JSValueIsBoolean(inContext, inValue)) {
                return false;
            }
            outValue = JSValueToBoolean(inContext, inValue);
            return true;
        case ScriptType::kInt32:
            if (!NumberFromScript(inContext, inValue, inStrict, number, outException) ||
                !IsWholeWithin(number, std::numeric_limits<std::int32_t>::min(),
                               std::numeric_limits<std::int32_t>::max())) {
                return false;
            }
            outValue = static_cast<std::int32_t>(number);
            return true;
        case ScriptType::kInt64:
            if (!NumberFromScript(inContext, inValue, inStrict, number, outException) ||
                !IsWholeWithin(number, -static_cast<double>(kLargestWhole),
                               static_cast<double>(kLargestWhole))) {
                return false;
            }
            outValue = static_cast<std::int64_t>(number);
            return true;
        case ScriptType::kDouble:
            if (!NumberFromScript(inContext, inValue, inStrict, number, outException)) {
                return false;
            }
            outValue = number;
            return true;
        case ScriptType::kFunction: {
            JSObjectRef object = JSValueIsObject(inContext, inValue)
                                     ? JSValueToObject(inContext, inValue, outException)
                                     : nullptr;
            if (object == nullptr || !JSObjectIsFunction(inContext, object)) {
                return false;
            }
            outValue = ioWrapper.Wrap(object);
            return true;
        }
        case ScriptType::kVariant: {
            VariantValue value;
            if (!VariantFromScript(inContext, inValue, value, outException)) {
                return false;
            }
            outValue = std::move(value);
            return true;
        }
        case ScriptType::kVoid:
            break;
    }
    return false;
}

JSValueRef ToScript(JSContextRef inContext, const ScriptValue& inValue) {
    struct Visitor {
        JSContextRef mContext;
        JSValueRef operator()(std::monostate /*inNothing*/) const { return JSValueMakeUndefined(mContext); }
        JSValueRef operator()(bool inBool) const { return JSValueMakeBoolean(mContext, inBool); }
        JSValueRef operator()(std::int32_t inNumber) const { return JSValueMakeNumber(mContext, inNumber); }
        JSValueRef operator()(std::int64_t inNumber) const {
            if (inNumber < -kLargestWhole || inNumber > kLargestWhole) {
                throw ScriptError("a whole number beyond 2^53 can't be a result: scripts can't hold it");
            }
            return JSValueMakeNumber(mContext, static_cast<double>(inNumber));
        }
        JSValueRef operator()(double inNumber) const { return JSValueMakeNumber(mContext, inNumber); }
        JSValueRef operator()(const UTF8String& inText) const {
            return JSValueMakeString(mContext, MakeString(inText).get());
        }
        JSValueRef operator()(const VariantValue& inVariant) const {
            return VariantToScript(mContext, inVariant);
        }
        JSValueRef operator()(const RefPtr<ScriptFunction>& /*inFunction*/) const {
            throw ScriptError("a function can't be a result");
        }
    };
    return std::visit(Visitor{inContext}, inValue);
}

bool VariantFromScript(JSContextRef inContext, JSValueRef inValue, VariantValue& outValue,
                       JSValueRef* outException) {
    const String json(JSValueCreateJSONString(inContext, inValue, 0, outException));
    if (*outException != nullptr) {
        return false;
    }
    if (!json) {
        outValue = VariantValue();
        return JSValueIsUndefined(inContext, inValue);
    }
    try {
        outValue = *nuocore::serialization::ParseJSON(WithoutUnpairedSurrogates(TextOf(json.get())));
    } catch (const nuocore::serialization::JSONError& error) {
        throw ScriptError(error.what());
    }
    return true;
}

JSValueRef VariantToScript(JSContextRef inContext, const VariantValue& inValue) {
    UTF8String json;
    try {
        json = nuocore::serialization::GetJSONUTF8String(inValue, false);
    } catch (const nuocore::serialization::JSONError& error) {
        throw ScriptError(error.what());
    }
    const JSValueRef value = JSValueMakeFromJSONString(inContext, MakeString(json).get());
    if (value == nullptr) {
        throw ScriptError("the value is too large or too deep for a script");
    }
    return value;
}

}  // namespace nuoscripting::engine
