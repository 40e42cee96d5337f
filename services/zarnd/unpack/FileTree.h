/// Files of a module while they are made, below one folder.
#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <string>

#include "digest/Sha256.h"
#include "install/Manifest.h"
#include "wire/FileDescriptor.h"

namespace orvane::plexa::zarnd {

/// Makes folders, files and links of paths that `ArchiveTree` has accepted. The root is a fresh folder of our
/// own. Each operation throws `Failure` when the system refuses.
class FileTree {
  public:
    explicit FileTree(const std::string& inRoot);

    void MakeFolder(const std::string& inPath);
    /// Begins a file; what follows goes into it. Modes are plain: readable, executable or not.
    void BeginFile(const std::string& inPath, bool inIsExecutable);
    void Append(std::span<const std::byte> inBytes);
    void EndFile();
    void MakeSymbolicLink(const std::string& inPath, const std::string& inTarget);
    void MakeHardLink(const std::string& inPath, const std::string& inTarget);

    /// What has been made, with the digests of what was written.
    [[nodiscard]] std::map<std::string, ManifestEntry>& Entries() noexcept { return mEntries; }

  private:
    void MakeParents(const std::string& inPath);

    wire::FileDescriptor mRoot;
    wire::FileDescriptor mFile;
    std::string mPath;    // of the file that is open
    std::string mParent;  // the folder made last: most entries lie in the one of the entry before
    ManifestEntry mEntry;
    Sha256 mDigest;
    std::map<std::string, ManifestEntry> mEntries;
};

}  // namespace orvane::plexa::zarnd
