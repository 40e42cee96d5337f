/// Futures, promises and executors.
///
/// A future and its promise share a state. The promise refers to the state weakly: when every future and
/// continuation that holds the state has gone, setting the promise does nothing. When the last copy of a
/// promise goes before it was set while the state lives, the state is completed with a `nuo_exception` with
/// the message "Future: Broken Promise" and the code `kBrokenPromise`.
///
/// Continuations of `Then` run before the completing call returns, on the completing thread (or at once, on
/// the attaching thread, when the state is complete already), after the state's own lock has been released,
/// and are released after they ran. Those of `ThenOn` are posted to an executor. A future derived by either
/// holds its parent's state, while the parent's continuation refers to the derived state weakly: dropping the
/// derived future doesn't detach the continuation.
///
/// Thread rule: all of it from any thread; one future object is used by one thread at a time, copies by any.
#pragma once

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <exception>
#include <functional>

#include "nuocore/Exception.h"
#include "nuocore/export.h"

namespace nuocore::async {

/// Result code of a future whose promise went without being set.
inline constexpr int kBrokenPromise = static_cast<int>(0xF3610001U);

/// Runs work handed to it.
class NUOCORE_API AsyncExecutor {
  public:
    AsyncExecutor() = default;
    AsyncExecutor(const AsyncExecutor&) = delete;
    AsyncExecutor& operator=(const AsyncExecutor&) = delete;
    virtual ~AsyncExecutor();
    /// Takes work to be run once, later, in the order of posting unless the executor has several threads.
    /// Work that throws raises an assertion. Throws `std::bad_alloc`.
    virtual void Post(std::function<void()> inWork) = 0;
};

/// The process's own executor: a small pool of threads, started with the first work. At process exit work
/// already posted is finished.
NUOCORE_API boost::shared_ptr<AsyncExecutor> GetDefaultExecutor();
/// An executor that runs work inside `Post`.
NUOCORE_API boost::shared_ptr<AsyncExecutor> GetInlineExecutor();

}  // namespace nuocore::async

// The templates Future and Promise complete this interface.
#include "nuocore/AsyncFuture.h"
