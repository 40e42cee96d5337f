/// Executors: what runs work on behalf of others.
#pragma once

#include <boost/shared_ptr.hpp>
#include <functional>

#include "nuocore/export.h"

namespace nuocore::async {

/// Runs work handed to it. Any thread.
class NUOCORE_API AsyncExecutor {
  public:
    AsyncExecutor() = default;
    AsyncExecutor(const AsyncExecutor&) = delete;
    AsyncExecutor& operator=(const AsyncExecutor&) = delete;
    virtual ~AsyncExecutor();
    /// Takes work to be run once, later, in the order of posting unless the executor has several threads.
    /// Work that throws raises an assertion. Throws `std::bad_alloc`, and `std::system_error` when a thread
    /// that is needed can't be started; the work is not run then.
    virtual void Post(std::function<void()> inWork) = 0;
};

/// The process's own executor: a small pool of threads, started with the first work. At process exit work
/// already posted is finished; work posted after that runs inside `Post`.
NUOCORE_API boost::shared_ptr<AsyncExecutor> GetDefaultExecutor();
/// An executor that runs work inside `Post`.
NUOCORE_API boost::shared_ptr<AsyncExecutor> GetInlineExecutor();

}  // namespace nuocore::async
