/// A thread for what takes its time and is nobody's installation.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace orvane::plexa::zarnd {

/// Runs tasks one after another. Each is given the token that says that it is to end.
class TaskRunner {
  public:
    using Task = std::function<void(const std::stop_token&)>;
    static constexpr std::size_t kMaxWaiting = 256;

    TaskRunner() : mThread([this](const std::stop_token& inStop) { Run(inStop); }) {}

    /// False when too many wait already. Tasks don't throw.
    bool Add(Task inTask) {
        const std::lock_guard lock(mMutex);
        if (mTasks.size() == kMaxWaiting) return false;
        mTasks.push_back(std::move(inTask));
        mChanged.notify_one();
        return true;
    }

    /// Has all that wait run, asked to stop, and returns when none is left.
    void End() {
        mThread.request_stop();
        if (mThread.joinable()) mThread.join();
    }

  private:
    void Run(const std::stop_token& inStop) {
        std::unique_lock lock(mMutex);
        while (mChanged.wait(lock, inStop, [this] { return !mTasks.empty(); })) {
            const Task task = std::move(mTasks.front());
            mTasks.pop_front();
            lock.unlock();
            task(inStop);
            lock.lock();
        }
    }

    std::mutex mMutex;
    std::condition_variable_any mChanged;
    std::deque<Task> mTasks;
    std::jthread mThread;
};

}  // namespace orvane::plexa::zarnd
