/// What the kernel says about the process at the other end of a socket. Any thread.
#pragma once

#include <optional>
#include <string_view>

#include <sys/types.h>

#include "BrokerCore.h"
#include "FileDescriptor.h"

namespace orvane::plexa::broker {

/// User and process that connected the other end of a unix socket; it cannot be forged. The process is 0 when
/// it lies outside of this process's view (another pid namespace).
struct Credentials {
    uid_t user = 0;
    pid_t process = 0;
};
std::optional<Credentials> PeerCredentials(int inSocket);

/// A living process, held: its number cannot pass to another one while `handle`, which becomes readable when
/// it ends, is open.
struct HeldProcess {
    ProcessIdentity identity;
    FileDescriptor handle;
};
/// None when there is no such process (any more), with errno telling why.
std::optional<HeldProcess> HoldProcess(pid_t inProcess);

/// The start time, in clock ticks since boot, out of the text of /proc/<pid>/stat; none when it is not such a
/// text.
std::optional<std::uint64_t> StartTimeOf(std::string_view inStatText);

}  // namespace orvane::plexa::broker
