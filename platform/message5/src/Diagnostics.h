/// What the message library traces, in the category "PlexaMessage5".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "SendFailure.h"
#include "wire/Types.h"

namespace orvane::plexa::message5 {

/// One line, level 5: what becomes of connections. Any thread, with no lock held.
void TraceConnection(std::string_view inText);
/// One line, level 1: what a user should know. Likewise.
void TraceTrouble(std::string_view inText);

/// Lets a number of lines a second through. One thread.
class LineLimit {
  public:
    /// Whether a line may be written now; outHeldBack: how many could not be since the last one.
    bool Allow(wire::TimePoint inNow, std::uint64_t& outHeldBack);
    /// How many have been held back and not been told of. They count as told then.
    std::uint64_t TakeHeldBack() noexcept { return std::exchange(mHeldBack, 0); }

  private:
    static constexpr int kLinesPerSecond = 20;

    std::optional<wire::TimePoint> mSecond;
    int mLines = 0;
    std::uint64_t mHeldBack = 0;
};

/// The lines that tell of failed messages, level 1, one each, limited in rate. One thread at a time.
class FailureTrace {
  public:
    /// What TraceTrouble is to write for a failure; nothing when that isn't wanted, or too many came before.
    std::optional<std::string> Line(const SendFailure& inFailure, wire::TimePoint inNow);
    /// The same for those that no line has told of, when no more are to come.
    std::optional<std::string> LastLine();

  private:
    LineLimit mLimit;
};

/// The lines that tell how connections end, level 5, limited in rate; what keeps a client from joining is
/// told once. One thread, with no lock held.
class ConnectionTrace {
  public:
    /// inJoined: the client had joined on that connection.
    void Lost(std::string inReason, bool inJoined, wire::TimePoint inNow);

  private:
    LineLimit mLimit;
    std::string mTold;
};

/// The line for a failure, without its end: texts that others chose are escaped and cut.
std::string FailureLine(const SendFailure& inFailure, std::uint64_t inHeldBack);

}  // namespace orvane::plexa::message5
