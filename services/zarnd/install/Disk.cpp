#include "install/Disk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "common/Failure.h"
#include "wire/FileDescriptor.h"

namespace orvane::plexa::zarnd {

using wire::FileDescriptor;

namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;

FileDescriptor OpenFolder(const std::filesystem::path& inFolder) noexcept {
    return FileDescriptor(::open(inFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

void MakeFolders(const std::filesystem::path& inFolder) {
    std::filesystem::path folder;
    for (const std::filesystem::path& part : inFolder) {
        folder /= part;
        if (::mkdir(folder.c_str(), kFolderMode) != 0 && errno != EEXIST && errno != EISDIR) {
            throw SystemFailure("cannot make the folder " + folder.string(), errno);
        }
    }
}

void WriteAll(int inFile, std::span<const std::byte> inBytes, const std::string& inName) {
    while (!inBytes.empty()) {
        const ssize_t count = ::write(inFile, inBytes.data(), inBytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw SystemFailure("cannot write " + inName, errno);
        inBytes = inBytes.subspan(static_cast<std::size_t>(count));
    }
}

void WriteFile(const std::filesystem::path& inPath, const std::string& inText) {
    const FileDescriptor file(
        ::open(inPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    if (!file) throw SystemFailure("cannot make " + inPath.string(), errno);
    WriteAll(file.Get(), std::as_bytes(std::span(inText)), inPath.string());
    if (::fsync(file.Get()) != 0) throw SystemFailure("cannot write " + inPath.string(), errno);
}

std::optional<std::string> ReadFile(const std::filesystem::path& inPath, std::size_t inMaxBytes) {
    const FileDescriptor file(::open(inPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file || ::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    if (static_cast<std::uint64_t>(status.st_size) > inMaxBytes) return std::nullopt;
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t size = 0;
    while (size != text.size()) {
        const ssize_t count = ::read(file.Get(), text.data() + size, text.size() - size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return std::nullopt;
        size += static_cast<std::size_t>(count);
    }
    return text;
}

void SyncFileSystem(const std::filesystem::path& inFolder) {
    const FileDescriptor folder = OpenFolder(inFolder);
    if (!folder || ::syncfs(folder.Get()) != 0) throw SystemFailure("cannot write to the disk", errno);
}

void SyncFolder(const std::filesystem::path& inFolder) noexcept {
    const FileDescriptor folder = OpenFolder(inFolder);
    if (folder) ::fsync(folder.Get());
}

}  // namespace orvane::plexa::zarnd
