/// The engine's operations that its library exports without declaring them in an installed header. They have
/// kept their names and forms for many years; should one go, the binding can't be loaded, or, for the last,
/// no context can be made with a limit.
#pragma once

#include <JavaScriptCore/JavaScript.h>

extern "C" {

/// Calls `inCallback` after that much processor time of the running script, once; it says whether the script
/// is stopped, which scripts can't catch.
void JSContextGroupSetExecutionTimeLimit(JSContextGroupRef inGroup, double inSeconds,
                                         bool (*inCallback)(JSContextRef, void*), void* inData);

/// An object with "heapSize" and other figures. Walks over the heap.
JSObjectRef JSGetMemoryUsageStatistics(JSContextRef inContext);
/// Collects everything before it returns.
void JSSynchronousGarbageCollectForDebugging(JSContextRef inContext);

/// A reference that keeps nothing. The object is null once the collector has found that it is lost, before
/// anything else can have its address; asking for it takes no lock.
using JSWeakRef = struct OpaqueJSWeak*;
JSWeakRef JSWeakCreate(JSContextGroupRef inGroup, JSObjectRef inObject);
JSObjectRef JSWeakGetObject(JSWeakRef inWeak);
void JSWeakRelease(JSContextGroupRef inGroup, JSWeakRef inWeak);

/// Calls `inCallback` whenever the collector has found what is lost, on the thread that collects.
using JSHeapFinalizer = void (*)(JSContextGroupRef inGroup, void* inData);
void JSContextGroupAddHeapFinalizer(JSContextGroupRef inGroup, JSHeapFinalizer inCallback, void* inData);
void JSContextGroupRemoveHeapFinalizer(JSContextGroupRef inGroup, JSHeapFinalizer inCallback, void* inData);

/// While it is held by a thread, the engine doesn't run what promises have to do.
void JSLock(JSContextRef inContext);
void JSUnlock(JSContextRef inContext);

/// Calls the function with each rejected promise that nobody handles, and the reason.
void JSGlobalContextSetUnhandledRejectionCallback(JSGlobalContextRef inContext, JSObjectRef inFunction,
                                                  JSValueRef* outException);
}

namespace nuoscripting::engine {

/// Runs what the promises of a group have to do; null when this version of the engine has no such operation.
using DrainMicrotasks = void(JSContextGroupRef inGroup);
DrainMicrotasks* FindDrainMicrotasks();

}  // namespace nuoscripting::engine
