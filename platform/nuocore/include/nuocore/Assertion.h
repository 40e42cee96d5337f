/// Non-fatal assertions: a record of a programming error goes to a handler, and execution continues.
/// Assertions are on in every build type. Any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "nuocore/export.h"

namespace nuocore::debug {

/// What went wrong, and where. The pointers are to texts that live as long as the program, or at least the
/// call.
struct AssertionRecord {
    const char* mFile;        ///< source file as the module names itself, not a path of the build
    std::uint32_t mLine;      ///< 0 where the module gives none
    const char* mFunction;    ///< qualified name
    const char* mExpression;  ///< the expression that did not hold
    std::string mMessage;     ///< may be empty
};

/// Takes a record; returns whether the process should break into an attached debugger. Called on the
/// asserting thread, possibly on several threads at once, possibly with locks held by the caller: it must not
/// wait for other threads. What it throws is discarded. An assertion that it raises itself goes to the
/// default handler.
using AssertionHandler = std::function<bool(const AssertionRecord&)>;

/// What happens when a handler asks to break.
enum class BreakPolicy {
    kNever,            ///< nothing
    kDebuggerAttached  ///< break when a debugger is attached to the process; the default
};

/// Installs a handler and returns the one before it. An empty handler stands for the default one, which logs
/// the record and asks to break; of a flood (more than 100 at once, or 20 in a second) it leaves records out,
/// and the next one's field "leftOutBefore" says how many. A handler being replaced may still be running when
/// this returns.
NUOCORE_API AssertionHandler SetAssertionHandler(AssertionHandler inHandler);

NUOCORE_API void SetBreakPolicy(BreakPolicy inPolicy) noexcept;
[[nodiscard]] NUOCORE_API BreakPolicy GetBreakPolicy() noexcept;

/// Hands the record to the handler and, when that asks for it and the policy allows it, breaks into the
/// debugger. Never throws; returns to the caller in every other case.
NUOCORE_API void RaiseAssertion(const AssertionRecord& inRecord) noexcept;

/// Whether a debugger is attached to this process now.
[[nodiscard]] NUOCORE_API bool IsDebuggerAttached() noexcept;

}  // namespace nuocore::debug
