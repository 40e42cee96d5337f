/// The program: its command line and its exit code.
#pragma once

namespace orvane::plexa::tool {

/// Runs the verb that the command line names and returns the exit code. To be called once, on the main
/// thread, before there are others.
int Run(int inCount, const char* const* inArguments);

}  // namespace orvane::plexa::tool
