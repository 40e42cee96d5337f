#include "service/Inventory.h"

#include <algorithm>
#include <map>

#include "common/Names.h"
#include "service/Notes.h"

namespace orvane::plexa::zarnd {

namespace {

constexpr std::size_t kMostDamages = 20;  // told of one module

}  // namespace

std::vector<ListedModule> Inventory::List(const std::string& inProduct) const {
    std::map<ModuleKey, ListedModule> modules;
    for (const Manifest& manifest : mStore.List(inProduct)) {
        modules[{manifest.mProduct, manifest.mModule}] = {
            manifest.mProduct,
            manifest.mModule,
            manifest.mVersion,
            {},
            "installed",
            manifest.Size(),
            mStore.Files(manifest.mProduct, manifest.mModule).string()};
    }
    const std::vector<std::string> products =
        inProduct.empty() ? mCatalogues.Products() : std::vector<std::string>{inProduct};
    for (const std::string& product : products) {
        try {
            const auto catalogue = mCatalogues.Load(product);
            if (!catalogue) continue;
            for (const auto& [id, spec] : catalogue->mModules) {
                ListedModule& module = modules[{product, id}];
                if (module.mModule.empty()) module = {product, id, {}, {}, "available", spec.mSize, {}};
                module.mOfferedVersion = spec.mVersion;
                const auto installed = mStore.Installed(product, id);
                if (installed && installed->mArchiveSha256 != spec.mSha256) module.mState = "outdated";
            }
        } catch (const CatalogueError& error) {
            NoteProvoked(std::string("a catalogue can't be used: ") + error.what());
        }
    }
    std::vector<ListedModule> list;
    for (auto& [key, module] : modules) list.push_back(std::move(module));
    return list;
}

// Nothing when it has been removed meanwhile.
std::optional<CheckedModule> Inventory::CheckOne(Manifest inManifest, const std::stop_token& inStop) const
    try {
    for (;;) {
        auto damages = mStore.Verify(inManifest.mProduct, inManifest.mModule, kMostDamages, inStop);
        auto now = mStore.Installed(inManifest.mProduct, inManifest.mModule);
        if (!now) return std::nullopt;
        if (*now == inManifest) {
            return CheckedModule{inManifest.mProduct, inManifest.mModule, inManifest.mVersion,
                                 std::move(damages)};
        }
        inManifest = std::move(*now);  // what was compared is partly the one, partly the other
    }
} catch (const Failure& failure) {
    if (failure.Code() != ErrorCode::kNotInstalled) throw;
    return std::nullopt;
}

std::vector<CheckedModule> Inventory::Check(const std::string& inProduct, const std::string& inModule,
                                            const std::stop_token& inStop) const {
    std::vector<CheckedModule> checked;
    for (const Manifest& manifest : mStore.List(inProduct)) {
        if (!inModule.empty() && manifest.mModule != inModule) continue;
        if (auto one = CheckOne(manifest, inStop)) checked.push_back(std::move(*one));
    }
    if (checked.empty() && !inModule.empty()) {
        throw Failure(ErrorCode::kNotInstalled, "the module is not installed");
    }
    return checked;
}

void Inventory::Remove(const std::string& inProduct, const std::string& inModule) const {
    if (!IsName(inProduct) || !IsName(inModule)) {
        throw Failure(ErrorCode::kNotInstalled, "there can't be such a module");
    }
    for (const Manifest& manifest : mStore.List(inProduct)) {
        if (std::find(manifest.mNeeds.begin(), manifest.mNeeds.end(), inModule) != manifest.mNeeds.end()) {
            throw Failure(ErrorCode::kNeededByOthers, "the module " + manifest.mModule + " needs it");
        }
    }
    if (const auto manifest = mStore.Installed(inProduct, inModule)) {
        CheckConflicts(manifest->mConflicts, mConflicts);
    }
    if (!mStore.Remove(inProduct, inModule)) {
        throw Failure(ErrorCode::kNotInstalled, "the module is not installed");
    }
}

}  // namespace orvane::plexa::zarnd
