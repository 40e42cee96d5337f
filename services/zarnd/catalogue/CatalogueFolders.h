/// Where catalogues stand.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "catalogue/Catalogue.h"
#include "common/FileIdentity.h"

namespace orvane::plexa::zarnd {

/// The folders with a file "PRODUCT.json" for each product; of several files for one product that in the
/// first folder counts. A changed catalogue counts from the next request on; one that is as it was isn't read
/// again. Any thread.
class CatalogueFolders {
  public:
    explicit CatalogueFolders(std::vector<std::filesystem::path> inFolders)
        : mFolders(std::move(inFolders)) {}

    /// Null when the product has none. Throws `CatalogueError` that begins with the file's path.
    [[nodiscard]] std::shared_ptr<const Catalogue> Load(const std::string& inProduct) const;
    /// The codes of all products that have one, in order.
    [[nodiscard]] std::vector<std::string> Products() const;

  private:
    /// A catalogue, or what is wrong with it.
    struct Loaded {
        std::shared_ptr<const Catalogue> mCatalogue;
        std::string mFault;
    };
    [[nodiscard]] Loaded Read(int inFile, const std::string& inPath, const std::string& inProduct) const;

    std::vector<std::filesystem::path> mFolders;
    mutable FileCache<Loaded> mKnown;
};

}  // namespace orvane::plexa::zarnd
