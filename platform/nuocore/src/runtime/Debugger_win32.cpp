#include "Debugger.h"

#include <windows.h>

#include "nuocore/Assertion.h"

namespace nuocore::debug {

bool IsDebuggerAttached() noexcept { return ::IsDebuggerPresent() != FALSE; }

void BreakIntoDebugger() noexcept { ::DebugBreak(); }

}  // namespace nuocore::debug
