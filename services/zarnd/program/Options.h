/// The command line as a value. No I/O but the streams handed in.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "program/ExitCodes.h"

namespace orvane::plexa::zarnd {

struct Options {
    std::vector<std::filesystem::path> mCatalogues;  ///< folders, the first one counts most
    std::filesystem::path mData;                     ///< folder of the lock, the log and the modules
    std::filesystem::path mAuthorities;              ///< file of certificates to trust; empty: the system's
    std::chrono::seconds mIdleExit{0};
    bool mIsOnDemand = false;
};

/// Either options to run with, or the code to exit with at once.
struct ParsedOptions {
    std::optional<Options> mOptions;
    int mExitCode = kExitSuccess;
};

/// A variable of the environment; empty when it isn't set.
using Environment = std::function<std::string(const char*)>;

/// Reads the command line, program name included, and what it leaves open from the environment.
ParsedOptions ParseOptions(std::span<const char* const> inArguments, const Environment& inEnvironment,
                           std::ostream& outOutput, std::ostream& outErrors);

}  // namespace orvane::plexa::zarnd
