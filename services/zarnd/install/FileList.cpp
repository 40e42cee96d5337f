#include "install/FileList.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "common/Failure.h"
#include "common/JSONFields.h"
#include "install/Disk.h"
#include "nuocore/JSON.h"

namespace orvane::plexa::zarnd {

using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

constexpr mode_t kMode = 0600;
constexpr std::size_t kBufferBytes = std::size_t{64} << 10U;
constexpr std::size_t kMaxLineBytes = kBufferBytes;  // many times what two paths of an archive can need

std::span<const std::byte> BytesOf(std::string_view inText) { return std::as_bytes(std::span(inText)); }

std::string LineOf(const ListedFile& inFile) {
    VariantObject object;
    object["path"] = TextValue(inFile.mPath);
    if (!inFile.mTarget.empty()) {
        object["target"] = TextValue(inFile.mTarget);
    } else {
        object["size"] = SizeValue(inFile.mSize);
        object["sha256"] = TextValue(inFile.mSha256);
        object["executable"] = MakeValue(inFile.mIsExecutable);
    }
    return std::string(nuocore::serialization::GetJSONUTF8String(VariantValue(object), false)) + "\n";
}

ListedFile FileOf(std::string_view inLine) try {
    const auto value = nuocore::serialization::ParseJSON(inLine);
    const auto& object = As<VariantObject>(*value);
    ListedFile file;
    file.mPath = TextAt(object, "path");
    if (object.find("target") != object.end()) {
        file.mTarget = TextAt(object, "target");
    } else {
        file.mSize = SizeAt(object, "size");
        file.mSha256 = TextAt(object, "sha256");
        file.mIsExecutable = As<bool>(FieldAt(object, "executable"));
    }
    return file;
} catch (const FieldError& error) {
    throw ManifestError(error.what());
} catch (const nuocore::serialization::JSONError& error) {
    throw ManifestError(std::string("is no JSON: ") + error.what());
}

}  // namespace

FileListWriter::FileListWriter(const std::filesystem::path& inPath)
    : mPath(inPath),
      mFile(::open(inPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode)) {
    if (!mFile) throw SystemFailure("cannot make " + inPath.string(), errno);
}

void FileListWriter::Flush() {
    mDigest.Update(BytesOf(mText));
    WriteAll(mFile.Get(), BytesOf(mText), mPath.string());
    mText.clear();
}

void FileListWriter::Add(const ListedFile& inFile) {
    mText += LineOf(inFile);
    mSummary.mSize += inFile.mSize;
    if (mText.size() >= kBufferBytes) Flush();
}

FileListSummary FileListWriter::Finish() {
    Flush();
    mSummary.mSha256 = mDigest.Finish();
    return mSummary;
}

FileListReader::FileListReader(const std::filesystem::path& inPath)
    : mFile(::open(inPath.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)) {
    if (!mFile) throw ManifestError("can't be opened");
}

void FileListReader::ReadMore() {
    mText.erase(0, std::exchange(mPlace, 0));
    const std::size_t size = mText.size();
    mText.resize(size + kBufferBytes);
    ssize_t count = 0;
    do {
        count = ::read(mFile.Get(), mText.data() + size, kBufferBytes);
    } while (count < 0 && errno == EINTR);
    mText.resize(size + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count < 0) throw ManifestError("can't be read");
    mHasEnded = count == 0;
    mDigest.Update(BytesOf(std::string_view(mText).substr(size)));
}

// False at the end.
bool FileListReader::ReadLine(std::string& outLine) {
    for (;;) {
        const std::size_t end = mText.find('\n', mPlace);
        if (end != std::string::npos) {
            outLine = mText.substr(mPlace, end - mPlace);
            mPlace = end + 1;
            return true;
        }
        if (mHasEnded && mPlace == mText.size()) return false;
        if (mHasEnded || mText.size() - mPlace > kMaxLineBytes) throw ManifestError("has no end of line");
        ReadMore();
    }
}

std::optional<ListedFile> FileListReader::Next() {
    std::string line;
    if (!ReadLine(line)) return std::nullopt;
    ListedFile file = FileOf(line);
    mSummary.mSize += file.mSize;
    return file;
}

FileListSummary FileListReader::Finish() {
    mSummary.mSha256 = mDigest.Finish();
    return mSummary;
}

}  // namespace orvane::plexa::zarnd
