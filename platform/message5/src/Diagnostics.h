/// What the message library traces, in the category "PlexaMessage5".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "SendFailure.h"
#include "wire/Types.h"

namespace orvane::plexa::message5 {

/// One line, level 5: connections made and lost. Any thread, with no lock held.
void TraceConnection(std::string_view inText);

/// Lets a number of lines a second through. One thread.
class LineLimit {
  public:
    /// Whether a line may be written now; outHeldBack: how many could not be since the last one.
    bool Allow(wire::TimePoint inNow, std::uint64_t& outHeldBack);

  private:
    static constexpr int kLinesPerSecond = 20;

    std::optional<wire::TimePoint> mSecond;
    int mLines = 0;
    std::uint64_t mHeldBack = 0;
};

/// Traces failed messages, level 1, one line each, limited in rate. One thread at a time, with no lock held.
class FailureTrace {
  public:
    void Trace(const SendFailure& inFailure, wire::TimePoint inNow);

  private:
    LineLimit mLimit;
};

/// The line for a failure, without its end: texts that others chose are escaped and cut.
std::string FailureLine(const SendFailure& inFailure, std::uint64_t inHeldBack);

}  // namespace orvane::plexa::message5
