/// What has been installed: the record beside the files of a module and the list of them.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::plexa::zarnd {

/// What a list of files holds.
struct FileListSummary {
    std::uint64_t mSize = 0;  ///< bytes of all files
    std::string mSha256;      ///< of the list itself

    friend bool operator==(const FileListSummary&, const FileListSummary&) = default;
};

struct Manifest {
    std::string mProduct;
    std::string mModule;
    std::string mVersion;
    std::string mArchiveSha256;
    std::vector<std::string> mNeeds;
    std::vector<std::string> mConflicts;
    FileListSummary mFiles;

    friend bool operator==(const Manifest&, const Manifest&) = default;

    /// Bytes of all files.
    [[nodiscard]] std::uint64_t Size() const { return mFiles.mSize; }
};

/// A manifest, or a list of files, that can't be read.
class ManifestError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// As JSON text, and back. Throws `ManifestError`.
std::string WriteManifest(const Manifest& inManifest);
Manifest ReadManifest(std::string_view inText);

}  // namespace orvane::plexa::zarnd
