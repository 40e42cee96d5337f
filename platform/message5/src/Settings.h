/// The bounds of this process, as its environment sets them.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "wire/Limits.h"

namespace orvane::plexa::message5 {

/// The value of an environment variable; nothing when it isn't set.
using EnvironmentLookup = std::function<std::optional<std::string>(const char* inName)>;

struct Settings {
    wire::Limits limits;
    /// A sentence for each value that can't be used; its default holds.
    std::string complaints;
};

/// PLEXA_LIMIT_LOG, PLEXA_LIMIT_LOG_RESERVE and PLEXA_LIMIT_ARREARS: a number of bytes with an optional K, M
/// or G, from 64K to 1G. PLEXA_LIMIT_STALL and PLEXA_LIMIT_LINGER: a number with the unit ms or s, from 100ms
/// to 3600s. Empty values count as not set.
Settings ReadSettings(const EnvironmentLookup& inLookup);
/// The same from this process's environment, which nobody may change meanwhile.
Settings ReadSettings();

}  // namespace orvane::plexa::message5
