/// Futures, promises and executors.
///
/// A future and its promise share a state. The promise refers to the state weakly: when every future and
/// continuation that holds the state has gone, setting the promise does nothing. When the last copy of a
/// promise goes before it was set while the state lives, the state is completed with a `nuo_exception` with
/// the message "Future: Broken Promise" and the code `kBrokenPromise`.
///
/// Continuations of `Then` run before the completing call returns, on the completing thread (or at once, on
/// the attaching thread, when the state is complete already), after the state's own lock has been released,
/// in the order of attaching, and each is released after it ran. Those of `ThenOn` are posted to an executor.
/// A future derived by either holds its parent's state until it is complete itself, while the parent's
/// continuation refers to the derived state weakly: dropping the derived future doesn't detach the
/// continuation. A chain of derived futures is completed, and released, with one level of the stack each.
///
/// Thread rule: all of it from any thread; one future object is used by one thread at a time, copies by any.
///
///     auto [promise, future] = MakePromise<int>(GetDefaultExecutor());
///     Future<bool> isEven = future.Then([](const Future<int>& inDone) { return inDone.Get() % 2 == 0; });
///     promise.SetValue(4);  // runs the continuation
#pragma once

#include "nuocore/AsyncExecutor.h"
#include "nuocore/AsyncFuture.h"
