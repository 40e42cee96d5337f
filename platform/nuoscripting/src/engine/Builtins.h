/// What scripts find in a new context.
#pragma once

#include <JavaScriptCore/JavaScript.h>

namespace nuoscripting::engine {

/// Takes away what the engine can't be stopped in, and what it runs by timers of its own, outside of every
/// call into the context.
void TakeAwayUnbounded(JSGlobalContextRef inContext);

/// Defines and redefines properties, whatever the script does to the function of that name.
class PropertyDefiner {
  public:
    explicit PropertyDefiner(JSGlobalContextRef inContext);
    /// Gives an object a property of its own that scripts may change, in place of what they have there;
    /// runs none of their code. With an exception when they have fixed what is there.
    void Define(JSObjectRef inObject, JSStringRef inName, JSValueRef inValue, JSValueRef* outException) const;

  private:
    JSGlobalContextRef mContext;
    JSObjectRef mFunction;
};

}  // namespace nuoscripting::engine
