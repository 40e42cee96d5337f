/// Whether a file is still the one that was read.
#pragma once

#include <sys/stat.h>

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace orvane::plexa::zarnd {

/// What the system says of a file. Whoever changes or replaces the file changes it too, except within a tick
/// of the system's clock.
struct FileIdentity {
    dev_t mDevice = 0;
    ino_t mNode = 0;
    off_t mSize = 0;
    std::int64_t mModified = 0;  ///< nanoseconds since 1970
    std::int64_t mChanged = 0;

    explicit FileIdentity(const struct stat& inStatus)
        : mDevice(inStatus.st_dev),
          mNode(inStatus.st_ino),
          mSize(inStatus.st_size),
          mModified(Nanoseconds(inStatus.st_mtim)),
          mChanged(Nanoseconds(inStatus.st_ctim)) {}
    friend auto operator<=>(const FileIdentity&, const FileIdentity&) = default;

    /// Whether the last change is so long ago that one to come will show.
    [[nodiscard]] bool IsSettled() const {
        constexpr std::chrono::nanoseconds kClearly = std::chrono::seconds(1);
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        return now - std::chrono::nanoseconds(mChanged) > kClearly;
    }

  private:
    static std::int64_t Nanoseconds(const timespec& inTime) {
        return std::int64_t{inTime.tv_sec} * 1'000'000'000 + inTime.tv_nsec;
    }
};

/// What was made of files, as long as they stay the same. Any thread.
template <typename Value>
class FileCache {
  public:
    static constexpr std::size_t kMaxFiles = 256;

    [[nodiscard]] std::optional<Value> Find(const std::string& inPath, const FileIdentity& inIdentity) const {
        const std::lock_guard lock(mMutex);
        const auto found = mFiles.find(inPath);
        if (found == mFiles.end() || found->second.first != inIdentity) return std::nullopt;
        return found->second.second;
    }
    /// The identity is that from before the file was read.
    void Keep(const std::string& inPath, const FileIdentity& inIdentity, Value inValue) {
        if (!inIdentity.IsSettled()) return;
        const std::lock_guard lock(mMutex);
        if (mFiles.size() == kMaxFiles) mFiles.clear();
        mFiles.insert_or_assign(inPath, std::pair(inIdentity, std::move(inValue)));
    }

  private:
    mutable std::mutex mMutex;
    std::map<std::string, std::pair<FileIdentity, Value>> mFiles;
};

}  // namespace orvane::plexa::zarnd
