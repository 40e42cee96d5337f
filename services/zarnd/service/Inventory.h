/// What is installed, what could be, and taking it away again.
#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "catalogue/CatalogueFolders.h"
#include "install/Install.h"
#include "install/ModuleStore.h"
#include "service/Answer.h"

namespace orvane::plexa::zarnd {

/// Any thread; each operation takes as long as the disk does, and throws `Failure`.
class Inventory {
  public:
    Inventory(const CatalogueFolders& inCatalogues, const ModuleStore& inStore, ConflictFinder inConflicts)
        : mCatalogues(inCatalogues), mStore(inStore), mConflicts(std::move(inConflicts)) {}

    /// All modules of a product, or of all products with an empty code. A catalogue that can't be read offers
    /// nothing.
    [[nodiscard]] std::vector<ListedModule> List(const std::string& inProduct) const;
    /// Compares what is installed with what was: one module, or all of a product, or all. Throws `Cancelled`
    /// when it is to stop.
    [[nodiscard]] std::vector<CheckedModule> Check(const std::string& inProduct, const std::string& inModule,
                                                   const std::stop_token& inStop) const;
    /// Refused while another installed module needs it, or a conflicting program runs.
    void Remove(const std::string& inProduct, const std::string& inModule) const;

  private:
    [[nodiscard]] std::optional<CheckedModule> CheckOne(Manifest inManifest,
                                                        const std::stop_token& inStop) const;

    const CatalogueFolders& mCatalogues;
    const ModuleStore& mStore;
    ConflictFinder mConflicts;
};

}  // namespace orvane::plexa::zarnd
