// Archives, whatever their compression: either refused, or unpacked to what is told of it, and never to
// anywhere else.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "common/Failure.h"
#include "unpack/Unpack.h"

using namespace orvane::plexa::zarnd;
namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize);

namespace {

/// A folder with nothing in it but the folder "files".
class Scratch {
  public:
    Scratch() {
        std::string pattern = (fs::temp_directory_path() / "fuzz-unpack-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) std::abort();
        mPath = pattern;
        fs::create_directory(Files());
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() {
        std::error_code ignored;
        fs::remove_all(mPath, ignored);
    }

    [[nodiscard]] const fs::path& Path() const { return mPath; }
    [[nodiscard]] fs::path Files() const { return mPath / "files"; }

  private:
    fs::path mPath;
};

void Require(bool inHolds) {
    if (!inHolds) std::abort();
}

// What has been told is there, and leads nowhere else.
void Check(const Scratch& inScratch, const std::vector<ListedFile>& inMade) {
    Require(std::distance(fs::directory_iterator(inScratch.Path()), fs::directory_iterator()) == 1);
    const std::string root = fs::canonical(inScratch.Files()).string();
    for (const ListedFile& file : inMade) {
        const fs::path path = inScratch.Files() / file.mPath;
        if (file.mTarget.empty()) {
            Require(fs::is_regular_file(fs::symlink_status(path)) && fs::file_size(path) == file.mSize);
            continue;
        }
        Require(fs::read_symlink(path) == file.mTarget);
        std::error_code error;  // a circle of links leads nowhere
        const std::string end = fs::weakly_canonical(path, error).string();
        Require(error || end == root || end.starts_with(root + "/"));
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize) {
    // It comes in pieces of one size or another.
    const std::size_t pieceBytes = 1 + inSize % 613;
    std::span<const std::byte> left = std::as_bytes(std::span(inData, inSize));
    const ByteSource source = [&] {
        const auto piece = left.first(std::min(left.size(), pieceBytes));
        left = left.subspan(piece.size());
        return piece;
    };
    const Scratch scratch;
    ArchiveLimits limits;
    limits.mMaxBytes = std::uint64_t{1} << 20U;
    limits.mMaxEntries = 100;
    std::vector<ListedFile> made;
    std::uint64_t done = 0;
    const UnpackWatch watch{[&](std::uint64_t inBytes) {
                                Require(inBytes >= done && inBytes <= inSize);
                                done = inBytes;
                            },
                            [&](const ListedFile& inFile) { made.push_back(inFile); }};
    try {
        Unpack(source, scratch.Files().string(), limits, watch, {});
        Require(!made.empty());
    } catch (const Failure& failure) {
        Require(failure.Code() == ErrorCode::kArchiveBroken || failure.Code() == ErrorCode::kArchiveUnsafe ||
                failure.Code() == ErrorCode::kArchiveTooLarge || failure.Code() == ErrorCode::kCannotWrite);
    }
    Check(scratch, made);
    return 0;
}
