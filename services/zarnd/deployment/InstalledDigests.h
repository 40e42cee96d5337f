/// Which archives are installed.
#pragma once

#include <optional>
#include <string>

#include "common/FileIdentity.h"
#include "install/ModuleStore.h"

namespace orvane::plexa::zarnd {

/// Asks the store, and remembers the answer: a manifest that is as it was isn't read again, for it is as long
/// as the module has files.
class InstalledDigests {
  public:
    explicit InstalledDigests(const ModuleStore& inStore) : mStore(inStore) {}

    /// Of the archive that a module was installed from; nothing when it isn't installed.
    [[nodiscard]] std::optional<std::string> Of(const std::string& inProduct, const std::string& inModule);

  private:
    const ModuleStore& mStore;
    FileCache<std::string> mKnown;
};

}  // namespace orvane::plexa::zarnd
