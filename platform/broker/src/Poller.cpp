#include "Poller.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <span>
#include <system_error>

namespace orvane::plexa::broker {

namespace {

/// Rounded up, so that a deadline has passed when the wait ends.
int Milliseconds(std::optional<std::chrono::steady_clock::duration> inTimeout) {
    if (!inTimeout) return -1;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*inTimeout).count();
    return static_cast<int>(std::clamp<decltype(wait)>(wait, 0, std::numeric_limits<int>::max()));
}

}  // namespace

Poller::Poller() : mEpoll(::epoll_create1(EPOLL_CLOEXEC)) {
    if (!mEpoll) throw std::system_error(errno, std::system_category(), "cannot make an event queue");
}

void Poller::Control(int inOperation, int inDescriptor, std::uint32_t inEvents, Token inToken) {
    epoll_event event{};
    event.events = inEvents;
    event.data.u64 = inToken;
    if (::epoll_ctl(mEpoll.Get(), inOperation, inDescriptor, &event) != 0) {
        throw std::system_error(errno, std::system_category(), "cannot watch a descriptor");
    }
}

Poller::Token Poller::Add(int inDescriptor, std::uint32_t inEvents, Handler inHandler) {
    const Token token = ++mLastToken;
    mWatches.emplace(token, Watch{inDescriptor, std::move(inHandler)});
    try {
        Control(EPOLL_CTL_ADD, inDescriptor, inEvents, token);
    } catch (...) {
        mWatches.erase(token);
        throw;
    }
    return token;
}

void Poller::Change(Token inToken, std::uint32_t inEvents) {
    Control(EPOLL_CTL_MOD, mWatches.at(inToken).descriptor, inEvents, inToken);
}

void Poller::Remove(Token inToken) noexcept {
    const auto found = mWatches.find(inToken);
    if (found == mWatches.end() || found->second.removed) return;
    ::epoll_ctl(mEpoll.Get(), EPOLL_CTL_DEL, found->second.descriptor, nullptr);
    // A handler that removes itself is still running: what it captured has to live until it returns.
    found->second.removed = true;
    mRemovedAny = true;
    if (!mDispatching) Sweep();
}

void Poller::Sweep() noexcept {
    std::erase_if(mWatches, [](const auto& inEntry) { return inEntry.second.removed; });
    mRemovedAny = false;
}

void Poller::Wait(std::optional<std::chrono::steady_clock::duration> inTimeout) {
    mReadyCount = 0;
    const int count =
        ::epoll_wait(mEpoll.Get(), mReady.data(), static_cast<int>(mReady.size()), Milliseconds(inTimeout));
    if (count >= 0) {
        mReadyCount = static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
        throw std::system_error(errno, std::system_category(), "cannot wait for events");
    }
}

void Poller::Dispatch() {
    mDispatching = true;
    for (const epoll_event& event : std::span(mReady).first(mReadyCount)) {
        const auto found = mWatches.find(event.data.u64);
        // References to the elements of the map stay valid while handlers add others.
        if (found != mWatches.end() && !found->second.removed) found->second.handler(event.events);
    }
    mReadyCount = 0;
    mDispatching = false;
    if (mRemovedAny) Sweep();
}

}  // namespace orvane::plexa::broker
