#include "deployment/InstalledDigests.h"

#include <sys/stat.h>

namespace orvane::plexa::zarnd {

std::optional<std::string> InstalledDigests::Of(const std::string& inProduct, const std::string& inModule) {
    const std::string path = mStore.ManifestPath(inProduct, inModule).string();
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return std::nullopt;
    const FileIdentity identity(status);
    if (auto known = mKnown.Find(path, identity)) return std::move(*known);
    std::optional<std::string> digest;
    if (auto manifest = mStore.Installed(inProduct, inModule)) digest = std::move(manifest->mArchiveSha256);
    mKnown.Keep(path, identity, digest);
    return digest;
}

}  // namespace orvane::plexa::zarnd
