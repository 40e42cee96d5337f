#include "nuocore/Log.h"

#include <atomic>

#include "Environment.h"
#include "LineOutput.h"
#include "PlainText.h"
#include "SinkSlot.h"
#include "nuocore/JSON.h"
#include "nuocore/Time.h"

namespace nuocore::log {

namespace {

constexpr const char* kVariable = "NUOCORE_LOG";
constexpr const char* kOff = "off";

enum class Enabled { kUnknown, kNo, kYes };
std::atomic<Enabled> sEnabled{Enabled::kUnknown};

// Never destroyed: records are written until the very end of the process.
debug::SinkSlot<const LogRecord&>& Slot() {
    static auto* const sSlot = new debug::SinkSlot<const LogRecord&>;
    return *sSlot;
}

std::string JSONText(const serialization::VariantValue& inValue) {
    try {
        return std::string(std::string_view(serialization::GetJSONUTF8String(inValue, false)));
    } catch (const serialization::JSONError& /*error*/) {
        return "\"(not expressible)\"";  // one odd field must not cost the record
    }
}

std::string FormatFields(const LogRecord& inRecord) {
    std::string text = "{";
    for (const auto& [name, value] : inRecord.mFields) {
        if (text.size() > 1) {
            text += ',';
        }
        text += JSONText(serialization::VariantValue(UTF8String(name)));
        text += ':';
        text += JSONText(value);
    }
    return text + "}";
}

// TIME CATEGORY: MESSAGE {FIELDS} [FILE, FUNCTION]
std::string FormatLine(const LogRecord& inRecord) {
    std::string text = inRecord.mCategory + ": " + inRecord.mMessage;
    if (!inRecord.mFields.empty()) {
        text += " " + FormatFields(inRecord);
    }
    text += " [" + inRecord.mFile + ", " + inRecord.mFunction + "]";
    std::string line = time::FormatCurrentTime() + " ";
    debug::AppendEscaped(text, line);
    return line + "\n";
}

void WriteToDefault(const LogRecord& inRecord) {
    static auto* const sOutput = [] {
        const std::string path = environment::GetVariable(kVariable);
        return new debug::LineOutput(path == kOff ? std::string() : path);
    }();
    sOutput->Write(FormatLine(inRecord));
}

}  // namespace

bool IsLoggingEnabled() noexcept {
    Enabled enabled = sEnabled.load(std::memory_order_relaxed);
    if (enabled == Enabled::kUnknown) {
        try {
            const Enabled wanted = environment::GetVariable(kVariable) == kOff ? Enabled::kNo : Enabled::kYes;
            // Whoever was faster, the API in particular, counts.
            if (sEnabled.compare_exchange_strong(enabled, wanted, std::memory_order_relaxed)) {
                enabled = wanted;
            }
        } catch (const std::bad_alloc& /*error*/) {
            return false;
        }
    }
    return enabled == Enabled::kYes;
}

void SetLoggingEnabled(bool inEnabled) noexcept {
    sEnabled.store(inEnabled ? Enabled::kYes : Enabled::kNo, std::memory_order_relaxed);
}

void Log(const LogRecord& inRecord) noexcept {
    if (IsLoggingEnabled()) {
        Slot().Call(WriteToDefault, inRecord);
    }
}

LogSink SetLogSink(LogSink inSink) { return Slot().Exchange(std::move(inSink)); }

}  // namespace nuocore::log
