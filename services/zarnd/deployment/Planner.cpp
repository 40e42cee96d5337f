#include "deployment/Planner.h"

#include "common/Names.h"

namespace orvane::plexa::zarnd {

namespace {

constexpr std::size_t kMaxVersionBytes = 1024;  // kept for each request

std::shared_ptr<const Catalogue> CatalogueOf(const std::string& inProduct,
                                             const CatalogueFolders& inCatalogues) {
    try {
        if (auto catalogue = inCatalogues.Load(inProduct)) return catalogue;
    } catch (const CatalogueError& error) {
        throw Failure(ErrorCode::kCatalogueFault,
                      std::string("the catalogue of the product can't be used: ") + error.what());
    }
    throw Failure(ErrorCode::kUnknownProduct, "there is no catalogue of modules for this product");
}

}  // namespace

Plan MakePlan(const ModuleKey& inKey, const std::string& inVersion, const CatalogueFolders& inCatalogues,
              InstalledDigests& ioInstalled) {
    const auto catalogue = CatalogueOf(inKey.mProduct, inCatalogues);
    if (!catalogue->mModules.contains(inKey.mModule)) {
        throw Failure(ErrorCode::kUnknownModule, "the product's catalogue has no such module");
    }
    const std::vector<const ModuleSpec*> order = InstallOrder(*catalogue, inKey.mModule);
    if (order.size() > kMaxNeedsInAll) {
        throw Failure(ErrorCode::kCatalogueFault, "the module needs more than " +
                                                      std::to_string(kMaxNeedsInAll - 1) +
                                                      " others, which is more than can be installed for it");
    }
    Plan plan;
    for (const ModuleSpec* const module : order) {
        if (inVersion.size() > kMaxVersionBytes || !FitsVersion(*module, inVersion)) {
            throw Failure(ErrorCode::kDoesNotFit,
                          "the module " + module->mId + " is not made for this version of the product");
        }
        const bool isThere = ioInstalled.Of(inKey.mProduct, module->mId) == module->mSha256;
        plan.push_back({*module, isThere ? 0 : module->mSize});
    }
    return plan;
}

}  // namespace orvane::plexa::zarnd
