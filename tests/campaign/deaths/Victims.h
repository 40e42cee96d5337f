/// What the victims do in their processes until they are killed. They say it, line by line:
///
///   ready             it is where it is to die
///   began N, got N    message N was given to its listener, and the listener has returned
///   copy PID          it has left a copy of itself
///   member M A B      its membership: number and nonce
#pragma once

#include <cstdint>
#include <string>

#include "Plan.h"

namespace campaign::deaths {

/// What a victim is told on its command line.
struct Task {
    /// Its version on the bus.
    std::string mName;
    Random mRandom;
};

/// Never return; the campaign kills them.
[[noreturn]] void LiveAsClient(Kind inKind, Task ioTask);
[[noreturn]] void LiveOnTheWire(Kind inKind, Task ioTask);

/// Does nothing until it is killed.
[[noreturn]] void Linger();
/// Writes a line at once, whatever other threads do.
void Say(const std::string& inLine);

}  // namespace campaign::deaths
