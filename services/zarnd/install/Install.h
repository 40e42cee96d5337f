/// Installing one module.
#pragma once

#include <functional>
#include <stop_token>
#include <string>

#include "catalogue/Catalogue.h"
#include "fetch/Fetch.h"
#include "install/ModuleStore.h"

namespace orvane::plexa::zarnd {

/// The steps of an installation, told as each begins.
enum class InstallStep {
    kFetching,    ///< archive on its way, being unpacked meanwhile
    kCompleting,  ///< digest right, everything unpacked; writing it to the disk
    kSwitching,   ///< all of it is on the disk; it counts next
    kInstalled,   ///< it counts
};

struct InstallWatch {
    std::function<void(InstallStep)> mOnStep;
    std::function<void(double)>
        mOnShare;  ///< 0 to 1, of bytes that came and bytes unpacked; from several threads
};

/// Names of running programs, of those that are asked about.
using ConflictFinder = std::function<std::vector<std::string>(const std::vector<std::string>&)>;

/// Brings a module to the store. Nothing has changed unless it returns. Throws `Failure`, or `Cancelled` when
/// `inStop` is asked for before the switch.
void Install(const std::string& inProduct, const ModuleSpec& inModule, const ModuleStore& inStore,
             const FetchSettings& inSettings, const ConflictFinder& inConflicts, const InstallWatch& inWatch,
             const std::stop_token& inStop);

/// Throws `Failure` (`kConflictingProcesses`) whose text is the running programs' names, parted by commas.
void CheckConflicts(const std::vector<std::string>& inNames, const ConflictFinder& inConflicts);

}  // namespace orvane::plexa::zarnd
