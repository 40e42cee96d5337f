// Breaking into a debugger, one file per system. `nuocore/Assertion.h` declares `IsDebuggerAttached`, which
// stands in the same files.
#pragma once

namespace nuocore::debug {

/// Stops this thread in the debugger that is attached to the process; ends the process when there is none.
void BreakIntoDebugger() noexcept;

}  // namespace nuocore::debug
