/// What has been installed: the record beside the files of a module.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::plexa::zarnd {

/// A file or symbolic link of a module.
struct ManifestEntry {
    std::uint64_t mSize = 0;
    std::string mSha256;  ///< of a file
    std::string mTarget;  ///< of a link; then the rest is empty

    friend bool operator==(const ManifestEntry&, const ManifestEntry&) = default;
};

struct Manifest {
    std::string mProduct;
    std::string mModule;
    std::string mVersion;
    std::string mArchiveSha256;
    std::vector<std::string> mNeeds;
    std::vector<std::string> mConflicts;
    std::map<std::string, ManifestEntry> mFiles;  ///< by path

    friend bool operator==(const Manifest&, const Manifest&) = default;

    /// Bytes of all files.
    [[nodiscard]] std::uint64_t Size() const;
};

/// A manifest that can't be read.
class ManifestError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// As JSON text, and back. Throws `ManifestError`.
std::string WriteManifest(const Manifest& inManifest);
Manifest ReadManifest(std::string_view inText);

}  // namespace orvane::plexa::zarnd
