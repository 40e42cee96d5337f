/// Values between scripts and native methods. A null exception on return means success.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include "nuoscripting/ScriptValue.h"

namespace nuoscripting::engine {

/// Makes the native side of a script's function.
class FunctionWrapper {
  public:
    virtual RefPtr<ScriptFunction> Wrap(JSObjectRef inFunction) = 0;

  protected:
    ~FunctionWrapper() = default;
};

/// What a value is, in words: "a number".
const char* KindOf(JSContextRef inContext, JSValueRef inValue);
/// What a type wants, in words: "a string".
const char* WordsFor(ScriptType inType);

/// Whether the value is of the type, or could be made so. With an exception of the script, if its own code
/// threw one meanwhile. Throws `std::exception`s for what can't be taken.
bool FromScript(JSContextRef inContext, JSValueRef inValue, ScriptType inType, bool inStrict,
                FunctionWrapper& ioWrapper, ScriptValue& outValue, JSValueRef* outException);

/// Throws `std::exception`s for what scripts can't have.
JSValueRef ToScript(JSContextRef inContext, const ScriptValue& inValue);

/// As JSON and back. "undefined" and what JSON leaves out give an empty value. Throw `ScriptError` for what
/// is too large or too deep, or foreign.
bool VariantFromScript(JSContextRef inContext, JSValueRef inValue, VariantValue& outValue,
                       JSValueRef* outException);
JSValueRef VariantToScript(JSContextRef inContext, const VariantValue& inValue);

}  // namespace nuoscripting::engine
