/// Ends the process when something takes longer than it may, and nothing else can end it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace orvane::plexa::tool {

/// Watches while it lives: calls `inAtEnd` on a thread of its own if it is still there after that time.
class Watchdog {
  public:
    Watchdog(std::chrono::milliseconds inTime, std::function<void()> inAtEnd);
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    ~Watchdog();

  private:
    std::mutex mLock;
    std::condition_variable mChanged;
    bool mIsOver = false;
    std::thread mThread;
};

}  // namespace orvane::plexa::tool
