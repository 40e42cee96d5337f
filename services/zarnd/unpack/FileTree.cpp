#include "unpack/FileTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "common/Failure.h"

namespace orvane::plexa::zarnd {

namespace {

constexpr mode_t kFolderMode = 0755;
constexpr mode_t kFileMode = 0644;
constexpr mode_t kExecutableMode = 0755;

}  // namespace

FileTree::FileTree(const std::string& inRoot)
    : mRoot(::open(inRoot.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {
    if (!mRoot) throw SystemFailure("cannot open " + inRoot, errno);
}

void FileTree::MakeFolder(const std::string& inPath) {
    if (inPath.empty()) return;
    MakeParents(inPath);
    if (::mkdirat(mRoot.Get(), inPath.c_str(), kFolderMode) != 0 && errno != EEXIST) {
        throw SystemFailure("cannot make the folder " + inPath, errno);
    }
}

void FileTree::MakeParents(const std::string& inPath) {
    const std::size_t last = inPath.rfind('/');
    if (last == std::string::npos || inPath.substr(0, last) == mParent) return;
    for (std::size_t slash = inPath.find('/'); slash != std::string::npos;
         slash = inPath.find('/', slash + 1)) {
        const std::string parent = inPath.substr(0, slash);
        if (::mkdirat(mRoot.Get(), parent.c_str(), kFolderMode) != 0 && errno != EEXIST) {
            throw SystemFailure("cannot make the folder " + parent, errno);
        }
    }
    mParent = inPath.substr(0, last);
}

void FileTree::BeginFile(const std::string& inPath, bool inIsExecutable) {
    MakeParents(inPath);
    mFile = wire::FileDescriptor(::openat(mRoot.Get(), inPath.c_str(),
                                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                          inIsExecutable ? kExecutableMode : kFileMode));
    if (!mFile) throw SystemFailure("cannot make " + inPath, errno);
    mPath = inPath;
    mEntry = {};
}

void FileTree::Append(std::span<const std::byte> inBytes) {
    mDigest.Update(inBytes);
    mEntry.mSize += inBytes.size();
    while (!inBytes.empty()) {
        const ssize_t count = ::write(mFile.Get(), inBytes.data(), inBytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw SystemFailure("cannot write " + mPath, errno);
        inBytes = inBytes.subspan(static_cast<std::size_t>(count));
    }
}

void FileTree::EndFile() {
    mFile.Close();
    mEntry.mSha256 = mDigest.Finish();
    mEntries[mPath] = mEntry;
}

void FileTree::MakeSymbolicLink(const std::string& inPath, const std::string& inTarget) {
    MakeParents(inPath);
    if (::symlinkat(inTarget.c_str(), mRoot.Get(), inPath.c_str()) != 0) {
        throw SystemFailure("cannot make the link " + inPath, errno);
    }
    mEntries[inPath] = {0, {}, inTarget};
}

void FileTree::MakeHardLink(const std::string& inPath, const std::string& inTarget) {
    MakeParents(inPath);
    if (::linkat(mRoot.Get(), inTarget.c_str(), mRoot.Get(), inPath.c_str(), 0) != 0) {
        throw SystemFailure("cannot make the link " + inPath, errno);
    }
    mEntries[inPath] = mEntries.at(inTarget);
}

}  // namespace orvane::plexa::zarnd
