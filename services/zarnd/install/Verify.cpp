#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "common/Failure.h"
#include "digest/Sha256.h"
#include "install/ModuleStore.h"
#include "wire/FileDescriptor.h"

namespace orvane::plexa::zarnd {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} << 10U;

// What is wrong with a file; empty when nothing is.
std::string CheckFile(const fs::path& inPath, const ManifestEntry& inEntry,
                      std::vector<std::byte>& ioBuffer) {
    const wire::FileDescriptor file(::open(inPath.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file) return errno == ENOENT ? "is missing" : "can't be read";
    struct stat status {};
    if (::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return "is no file";
    if (static_cast<std::uint64_t>(status.st_size) != inEntry.mSize) return "has another size";
    Sha256 digest;
    for (;;) {
        const ssize_t count = ::read(file.Get(), ioBuffer.data(), ioBuffer.size());
        if (count == 0) break;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return "can't be read";
        digest.Update(std::span(ioBuffer).first(static_cast<std::size_t>(count)));
    }
    return digest.Finish() == inEntry.mSha256 ? "" : "has another content";
}

std::string CheckLink(const fs::path& inPath, const ManifestEntry& inEntry) {
    std::error_code error;
    const fs::path target = fs::read_symlink(inPath, error);
    if (error == std::errc::no_such_file_or_directory) return "is missing";
    return error || target != inEntry.mTarget ? "is another link" : "";
}

}  // namespace

std::vector<Damage> ModuleStore::Verify(const std::string& inProduct, const std::string& inModule,
                                        std::size_t inMost) const {
    const auto manifest = Installed(inProduct, inModule);
    if (!manifest) throw Failure(ErrorCode::kNotInstalled, "the module " + inModule + " is not installed");
    const fs::path files = Files(inProduct, inModule);
    std::vector<Damage> damages;
    std::vector<std::byte> buffer(kBufferBytes);
    for (const auto& [path, entry] : manifest->mFiles) {
        if (damages.size() == inMost) return damages;
        const std::string what =
            entry.mTarget.empty() ? CheckFile(files / path, entry, buffer) : CheckLink(files / path, entry);
        if (!what.empty()) damages.push_back({path, what});
    }
    std::error_code error;
    for (fs::recursive_directory_iterator entry(files, error), end; !error && entry != end;
         entry.increment(error)) {
        if (damages.size() == inMost) return damages;
        const std::string path = entry->path().lexically_relative(files).string();
        const bool isFolder = fs::is_directory(entry->symlink_status(error));
        if (!isFolder && !manifest->mFiles.contains(path)) damages.push_back({path, "is not part of it"});
    }
    return damages;
}

}  // namespace orvane::plexa::zarnd
