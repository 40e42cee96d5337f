/// The log: records for people who look into what a process did. Any thread.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nuocore/Variant.h"
#include "nuocore/export.h"

namespace nuocore::log {

/// One entry of the log.
struct LogRecord {
    std::string mCategory;
    std::string mFile;      ///< source file as the module names itself
    std::string mFunction;  ///< qualified name
    std::string mMessage;
    /// Named values in the order in which they are to be shown.
    std::vector<std::pair<std::string, serialization::VariantValue>> mFields;
};

/// Whether anybody takes records. On unless NUOCORE_LOG is "off" or `SetLoggingEnabled(false)` was called.
[[nodiscard]] NUOCORE_API bool IsLoggingEnabled() noexcept;
NUOCORE_API void SetLoggingEnabled(bool inEnabled) noexcept;

/// Writes a record. Never throws: a record that can't be written is dropped. Does nothing while logging is
/// off.
NUOCORE_API void Log(const LogRecord& inRecord) noexcept;

/// Takes records in place of the default sink, which writes one line each to the standard error stream, or
/// appends it to the file named by NUOCORE_LOG: "TIME CATEGORY: MESSAGE FIELDS [FILE, FUNCTION]", fields as
/// one JSON object, control characters escaped. Called on the logging thread, one call at a time, under a
/// lock shared with the sink of the trace: it must not wait for other threads. What it logs itself is
/// dropped, as is what it throws.
using LogSink = std::function<void(const LogRecord&)>;

/// Installs a sink and returns the one before it, which runs no more then unless this is called by a sink; an
/// empty one stands for the default.
NUOCORE_API LogSink SetLogSink(LogSink inSink);

}  // namespace nuocore::log
