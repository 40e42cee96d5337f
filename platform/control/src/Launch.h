/// Starting applications.
#pragma once

#include "Application.h"

namespace orvane::plexa::control {

/// Starts a new process of an application, without a shell. It is nobody's child, has a session of its own,
/// no input and no output, and no signal is blocked or ignored in it. False when it can't be started. Any
/// thread.
bool Launch(const Application& inApplication, const Words& inArguments);

}  // namespace orvane::plexa::control
