/// Work that is handed to a context's thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

#include "nuoscripting/export.h"

namespace nuoscripting::detail {

/// First in, first out. Any thread.
class NUOSCRIPTING_API WorkQueue {
  public:
    /// `inOnWork` is told of each work that comes, and of work that is put back, one call at a time; what it
    /// throws goes to the log.
    explicit WorkQueue(std::function<void()> inOnWork);
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    /// False when the queue is closed; the work is dropped then.
    bool Push(std::function<void()> inWork);
    /// Everything, with what comes back from `PutBack` in front.
    std::deque<std::function<void()>> Take();
    /// What was taken and couldn't be done.
    void PutBack(std::deque<std::function<void()>> inWork);
    [[nodiscard]] bool WaitFor(std::chrono::milliseconds inLimit);
    /// Drops what is there and everything that comes. Nobody is told of work any more when it returns, unless
    /// it is called by who is being told.
    void Close();

  private:
    void Tell() noexcept;

    const std::function<void()> mOnWork;
    std::recursive_mutex mTelling;  // held while somebody is told; taken before the other
    std::mutex mLock;
    std::condition_variable mChanged;
    std::deque<std::function<void()>> mWork;
    bool mIsClosed = false;
};

}  // namespace nuoscripting::detail
