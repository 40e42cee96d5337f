/// Waits for descriptors, level-triggered. Single-threaded.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <unordered_map>

#include <sys/epoll.h>

#include "FileDescriptor.h"

namespace orvane::plexa::broker {

class Poller {
  public:
    /// Names a watched descriptor; never used twice.
    using Token = std::uint64_t;
    /// Called with the ready events (EPOLLIN, EPOLLOUT, ...).
    using Handler = std::function<void(std::uint32_t)>;

    /// Throws std::system_error.
    Poller();

    /// Watches inDescriptor, which the caller keeps open until Remove. Throws std::system_error.
    Token Add(int inDescriptor, std::uint32_t inEvents, Handler inHandler);
    /// Changes what a descriptor is watched for. Throws std::system_error.
    void Change(Token inToken, std::uint32_t inEvents);
    /// Handlers may remove any descriptor, their own included; a removed one is not called any more.
    void Remove(Token inToken) noexcept;

    /// Waits until something is ready or inTimeout has passed (none: for ever). Throws std::system_error.
    void Wait(std::optional<std::chrono::steady_clock::duration> inTimeout);
    /// Calls the handlers of what the last Wait found ready, each once.
    void Dispatch();

  private:
    struct Watch {
        int descriptor;
        Handler handler;
        bool removed = false;
    };
    void Control(int inOperation, int inDescriptor, std::uint32_t inEvents, Token inToken);
    void Sweep() noexcept;

    FileDescriptor mEpoll;
    Token mLastToken = 0;
    std::array<epoll_event, 64> mReady{};
    std::size_t mReadyCount = 0;
    bool mDispatching = false;
    bool mRemovedAny = false;
    std::unordered_map<Token, Watch> mWatches;
};

}  // namespace orvane::plexa::broker
