/// Part of Session: what its threads have in common.
#pragma once

#include <exception>

#include "Session.h"

namespace orvane::plexa::message5 {

/// How long a thread waits when the system is short of something.
inline constexpr wire::Duration kShortage = std::chrono::milliseconds(10);

template <typename Round>
void Session::Survive(Lock& ioLock, const Round& inRound) {
    try {
        inRound();
        return;
    } catch (const std::exception&) {
        // Taken up again below.
    }
    if (ioLock.owns_lock()) {
        ioLock.unlock();
    }
    std::this_thread::sleep_for(kShortage);
    ioLock.lock();
}

}  // namespace orvane::plexa::message5
