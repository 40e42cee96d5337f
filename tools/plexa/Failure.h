/// How the tool ends.
#pragma once

#include <stdexcept>
#include <string>

namespace orvane::plexa::tool {

/// Exit codes of the program.
enum ExitCode : int {
    kExitSuccess = 0,
    kExitFailure = 1,   ///< it could not be done; a payload could not be decoded
    kExitUsage = 2,     ///< the command line is wrong
    kExitTimeout = 3,   ///< nothing, or not enough, came in time
    kExitNoBroker = 4,  ///< no broker, or no desktop service, could be reached
    // Of an installation:
    kExitConflict = 5,      ///< programs run that must not
    kExitCancelled = 6,     ///< taken back
    kExitInstallError = 7,  ///< the errors that have a result code of their own
};

/// Ends a verb with an exit code and a text for stderr: what could not be done, why, and what to do next.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode inCode, const std::string& inText) : std::runtime_error(inText), mCode(inCode) {}
    [[nodiscard]] ExitCode Code() const noexcept { return mCode; }

  private:
    ExitCode mCode;
};

}  // namespace orvane::plexa::tool
