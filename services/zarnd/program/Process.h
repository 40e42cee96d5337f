/// What a background program does with the process it was started in.
#pragma once

#include <csignal>
#include <filesystem>
#include <optional>

#include "wire/FileDescriptor.h"

namespace orvane::plexa::zarnd {

/// Blocks the signals that ask to end, so that `AwaitEnd` takes them; errors instead of signals from writing.
/// Before there are other threads.
void SettleSignals();
/// Waits for SIGTERM or SIGINT, or for the thread that asks to be stopped by SIGUSR1.
void AwaitEndSignal();

/// Own session, the standard streams to nothing and, for errors, to a file. Throws `Failure`.
void Detach(const std::filesystem::path& inLog);

/// Holds a lock as long as it is open; nothing when another process does. Throws `Failure`.
std::optional<wire::FileDescriptor> LockFolder(const std::filesystem::path& inFolder);

}  // namespace orvane::plexa::zarnd
