/// Which processes are those of an application.
#pragma once

#include <span>
#include <vector>

#include "Application.h"

namespace orvane::plexa::control {

/// Of each application the process of this user that has run it longest; 0 where none does. Looks at every
/// process once; throws `std::system_error` when it can't at this moment. inKnown are the entries that may
/// have started a process too.
///
/// A process whose environment says that it was started by one of the entries, and not in a terminal, is that
/// entry's application's, whatever it executes by now. Another one is an application's when
/// - its executable is the application's program, be it a file that has been replaced or removed since, and
///   it has the words that the command always gives, options aside;
/// - or its executable is the interpreter of the application's program, which is a script and the first word
///   that is no option;
/// and of several applications with that program, the one whose command says most of what the process was
/// given, options too.
/// Any thread.
std::vector<int> FindProcesses(std::span<const Application> inApplications,
                               std::span<const KnownEntry> inKnown = {});

/// The same of one.
int FindProcess(const Application& inApplication, std::span<const KnownEntry> inKnown = {});

}  // namespace orvane::plexa::control
