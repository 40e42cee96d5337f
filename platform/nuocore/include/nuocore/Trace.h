/// Tracing by category and level, switchable while the process runs. Any thread.
///
/// What is enabled is said by rules, "CATEGORY=LEVEL" separated by commas or semicolons, from the environment
/// variable NUOCORE_TRACE at first use and from `SetTraceRules` later. A rule enables its category at its
/// level and all lower ones; "*" stands for every category without a rule of its own, "NAME*" for those whose
/// name begins so (the longest match counts); the level "off" disables. A rule that can't be read is reported
/// in the log and left out. Example: NUOCORE_TRACE="nuoplexasupport::*=5,PlexaClientImpl=4,*=0".
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string_view>

#include "nuocore/export.h"

namespace nuocore::debug {

/// Counts the changes of the rules. A caller that caches `TraceEnabled` asks again only when this has
/// changed. Never `kNoTraceChangeCount`.
[[nodiscard]] NUOCORE_API std::uint32_t TraceChangeCount() noexcept;

/// A value that `TraceChangeCount` never has: what a cache starts with.
inline constexpr std::uint32_t kNoTraceChangeCount = 0xFFFFFFFFU;

/// Whether lines of a category at a level are wanted. With `inUsePatterns` false only a rule that names the
/// category itself counts, no "*" rule.
[[nodiscard]] NUOCORE_API bool TraceEnabled(std::string_view inCategory, int inLevel,
                                            bool inUsePatterns = true) noexcept;

/// Writes one line; the text carries its own line end. Doesn't ask whether it is enabled. Never throws: a
/// line that can't be written is dropped.
NUOCORE_API void Trace(int inLevel, std::string_view inCategory, std::string_view inText) noexcept;

/// Replaces all rules; the change count moves. Rules that can't be read are reported in the log and left out;
/// the result says whether all could be read.
NUOCORE_API bool SetTraceRules(std::string_view inRules);

/// Takes lines in place of the default sink, which writes to the standard error stream, or to the file named
/// by NUOCORE_TRACE_FILE (appending), as "TIME CATEGORY LEVEL: TEXT" with every control character but the
/// line end escaped. Called on the tracing thread, one call at a time, under a lock shared with the sink of
/// the log: it must not wait for other threads. What it traces itself is dropped, as is what it throws.
using TraceSink = std::function<void(int inLevel, std::string_view inCategory, std::string_view inText)>;

/// Installs a sink and returns the one before it, which runs no more then unless this is called by a sink; an
/// empty one stands for the default.
NUOCORE_API TraceSink SetTraceSink(TraceSink inSink);

/// The cached enabled state of one tracing place: asks the rules again only when they have changed. Constant
/// initialisation, so a function-local static costs nothing. Any thread.
class TraceSwitch {
  public:
    constexpr TraceSwitch(const char* inCategory, int inLevel) noexcept
        : mCategory(inCategory), mLevel(inLevel) {}
    TraceSwitch(const TraceSwitch&) = delete;
    TraceSwitch& operator=(const TraceSwitch&) = delete;

    [[nodiscard]] bool IsEnabled() noexcept {
        const std::uint32_t count = TraceChangeCount();
        std::uint64_t seen = mSeen.load(std::memory_order_acquire);
        if (CountOf(seen) == count) {
            return (seen & 1U) != 0;
        }
        const bool enabled = TraceEnabled(mCategory, mLevel, true);
        // Fails when another thread has stored an answer meanwhile, perhaps a newer one.
        mSeen.compare_exchange_strong(seen, Pack(count, enabled), std::memory_order_acq_rel);
        return enabled;
    }
    void Trace(std::string_view inText) const noexcept { debug::Trace(mLevel, mCategory, inText); }

  private:
    static constexpr std::uint64_t Pack(std::uint32_t inCount, bool inEnabled) noexcept {
        return std::uint64_t{inCount} << 1U | (inEnabled ? 1U : 0U);
    }
    static constexpr std::uint32_t CountOf(std::uint64_t inSeen) noexcept {
        return static_cast<std::uint32_t>(inSeen >> 1U);
    }

    const char* mCategory;
    int mLevel;
    // Count and answer in one word, so that an answer can't be taken for that of another count.
    std::atomic<std::uint64_t> mSeen{Pack(kNoTraceChangeCount, false)};
};

}  // namespace nuocore::debug
