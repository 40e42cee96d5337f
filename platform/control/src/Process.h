/// What the system says of one process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

#include "CommandLine.h"
#include "FileState.h"

namespace orvane::plexa::control {

/// Looks when it is first asked.
template <typename Value>
class Lazy {
  public:
    template <typename Look>
    const Value& Get(const Look& inLook) {
        if (!mValue) mValue = inLook();
        return *mValue;
    }

  private:
    std::optional<Value> mValue;
};

/// What inRead reads, or nothing when the file is an odd one, so that the others can still be looked at.
/// Throws `std::system_error` when it's this process that lacks what reading any file takes.
template <typename Read>
std::string ReadUnlessOdd(const Read& inRead) {
    try {
        return inRead();
    } catch (const std::system_error& error) {
        if (IsShortage(error.code().value())) throw;
        return {};
    }
}

/// Files of one process, each read once at most; empty when it has ended, or can't be looked at. Throws
/// `std::system_error` when nothing can be at this moment. One thread at a time.
class Process {
  public:
    explicit Process(int inId) : mId(inId), mFolder("/proc/" + std::to_string(inId)) {}

    [[nodiscard]] bool IsOf(uid_t inUser) const;
    [[nodiscard]] int Id() const { return mId; }
    const std::string& Executable();
    const Words& CommandLine();
    /// The entry file that it was started by.
    const std::string& Entry();
    /// In ticks since the system's start.
    std::uint64_t Start();

  private:
    [[nodiscard]] std::uint64_t ReadStart() const;
    [[nodiscard]] std::string Read(const char* inName) const;

    int mId;
    std::string mFolder;
    Lazy<std::string> mExecutable;
    Lazy<Words> mCommandLine;
    Lazy<std::string> mEntry;
    Lazy<std::uint64_t> mStart;
};

}  // namespace orvane::plexa::control
