/// Where catalogues stand.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "catalogue/Catalogue.h"

namespace orvane::plexa::zarnd {

/// The folders with a file "PRODUCT.json" for each product; of several files for one product that in the
/// first folder counts. Read anew each time, so that a changed catalogue counts from the next request on.
class CatalogueFolders {
  public:
    explicit CatalogueFolders(std::vector<std::filesystem::path> inFolders)
        : mFolders(std::move(inFolders)) {}

    /// Nothing when the product has none. Throws `CatalogueError` that begins with the file's path.
    [[nodiscard]] std::optional<Catalogue> Load(const std::string& inProduct) const;
    /// The codes of all products that have one, in order.
    [[nodiscard]] std::vector<std::string> Products() const;

  private:
    std::vector<std::filesystem::path> mFolders;
};

}  // namespace orvane::plexa::zarnd
