/// The engine's strings from and into UTF-8.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <memory>
#include <string_view>
#include <type_traits>

#include "nuocore/Strings.h"

namespace nuoscripting::engine {

struct ReleaseString {
    void operator()(JSStringRef inString) const noexcept { JSStringRelease(inString); }
};
using String = std::unique_ptr<std::remove_pointer_t<JSStringRef>, ReleaseString>;

/// How many UTF-16 units of a script's text are taken at most.
inline constexpr std::size_t kMaxStringUnits = std::size_t{64} << 20;

/// Ill-formed UTF-8 becomes U+FFFD; NULs are kept.
String MakeString(std::string_view inText);
/// Unpaired surrogates become U+FFFD; NULs are kept. Throws `ScriptError` beyond `kMaxStringUnits`.
nuocore::UTF8String TextOf(JSStringRef inString);

/// A value as the script's `String(value)` would give it. Null when that throws; then with the exception.
String StringOf(JSContextRef inContext, JSValueRef inValue, JSValueRef* outException);

/// A property, an object that is one, and the text of one; empty when it isn't there, or reading it throws.
JSValueRef PropertyOf(JSContextRef inContext, JSObjectRef inObject, const char* inName);
JSObjectRef ObjectNamed(JSContextRef inContext, JSObjectRef inObject, const char* inName);
nuocore::UTF8String TextPropertyOf(JSContextRef inContext, JSObjectRef inObject, const char* inName);

}  // namespace nuoscripting::engine
