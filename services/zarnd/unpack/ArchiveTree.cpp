#include "unpack/ArchiveTree.h"

#include <algorithm>
#include <vector>

#include "common/Failure.h"
#include "common/Names.h"
#include "nuocore/StringConversion.h"

namespace orvane::plexa::zarnd {

namespace {

// A path of an archive in a sentence: short, and in characters that can be shown.
std::string Shown(std::string_view inPath) {
    constexpr std::size_t kMaxShown = 200;
    std::string shown(inPath.substr(0, kMaxShown));
    std::replace_if(
        shown.begin(), shown.end(),
        [](char inByte) {
            return HasControl({&inByte, 1}) || static_cast<unsigned char>(inByte) >= 0x80U;
        },
        '?');
    return "\"" + shown + (inPath.size() > kMaxShown ? "...\"" : "\"");
}

[[noreturn]] void Refuse(std::string_view inPath, const std::string& inReason) {
    throw Failure(ErrorCode::kArchiveUnsafe, "the archive's entry " + Shown(inPath) + " " + inReason);
}

std::vector<std::string_view> Parts(std::string_view inPath) {
    std::vector<std::string_view> parts;
    while (!inPath.empty()) {
        const std::string_view part = inPath.substr(0, inPath.find('/'));
        inPath.remove_prefix(std::min(inPath.size(), part.size() + 1));
        if (!part.empty() && part != ".") parts.push_back(part);
    }
    return parts;
}

void CheckCharacters(std::string_view inPath, std::string_view inText) {
    if (HasControl(inText)) Refuse(inPath, "has a control character");
    if (!nuocore::string::IsValidUTF8(inText)) Refuse(inPath, "is not in UTF-8");
}

}  // namespace

std::string ArchiveTree::Plain(std::string_view inPath) const {
    if (inPath.size() > mLimits.mMaxPathBytes) Refuse(inPath, "has a path that is too long");
    if (inPath.starts_with('/')) Refuse(inPath, "has an absolute path");
    CheckCharacters(inPath, inPath);
    const std::vector<std::string_view> parts = Parts(inPath);
    if (parts.size() > mLimits.mMaxDepth) Refuse(inPath, "lies too deep");
    std::string plain;
    for (const std::string_view part : parts) {
        if (part == "..") Refuse(inPath, "leads out of the archive");
        if (part.size() > mLimits.mMaxNameBytes) Refuse(inPath, "has a name that is too long");
        if (!plain.empty()) plain += '/';
        plain += part;
    }
    return plain;
}

void ArchiveTree::CountEntry() {
    if (++mSeen > mLimits.mMaxEntries) {
        throw Failure(ErrorCode::kArchiveTooLarge,
                      "the archive has more than " + std::to_string(mLimits.mMaxEntries) + " entries");
    }
}

void ArchiveTree::CountText(std::size_t inBytes) {
    mTextBytes += inBytes;
    if (mTextBytes > mLimits.mMaxTextBytes) {
        throw Failure(ErrorCode::kArchiveTooLarge, "the archive's paths and links have more than " +
                                                       std::to_string(mLimits.mMaxTextBytes) + " bytes");
    }
}

void ArchiveTree::Enter(const std::string& inPath, Known inWhat) {
    const auto [place, isNew] = mEntries.try_emplace(inPath, inWhat);
    const Kind known = place->second.mKind;
    if (isNew) {
        CountEntry();
        CountText(inPath.size());
    } else if (inWhat.mKind != Kind::kFolder || known != Kind::kFolder) {
        Refuse(inPath, known == Kind::kLink ? "would be unpacked through a link" : "comes twice");
    }
}

void ArchiveTree::AddParents(const std::string& inPath) {
    for (std::size_t slash = inPath.find('/'); slash != std::string::npos;
         slash = inPath.find('/', slash + 1)) {
        Enter(inPath.substr(0, slash), {Kind::kFolder, 0});
    }
}

std::string ArchiveTree::AddLeaf(std::string_view inPath, Known inWhat) {
    std::string path = Plain(inPath);
    if (path.empty()) Refuse(inPath, "has no name");
    AddParents(path);
    Enter(path, inWhat);
    return path;
}

std::string ArchiveTree::AddFolder(std::string_view inPath) {
    std::string path = Plain(inPath);
    if (path.empty()) {
        CountEntry();
        return path;
    }
    if (mEntries.contains(path)) CountEntry();  // repeated ones cost time, too
    AddParents(path);
    Enter(path, {Kind::kFolder, 0});
    return path;
}

std::string ArchiveTree::AddFile(std::string_view inPath) {
    std::string path = AddLeaf(inPath, {Kind::kFile, mFiles});
    ++mFiles;
    return path;
}

std::string ArchiveTree::AddSymbolicLink(std::string_view inPath, std::string_view inTarget) {
    if (inTarget.empty() || inTarget.size() > mLimits.mMaxPathBytes) {
        Refuse(inPath, "is a link to nowhere");
    }
    if (inTarget.starts_with('/')) Refuse(inPath, "is a link to an absolute path");
    CheckCharacters(inPath, inTarget);
    std::string path = AddLeaf(inPath, {Kind::kLink, 0});
    CountText(inTarget.size());
    auto up = static_cast<std::ptrdiff_t>(std::count(path.begin(), path.end(), '/'));
    bool isDown = false;
    for (const std::string_view part : Parts(inTarget)) {
        if (part != "..") {
            isDown = true;
        } else if (isDown || --up < 0) {
            Refuse(inPath, "is a link that leads out of the archive, or turns back on its way");
        }
    }
    return path;
}

ArchiveTree::HardLink ArchiveTree::AddHardLink(std::string_view inPath, std::string_view inTarget) {
    std::string target = Plain(inTarget);
    const auto found = mEntries.find(target);
    if (found == mEntries.end() || found->second.mKind != Kind::kFile) {
        Refuse(inPath, "is a hard link to no file of the archive");
    }
    const std::uint32_t file = found->second.mFile;
    std::string path = AddLeaf(inPath, {Kind::kFile, file});
    CountText(target.size());
    return {std::move(path), std::move(target), file};
}

void ArchiveTree::AddBytes(std::uint64_t inCount) {
    if (inCount > mLimits.mMaxBytes - mBytes) {
        throw Failure(ErrorCode::kArchiveTooLarge,
                      "the archive's files have more than " + std::to_string(mLimits.mMaxBytes) + " bytes");
    }
    mBytes += inCount;
}

void ArchiveTree::RefuseBody(std::string_view inPath) { Refuse(inPath, "has a content and is no file"); }

void ArchiveTree::AddArchiveBytes(std::uint64_t inCount) {
    mArchiveBytes += inCount;
    const std::uint64_t share = mLimits.mSpareBytes + mLimits.mEntryBytes * mSeen;
    if (mArchiveBytes > share && mArchiveBytes - share > mLimits.mMaxBytes) {
        throw Failure(ErrorCode::kArchiveTooLarge, "the archive has too much beside its files");
    }
}

}  // namespace orvane::plexa::zarnd
