#include "nuocore/Trace.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Environment.h"
#include "LineOutput.h"
#include "PlainText.h"
#include "SinkSlot.h"
#include "TraceRules.h"
#include "nuocore/Log.h"
#include "nuocore/Strings.h"
#include "nuocore/Time.h"

namespace nuocore::debug {

namespace {

std::atomic<std::uint32_t> sChangeCount{0};

struct CurrentRules {
    std::mutex mLock;
    std::shared_ptr<const TraceRules> mRules;  // null until the environment has been read
};

// Never destroyed, as is the slot: lines are traced until the very end of the process.
CurrentRules& Current() {
    static auto* const sCurrent = new CurrentRules;
    return *sCurrent;
}

SinkSlot<int, std::string_view, std::string_view>& Slot() {
    static auto* const sSlot = new SinkSlot<int, std::string_view, std::string_view>;
    return *sSlot;
}

void ReportUnreadable(const std::vector<std::string>& inRules) {
    for (const std::string& rule : inRules) {
        log::Log({"Trace",
                  "Trace",
                  "nuocore::debug::SetTraceRules",
                  "Can't read a trace rule; write CATEGORY=LEVEL, LEVEL a number or \"off\"",
                  {{"rule", serialization::VariantValue(UTF8String(rule))}}});
    }
}

std::shared_ptr<const TraceRules> GetRules() {
    std::vector<std::string> unreadable;
    std::shared_ptr<const TraceRules> rules;
    {
        CurrentRules& current = Current();
        const std::lock_guard lock(current.mLock);
        if (!current.mRules) {
            current.mRules = std::make_shared<const TraceRules>(
                TraceRules::Parse(environment::GetVariable("NUOCORE_TRACE"), unreadable));
        }
        rules = current.mRules;
    }
    // Outside the lock: a sink of the log may trace.
    ReportUnreadable(unreadable);
    return rules;
}

// TIME CATEGORY LEVEL: TEXT
void WriteToDefault(int inLevel, std::string_view inCategory, std::string_view inText) {
    static auto* const sOutput = new LineOutput(environment::GetVariable("NUOCORE_TRACE_FILE"));
    const std::string_view lineEnd = inText.substr(inText.size() - LineEndLength(inText));
    inText.remove_suffix(lineEnd.size());
    std::string line = time::FormatCurrentTime() + " ";
    AppendEscaped(inCategory, line);
    line += " " + std::to_string(inLevel) + ": ";
    AppendEscaped(inText, line);
    line += lineEnd;
    sOutput->Write(line);
}

}  // namespace

std::uint32_t TraceChangeCount() noexcept { return sChangeCount.load(std::memory_order_acquire); }

bool TraceEnabled(std::string_view inCategory, int inLevel, bool inUsePatterns) noexcept {
    try {
        return GetRules()->IsEnabled(inCategory, inLevel, inUsePatterns);
    } catch (...) {  // no memory for the rules: nothing is enabled
        return false;
    }
}

void Trace(int inLevel, std::string_view inCategory, std::string_view inText) noexcept {
    Slot().Call(WriteToDefault, inLevel, inCategory, inText);
}

bool SetTraceRules(std::string_view inRules) {
    std::vector<std::string> unreadable;
    auto rules = std::make_shared<const TraceRules>(TraceRules::Parse(inRules, unreadable));
    {
        CurrentRules& current = Current();
        const std::lock_guard lock(current.mLock);
        current.mRules.swap(rules);
        // After the rules: who sees the new count asks the new rules.
        const std::uint32_t next = sChangeCount.load(std::memory_order_relaxed) + 1;
        sChangeCount.store(next == kNoTraceChangeCount ? 0 : next, std::memory_order_release);
    }
    ReportUnreadable(unreadable);
    return unreadable.empty();
}

TraceSink SetTraceSink(TraceSink inSink) { return Slot().Exchange(std::move(inSink)); }

}  // namespace nuocore::debug
