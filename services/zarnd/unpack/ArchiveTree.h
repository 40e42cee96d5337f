/// Which entries of an archive are acceptable. No I/O.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace orvane::plexa::zarnd {

struct ArchiveLimits {
    std::uint64_t mMaxBytes = 0;  ///< of all files together
    std::size_t mMaxEntries = 200'000;
    std::size_t mMaxDepth = 64;        ///< parts of a path
    std::size_t mMaxNameBytes = 255;   ///< of one part
    std::size_t mMaxPathBytes = 2048;  ///< of a path, and of what a link points to
};

/// The tree that an archive unpacks to, as far as it has been read. Every accepted path lies inside, and so
/// does whatever can be reached through it:
///
/// - paths are relative, without ".." and control characters, in UTF-8; their folders are made if need be,
/// and are
///   folders: nothing is unpacked through a link;
/// - nothing comes twice, but a folder may;
/// - symbolic links are relative and have ".." at their begin only, no more than leads to the root of the
/// tree. As a
///   link's own folder is real, that stays inside, and so does every link that it passes on the way;
/// - hard links name a file that came before.
///
/// Each operation throws `Failure` (`kArchiveUnsafe`, `kArchiveTooLarge`) with the offending path.
class ArchiveTree {
  public:
    explicit ArchiveTree(const ArchiveLimits& inLimits) : mLimits(inLimits) {}

    /// The path in its plain form, "a/b/c"; empty for the root itself, which only a folder may be.
    std::string AddFolder(std::string_view inPath);
    std::string AddFile(std::string_view inPath);
    std::string AddSymbolicLink(std::string_view inPath, std::string_view inTarget);
    struct HardLink {
        std::string mPath;
        std::string mTarget;
    };
    HardLink AddHardLink(std::string_view inPath, std::string_view inTarget);

    /// Counts bytes of files.
    void AddBytes(std::uint64_t inCount);

  private:
    enum class Kind { kFolder, kFile, kLink };

    [[nodiscard]] std::string Plain(std::string_view inPath) const;
    void AddParents(const std::string& inPath);
    void Enter(const std::string& inPath, Kind inKind);
    std::string AddLeaf(std::string_view inPath, Kind inKind);
    void CountEntry();

    ArchiveLimits mLimits;
    std::map<std::string, Kind, std::less<>> mEntries;
    std::size_t mSeen = 0;  // entries, repeated folders too
    std::uint64_t mBytes = 0;
};

}  // namespace orvane::plexa::zarnd
