/// Which processes are those of an application.
#pragma once

#include "Application.h"

namespace orvane::plexa::control {

/// The process of this user that has run an application longest; 0 when none does. Looks at every process
/// each time. A process is an application's when
/// - its executable is the application's program, be it a file that has been replaced or removed since; where
/// the
///   command names a script behind an interpreter, the process must have that script among its words too;
/// - or its words begin with an interpreter and the application's program, which is a script;
/// - or its environment says that it was started by the application's entry (a script that has replaced
/// itself). Any thread.
int FindProcess(const Application& inApplication);

}  // namespace orvane::plexa::control
