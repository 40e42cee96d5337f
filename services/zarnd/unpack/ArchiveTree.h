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
    std::size_t mMaxDepth = 64;                          ///< parts of a path
    std::size_t mMaxNameBytes = 255;                     ///< of one part
    std::size_t mMaxPathBytes = 2048;                    ///< of a path, and of what a link points to
    std::size_t mMaxTextBytes = std::size_t{16} << 20U;  ///< of all paths and all that links point to
    /// What may come of the archive beside its files' bytes: headers and padding of each entry, and once.
    std::uint64_t mEntryBytes = std::uint64_t{8} << 10U;
    std::uint64_t mSpareBytes = std::uint64_t{1} << 20U;
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
/// Files are numbered from 0 as they are added. Each operation throws `Failure` (`kArchiveUnsafe`,
/// `kArchiveTooLarge`) with the offending path.
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
        std::uint32_t mFile;  ///< the number of the file that it is another name of
    };
    HardLink AddHardLink(std::string_view inPath, std::string_view inTarget);

    /// An entry that is no file has bytes of its own.
    [[noreturn]] static void RefuseBody(std::string_view inPath);

    /// Counts bytes of files.
    void AddBytes(std::uint64_t inCount);
    /// Counts all bytes of the archive, uncompressed: what is no file's must not be much.
    void AddArchiveBytes(std::uint64_t inCount);

  private:
    enum class Kind : std::uint8_t { kFolder, kFile, kLink };
    struct Known {
        Kind mKind;
        std::uint32_t mFile;  // of a file
    };

    [[nodiscard]] std::string Plain(std::string_view inPath) const;
    void AddParents(const std::string& inPath);
    void Enter(const std::string& inPath, Known inWhat);
    std::string AddLeaf(std::string_view inPath, Known inWhat);
    void CountEntry();
    void CountText(std::size_t inBytes);

    ArchiveLimits mLimits;
    std::map<std::string, Known, std::less<>> mEntries;
    std::size_t mSeen = 0;  // entries, repeated folders too
    std::size_t mTextBytes = 0;
    std::uint32_t mFiles = 0;
    std::uint64_t mBytes = 0;
    std::uint64_t mArchiveBytes = 0;
};

}  // namespace orvane::plexa::zarnd
