/// Files of a module while they are made, below one folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <string>

#include "digest/Sha256.h"
#include "install/FileList.h"
#include "wire/FileDescriptor.h"

namespace orvane::plexa::zarnd {

/// Makes folders, files and links of paths that `ArchiveTree` has accepted. The root is a fresh folder of our
/// own. Each operation throws `Failure` when the system refuses. What has been made is told at once, with the
/// digests of what was written; of a file no more is kept than a hard link to it needs.
class FileTree {
  public:
    using OnMade = std::function<void(const ListedFile&)>;

    FileTree(const std::string& inRoot, const OnMade& inOnMade);

    void MakeFolder(const std::string& inPath);
    /// Begins a file; what follows goes into it. Modes are plain: readable, executable or not.
    void BeginFile(const std::string& inPath, bool inIsExecutable);
    void Append(std::span<const std::byte> inBytes);
    void EndFile();
    void MakeSymbolicLink(const std::string& inPath, const std::string& inTarget);
    /// `inFile` is the target's number: how many files have been made before it.
    void MakeHardLink(const std::string& inPath, const std::string& inTarget, std::uint32_t inFile);

  private:
    struct Made {
        Sha256::Digest mDigest;
        std::uint64_t mSize;
        bool mIsExecutable;
    };

    void MakeParents(const std::string& inPath);
    void TellFile(const std::string& inPath, const Made& inMade) const;

    const OnMade& mOnMade;
    wire::FileDescriptor mRoot;
    wire::FileDescriptor mFile;
    std::string mPath;    // of the file that is open
    std::string mParent;  // the folder made last: most entries lie in the one of the entry before
    std::uint64_t mSize = 0;
    bool mIsExecutable = false;
    Sha256 mDigest;
    std::deque<Made> mMade;
};

}  // namespace orvane::plexa::zarnd
