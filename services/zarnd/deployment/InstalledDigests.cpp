#include "deployment/InstalledDigests.h"

#include <sys/stat.h>

namespace orvane::plexa::zarnd {

std::optional<std::string> InstalledDigests::Of(const std::string& inProduct, const std::string& inModule) {
    const std::string path = mStore.ManifestPath(inProduct, inModule).string();
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return std::nullopt;
    const FileIdentity identity(status);
    if (auto known = mKnown.Find(path, identity)) return std::move(*known);
    auto manifest = mStore.Installed(inProduct, inModule);
    if (!manifest) return std::nullopt;  // what can't be read may be readable the next time
    mKnown.Keep(path, identity, manifest->mArchiveSha256);
    return std::move(manifest->mArchiveSha256);
}

}  // namespace orvane::plexa::zarnd
