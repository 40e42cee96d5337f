/// Which processes are those of an application.
#pragma once

#include <span>
#include <vector>

#include "Application.h"

namespace orvane::plexa::control {

/// Of each application the process of this user that has run it longest; 0 where none does. Looks at every
/// process once; throws `std::system_error` when it can't at this moment. A process is an application's when
/// - its executable is the application's program, be it a file that has been replaced or removed since, and
///   it has the words that the command always gives;
/// - or its executable is the interpreter of the application's program, which is a script and the word behind
///   it;
/// - or its environment says that it was started by the application's entry (a script that has replaced
///   itself).
/// Any thread.
std::vector<int> FindProcesses(std::span<const Application> inApplications);

/// The same of one.
int FindProcess(const Application& inApplication);

}  // namespace orvane::plexa::control
