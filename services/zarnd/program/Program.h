/// The program but for its command line.
#pragma once

#include "program/Options.h"

namespace orvane::plexa::zarnd {

/// Serves; returns the program's exit code.
int RunProgram(const Options& inOptions);

}  // namespace orvane::plexa::zarnd
