/// Traces how long something takes.
#pragma once

#include <cstdint>
#include <string>

#include "nuocore/Trace.h"

namespace nuoplexasupport {

/// Where a timer stands in the code: its category and level, and whether they are enabled, which its two
/// lines remember each for itself. A static at the place.
class TraceTimerPlace {
  public:
    constexpr TraceTimerPlace(const char* inCategory, std::int32_t inLevel) noexcept
        : mCategory(inCategory), mLevel(inLevel), mBegin(inCategory, inLevel), mEnd(inCategory, inLevel) {}

  private:
    friend class TraceTimer;

    const char* mCategory;
    std::int32_t mLevel;
    nuocore::debug::TraceSwitch mBegin;
    nuocore::debug::TraceSwitch mEnd;
};

/// Writes a line when it begins, unless it is quiet, and one with the milliseconds between when it ends. A
/// timer whose category isn't enabled when it begins takes no time stamp and writes nothing.
class TraceTimer {
  public:
    TraceTimer(TraceTimerPlace& ioPlace, std::string inName, bool inQuiet);
    TraceTimer(const TraceTimer&) = delete;
    TraceTimer& operator=(const TraceTimer&) = delete;
    ~TraceTimer();

  private:
    void Trace(nuocore::debug::TraceSwitch& ioSwitch, const std::string& inText) const;

    TraceTimerPlace& mPlace;
    std::string mCategory;
    std::string mName;
    std::int32_t mLevel;
    std::uint64_t mStart = 0;
    bool mEnabled;
    bool mQuiet;
};

}  // namespace nuoplexasupport
