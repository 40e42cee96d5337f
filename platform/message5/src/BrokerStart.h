/// Starting a broker, so that of many starters one does it. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "wire/FileDescriptor.h"

namespace orvane::plexa::message5 {

/// The right to start a broker for one runtime directory: held by one process of the user at a time, given
/// back by the destructor or by the process's end.
class StartLock {
  public:
    /// Nothing when another process holds it. Throws std::system_error when it can't be had at all.
    static std::optional<StartLock> TryTake(const std::string& inRuntimeDirectory);
    StartLock(StartLock&&) = default;
    StartLock& operator=(StartLock&&) = delete;
    ~StartLock();

  private:
    explicit StartLock(wire::FileDescriptor inFile) : mFile(std::move(inFile)) {}
    wire::FileDescriptor mFile;
};

/// A broker that has been started and isn't ready yet. The process is nobody's child: it outlives its starter
/// and leaves no zombie behind.
class BrokerStart {
  public:
    enum class State : std::uint8_t { kStarting, kReady, kEnded };

    /// Runs inProgram. Throws std::system_error when the system gives no process or descriptor.
    explicit BrokerStart(const std::string& inProgram);
    /// kEnded also when the program could not be run, or has found another broker.
    State Poll();

  private:
    wire::FileDescriptor mReady;  // the program writes a byte when it can be connected to
};

}  // namespace orvane::plexa::message5
