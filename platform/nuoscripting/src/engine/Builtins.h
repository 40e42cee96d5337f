/// What scripts find in a new context.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <cstddef>
#include <string_view>

namespace nuoscripting::engine {

/// Takes away what the engine can't be stopped in, and what it runs by timers of its own, outside of every
/// call into the context.
void TakeAwayUnbounded(JSGlobalContextRef inContext);

/// Defines and redefines properties, whatever the script does to the function of that name.
class PropertyDefiner {
  public:
    /// What scripts may do with a property.
    struct Rights {
        bool mWrite;
        bool mEnumerate;
        bool mConfigure;
    };
    static constexpr Rights kAll = {true, true, true};
    static constexpr Rights kNaming = {false, false, true};  // as "name" and "length" of functions

    explicit PropertyDefiner(JSGlobalContextRef inContext);
    /// Makes an object that can be called a function as scripts know them.
    void DefineFunction(JSObjectRef ioFunction, std::string_view inName, std::size_t inLength) const;
    /// Gives an object a property of its own, in place of what it has there; runs no code of scripts. With an
    /// exception when what is there is fixed.
    void Define(JSObjectRef inObject, JSStringRef inName, JSValueRef inValue, Rights inRights,
                JSValueRef* outException) const;

  private:
    JSGlobalContextRef mContext;
    JSObjectRef mFunction;
};

}  // namespace nuoscripting::engine
