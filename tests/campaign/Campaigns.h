/// The campaigns: each drives real processes through something that goes wrong, checks that the promise held,
/// prints what it saw, and returns the exit code: 0 when all went as it should.
#pragma once

#include <span>

#include "support/Arguments.h"

namespace campaign {

int RunDeaths(Arguments ioArguments);
int RunKills(Arguments ioArguments);
int RunStopped(Arguments ioArguments);
int RunReturn(Arguments ioArguments);

}  // namespace campaign
