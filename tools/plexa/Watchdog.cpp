#include "Watchdog.h"

#include <utility>

namespace orvane::plexa::tool {

Watchdog::Watchdog(std::chrono::milliseconds inTime, std::function<void()> inAtEnd)
    : mThread([this, inTime, atEnd = std::move(inAtEnd)] {
          std::unique_lock lock(mLock);
          if (!mChanged.wait_for(lock, inTime, [this] { return mIsOver; })) atEnd();
      }) {}

Watchdog::~Watchdog() {
    {
        const std::lock_guard lock(mLock);
        mIsOver = true;
    }
    mChanged.notify_all();
    mThread.join();
}

}  // namespace orvane::plexa::tool
