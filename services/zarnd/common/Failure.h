/// How work of this service fails.
#pragma once

#include <stdexcept>
#include <stop_token>
#include <string>

namespace orvane::plexa::zarnd {

/// What error events carry as "error-code", and answers too. docs/modules.md has a sentence for each; a
/// number once given keeps its meaning.
enum class ErrorCode : int {
    kConflictingProcesses = 131,  ///< the metadata are the processes' names
    kUnknownProduct = 201,
    kCatalogueFault = 202,
    kUnknownModule = 203,
    kDoesNotFit = 204,
    kTooManyRequests = 205,
    kNotInstalled = 206,
    kNeededByOthers = 207,
    kBusy = 208,
    kBadRequest = 209,
    kNothingToCancel = 210,
    kBadNotification = 211,
    kUnreachable = 301,
    kRefused = 302,
    kStalled = 303,
    kOtherSize = 304,
    kOtherDigest = 305,
    kBadRedirect = 306,
    kArchiveBroken = 321,
    kArchiveUnsafe = 322,
    kArchiveTooLarge = 323,
    kDiskFull = 341,
    kCannotWrite = 342,
    kServiceEnding = 361,
    kInternal = 362,
};

/// Work that could not be done: the code, and a sentence for people.
class Failure : public std::runtime_error {
  public:
    Failure(ErrorCode inCode, const std::string& inSentence)
        : std::runtime_error(inSentence), mCode(inCode) {}

    [[nodiscard]] ErrorCode Code() const noexcept { return mCode; }

  private:
    ErrorCode mCode;
};

/// Work that was stopped because nobody wants it any more.
struct Cancelled {};

/// Throws `Cancelled` when a stop has been asked for.
inline void CheckStop(const std::stop_token& inStop) {
    if (inStop.stop_requested()) throw Cancelled();
}

/// A failed system call as a `Failure`: `kDiskFull` when there is no room, else `kCannotWrite`. `inWhat` says
/// what could not be done, such as "cannot write a/b".
Failure SystemFailure(const std::string& inWhat, int inError);

}  // namespace orvane::plexa::zarnd
