#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "common/Failure.h"
#include "digest/Sha256.h"
#include "install/FileList.h"
#include "install/ModuleStore.h"
#include "wire/FileDescriptor.h"

namespace orvane::plexa::zarnd {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} << 10U;

/// Compares one file after another.
class Checker {
  public:
    Checker(fs::path inFiles, const std::stop_token& inStop) : mFiles(std::move(inFiles)), mStop(inStop) {}

    /// What is wrong with a file or link; empty when nothing is.
    std::string Check(const ListedFile& inFile) {
        return inFile.mTarget.empty() ? CheckFile(inFile) : CheckLink(inFile);
    }

  private:
    std::string CheckFile(const ListedFile& inFile) {
        const wire::FileDescriptor file(
            ::open((mFiles / inFile.mPath).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (!file) return errno == ENOENT ? "is missing" : "can't be read";
        struct stat status {};
        if (::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return "is no file";
        if (static_cast<std::uint64_t>(status.st_size) != inFile.mSize) return "has another size";
        if (((status.st_mode & S_IXUSR) != 0) != inFile.mIsExecutable) {
            return inFile.mIsExecutable ? "is not executable" : "is executable";
        }
        Sha256 digest;
        for (;;) {
            CheckStop(mStop);
            const ssize_t count = ::read(file.Get(), mBuffer.data(), mBuffer.size());
            if (count == 0) break;
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) return "can't be read";
            digest.Update(std::span(mBuffer).first(static_cast<std::size_t>(count)));
        }
        return digest.Finish() == inFile.mSha256 ? "" : "has another content";
    }

    std::string CheckLink(const ListedFile& inFile) const {
        CheckStop(mStop);
        std::error_code error;
        const fs::path target = fs::read_symlink(mFiles / inFile.mPath, error);
        if (error == std::errc::no_such_file_or_directory) return "is missing";
        return error || target != inFile.mTarget ? "is another link" : "";
    }

    fs::path mFiles;
    const std::stop_token& mStop;
    std::vector<std::byte> mBuffer{kBufferBytes};
};

}  // namespace

std::vector<Damage> ModuleStore::Verify(const std::string& inProduct, const std::string& inModule,
                                        std::size_t inMost, const std::stop_token& inStop) const {
    const auto manifest = Installed(inProduct, inModule);
    if (!manifest) throw Failure(ErrorCode::kNotInstalled, "the module " + inModule + " is not installed");
    const fs::path files = Files(inProduct, inModule);
    const fs::path list = files.parent_path() / kListName;
    std::vector<Damage> damages;
    std::vector<std::string> listed;
    try {
        Checker checker(files, inStop);
        FileListReader reader(list);
        while (auto file = reader.Next()) {
            if (damages.size() == inMost) return damages;
            std::string what = checker.Check(*file);
            if (!what.empty()) damages.push_back({file->mPath, std::move(what)});
            listed.push_back(std::move(file->mPath));
        }
        if (reader.Finish() != manifest->mFiles) throw ManifestError("is another list");
    } catch (const ManifestError& error) {
        damages.push_back({kListName, error.what()});
        return damages;
    }
    std::sort(listed.begin(), listed.end());
    std::error_code error;
    for (fs::recursive_directory_iterator entry(files, error), end; !error && entry != end;
         entry.increment(error)) {
        CheckStop(inStop);
        if (damages.size() == inMost) return damages;
        const std::string path = entry->path().lexically_relative(files).string();
        const bool isFolder = fs::is_directory(entry->symlink_status(error));
        if (!isFolder && !std::binary_search(listed.begin(), listed.end(), path)) {
            damages.push_back({path, "is not part of it"});
        }
    }
    return damages;
}

}  // namespace orvane::plexa::zarnd
