#include "unpack/FileTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "common/Failure.h"
#include "install/Disk.h"

namespace orvane::plexa::zarnd {

namespace {

constexpr mode_t kFolderMode = 0755;
constexpr mode_t kFileMode = 0644;
constexpr mode_t kExecutableMode = 0755;

}  // namespace

FileTree::FileTree(const std::string& inRoot, const OnMade& inOnMade)
    : mOnMade(inOnMade), mRoot(::open(inRoot.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {
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
    mSize = 0;
    mIsExecutable = inIsExecutable;
}

void FileTree::Append(std::span<const std::byte> inBytes) {
    mDigest.Update(inBytes);
    mSize += inBytes.size();
    WriteAll(mFile.Get(), inBytes, mPath);
}

void FileTree::EndFile() {
    mFile.Close();
    TellFile(mPath, mMade.emplace_back(Made{mDigest.FinishDigest(), mSize, mIsExecutable}));
}

void FileTree::TellFile(const std::string& inPath, const Made& inMade) const {
    mOnMade({inPath, inMade.mSize, Sha256::Hex(inMade.mDigest), inMade.mIsExecutable, {}});
}

void FileTree::MakeSymbolicLink(const std::string& inPath, const std::string& inTarget) {
    MakeParents(inPath);
    if (::symlinkat(inTarget.c_str(), mRoot.Get(), inPath.c_str()) != 0) {
        throw SystemFailure("cannot make the link " + inPath, errno);
    }
    mOnMade({inPath, 0, {}, false, inTarget});
}

void FileTree::MakeHardLink(const std::string& inPath, const std::string& inTarget, std::uint32_t inFile) {
    MakeParents(inPath);
    if (::linkat(mRoot.Get(), inTarget.c_str(), mRoot.Get(), inPath.c_str(), 0) != 0) {
        throw SystemFailure("cannot make the link " + inPath, errno);
    }
    TellFile(inPath, mMade.at(inFile));
}

}  // namespace orvane::plexa::zarnd
