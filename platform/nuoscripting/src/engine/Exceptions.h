/// Exceptions between scripts and native code.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <exception>
#include <string_view>

#include "nuoscripting/Errors.h"

namespace nuoscripting::engine {

class EngineContext;

JSValueRef MakeError(JSContextRef inContext, std::string_view inText);
/// A TypeError, made by the engine itself, whatever the script has done to the name.
JSValueRef MakeTypeError(JSContextRef inContext, JSObjectRef inTypeError, std::string_view inText);
/// An Error with the text of a native exception; with the property "code" if that has a result code.
/// What a script threw, it gets again.
JSValueRef MakeError(EngineContext& inContext, const std::exception_ptr& inError);

/// The same of the exception that is being handled, for what the engine calls: nothing native may come out of
/// that, also when there is no memory left.
JSValueRef MakeErrorOfCurrent(EngineContext& inContext) noexcept;

/// A script's exception for the host. Reading it may run code of the script.
ScriptException ReadException(EngineContext& inContext, JSValueRef inException);

}  // namespace nuoscripting::engine
