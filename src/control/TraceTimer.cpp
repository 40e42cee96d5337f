#include "control/TraceTimer.h"

#include <locale>
#include <sstream>
#include <utility>

#include "nuocore/Time.h"

namespace nuoplexasupport {

namespace {

constexpr double kNanosInMillisecond = 1e6;

}  // namespace

TraceTimer::TraceTimer(TraceTimerPlace& ioPlace, std::string inName, bool inQuiet)
    : mPlace(ioPlace),
      mCategory(ioPlace.mCategory),
      mName(std::move(inName)),
      mLevel(ioPlace.mLevel),
      mEnabled(nuocore::debug::TraceEnabled(mCategory, mLevel, true)),
      mQuiet(inQuiet) {
    if (!mEnabled) return;
    if (!mQuiet) Trace(mPlace.mBegin, "Begin - " + mName + "\r\n");
    // What writing the line took is none of what is timed.
    mStart = nuocore::time::GetCurrentTimeStamp();
}

TraceTimer::~TraceTimer() {
    if (!mEnabled) return;
    try {
        const double elapsed = static_cast<double>(nuocore::time::ConvertToNanos(
                                   nuocore::time::GetCurrentTimeStamp() - mStart)) /
                               kNanosInMillisecond;
        std::ostringstream text;
        text.imbue(std::locale::classic());
        text << (mQuiet ? "" : "End - ") << mName << " [" << elapsed << " milliseconds elapsed]\r\n";
        Trace(mPlace.mEnd, text.str());
    } catch (...) {  // NOLINT(bugprone-empty-catch): what was timed has been done
    }
}

void TraceTimer::Trace(nuocore::debug::TraceSwitch& ioSwitch, const std::string& inText) const {
    if (ioSwitch.IsEnabled()) nuocore::debug::Trace(mLevel, mCategory, inText);
}

}  // namespace nuoplexasupport
