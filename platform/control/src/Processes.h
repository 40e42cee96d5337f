/// Which processes are those of an application.
#pragma once

#include "Application.h"

namespace orvane::plexa::control {

/// The process of this user that has run an application longest; 0 when none does. Looks at every process
/// each time. A process is an application's when
/// - its executable is the application's program, be it a file that has been replaced or removed since, and
/// it has
///   the words that the command always gives;
/// - or its executable is the interpreter of the application's program, which is a script and the word behind
/// it;
/// - or its environment says that it was started by the application's entry (a script that has replaced
/// itself). Any thread.
int FindProcess(const Application& inApplication);

}  // namespace orvane::plexa::control
