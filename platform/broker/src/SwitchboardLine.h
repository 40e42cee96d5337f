/// One connection as the switchboard keeps it. Included by the switchboard's own sources only.
#pragma once

#include <sys/epoll.h>

#include "Switchboard.h"

namespace orvane::plexa::broker {

struct Switchboard::Line {
    Line(ConnectionId inId, Channel inChannel, HeldProcess inProcess)
        : id(inId), channel(std::move(inChannel)), process(std::move(inProcess)) {}

    ConnectionId id;
    Channel channel;
    HeldProcess process;
    Poller::Token token = 0;
    std::uint32_t interest = EPOLLIN;
    /// The socket took no more at the last attempt.
    bool blocked = false;
    /// The peer reads no more.
    bool broken = false;
    /// In mClosing: nothing is read any more.
    bool closing = false;
    wire::TimePoint closeBy;
    /// In mEnding.
    bool ending = false;
    /// Whose process has ended, which the core is told after the last input.
    std::optional<wire::MemberId> endedMember;
};

}  // namespace orvane::plexa::broker
