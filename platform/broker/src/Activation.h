/// Sockets handed over by a service manager, and the report back to whoever started the program.
#pragma once

#include <optional>

#include <sys/types.h>

namespace orvane::plexa::broker {

/// The descriptor of the listening socket that the texts of $LISTEN_PID and $LISTEN_FDS (either may be null)
/// hand to inProcess; none when they are absent or meant for another process. Only the first descriptor is
/// taken.
std::optional<int> ActivatedSocket(const char* inListenPid, const char* inListenFds, pid_t inProcess);

/// The same for this process from its environment, from which both are removed. Throws std::runtime_error if
/// the descriptor is not a listening unix stream socket.
std::optional<int> TakeActivatedSocket();

/// Writes one byte and closes the descriptor. A reader that has gone is no fault.
void ReportReady(int inDescriptor);

}  // namespace orvane::plexa::broker
