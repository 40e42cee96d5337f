/// The files of a module, one a line of JSON: written and read as a stream, never all in memory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "digest/Sha256.h"
#include "install/Manifest.h"
#include "wire/FileDescriptor.h"

namespace orvane::plexa::zarnd {

/// A file or symbolic link of a module.
struct ListedFile {
    std::string mPath;
    std::uint64_t mSize = 0;
    std::string mSha256;  ///< of a file
    bool mIsExecutable = false;
    std::string mTarget;  ///< of a link; then there is nothing but the path beside it

    friend bool operator==(const ListedFile&, const ListedFile&) = default;
};

/// Each operation throws `Failure` when the system refuses.
class FileListWriter {
  public:
    explicit FileListWriter(const std::filesystem::path& inPath);

    void Add(const ListedFile& inFile);
    /// After the last one: what the list holds.
    FileListSummary Finish();

  private:
    void Flush();

    std::filesystem::path mPath;
    wire::FileDescriptor mFile;
    std::string mText;  // not yet written
    Sha256 mDigest;
    FileListSummary mSummary;
};

/// Each operation throws `ManifestError` when there is no list that can be read.
class FileListReader {
  public:
    explicit FileListReader(const std::filesystem::path& inPath);

    /// The next one; nothing at the end.
    std::optional<ListedFile> Next();
    /// At the end: what the list held.
    FileListSummary Finish();

  private:
    bool ReadLine(std::string& outLine);
    void ReadMore();

    wire::FileDescriptor mFile;
    std::string mText;  // read, and not yet taken from mPlace on
    std::size_t mPlace = 0;
    bool mHasEnded = false;
    Sha256 mDigest;
    FileListSummary mSummary;
};

}  // namespace orvane::plexa::zarnd
