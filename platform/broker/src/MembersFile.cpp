#include "MembersFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <span>
#include <system_error>
#include <type_traits>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace orvane::plexa::broker {

namespace {

constexpr std::uint64_t kMagic = 0x314D58454C504DULL;

struct Header {
    std::uint64_t magic;
    std::uint64_t nextMember;
    std::uint64_t check;
};

struct Record {
    std::uint64_t member;
    wire::Nonce nonce;
    std::uint64_t startTime;
    std::uint32_t processId;
    std::uint32_t instance;
    std::uint32_t appIdLength;
    std::array<char, 1024> appId;
    std::uint32_t check;
};
static_assert(std::has_unique_object_representations_v<Record>,
              "no padding: every byte is checked and written");

constexpr std::size_t kFirstRecord = 64;
static_assert(sizeof(Header) <= kFirstRecord);

std::system_error Failure(const std::string& inPath) {
    return {errno, std::system_category(), "cannot use the members file " + inPath};
}

/// FNV-1a: notices torn and stray writes; nobody but the owner can write the file.
std::uint32_t CheckOf(const Record& inRecord) {
    std::uint32_t check = 2166136261U;
    for (const std::byte byte : std::as_bytes(std::span(&inRecord, 1)).first(offsetof(Record, check))) {
        check = (check ^ std::to_integer<std::uint32_t>(byte)) * 16777619U;
    }
    return check;
}

bool IsSound(const Record& inRecord) {
    return inRecord.member != 0 && inRecord.appIdLength <= inRecord.appId.size() &&
           inRecord.check == CheckOf(inRecord);
}

std::size_t OffsetOf(std::size_t inPlace) { return kFirstRecord + inPlace * sizeof(Record); }

/// False at the end of the file.
bool ReadAt(int inFile, std::size_t inOffset, void* outBytes, std::size_t inLength) {
    return ::pread(inFile, outBytes, inLength, static_cast<off_t>(inOffset)) ==
           static_cast<ssize_t>(inLength);
}

}  // namespace

std::optional<MembersFile> MembersFile::Acquire(const std::string& inPath, std::size_t inCapacity) {
    for (;;) {
        FileDescriptor file(
            ::open(inPath.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!file) throw Failure(inPath);
        if (::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno == EWOULDBLOCK) return std::nullopt;
            throw Failure(inPath);
        }
        MembersFile members(std::move(file), inPath, inCapacity);
        // A broker that left may have removed the file between our opening and locking it: then the lock is
        // worth nothing.
        if (!members.InPlace()) continue;
        members.Load();
        return members;
    }
}

MembersFile::MembersFile(FileDescriptor inFile, std::string inPath, std::size_t inCapacity)
    : mFile(std::move(inFile)), mPath(std::move(inPath)), mCapacity(inCapacity) {}

void MembersFile::Load() {
    Header header{};
    if (!ReadAt(mFile.Get(), 0, &header, sizeof(header)) || header.magic != kMagic ||
        header.check != ~header.nextMember) {
        if (::ftruncate(mFile.Get(), 0) != 0) throw Failure(mPath);
    } else {
        mNextMember = std::max<wire::MemberId>(header.nextMember, 1);
    }
    for (std::size_t place = 0; place < mCapacity; ++place) {
        Record record{};
        if (!ReadAt(mFile.Get(), OffsetOf(place), &record, sizeof(record)) || !IsSound(record) ||
            !mPlaces.emplace(record.member, place).second) {
            mFreePlaces.insert(place);
            continue;
        }
        mRecorded.push_back({record.member,
                             record.nonce,
                             {record.processId, record.startTime},
                             record.instance,
                             std::string(record.appId.data(), record.appIdLength)});
        mNextMember = std::max(mNextMember, record.member + 1);
    }
}

void MembersFile::Write(const MemberRecord& inRecord) {
    Record record{};
    const auto known = mPlaces.find(inRecord.member);
    if ((known == mPlaces.end() && mFreePlaces.empty()) || inRecord.appId.size() > record.appId.size()) {
        errno = ENOSPC;
        throw Failure(mPath);
    }
    if (inRecord.member >= mNextMember) {
        mNextMember = inRecord.member + 1;
        WriteHeader();
    }
    record.member = inRecord.member;
    record.nonce = inRecord.nonce;
    record.startTime = inRecord.process.startTime;
    record.processId = inRecord.process.processId;
    record.instance = inRecord.instance;
    record.appIdLength = static_cast<std::uint32_t>(inRecord.appId.size());
    std::copy(inRecord.appId.begin(), inRecord.appId.end(), record.appId.begin());
    record.check = CheckOf(record);
    const std::size_t place = known != mPlaces.end() ? known->second : *mFreePlaces.begin();
    WriteAt(OffsetOf(place), &record, sizeof(record));
    mPlaces[inRecord.member] = place;
    mFreePlaces.erase(place);
}

void MembersFile::Erase(wire::MemberId inMember) {
    const auto known = mPlaces.find(inMember);
    if (known == mPlaces.end()) return;
    const Record empty{};
    WriteAt(OffsetOf(known->second), &empty, sizeof(empty));
    mFreePlaces.insert(known->second);
    mPlaces.erase(known);
}

void MembersFile::WriteHeader() {
    const Header header{kMagic, mNextMember, ~mNextMember};
    WriteAt(0, &header, sizeof(header));
}

void MembersFile::WriteAt(std::size_t inOffset, const void* inBytes, std::size_t inLength) {
    const ssize_t written = ::pwrite(mFile.Get(), inBytes, inLength, static_cast<off_t>(inOffset));
    if (written == static_cast<ssize_t>(inLength)) return;
    if (written >= 0) errno = ENOSPC;
    throw Failure(mPath);
}

bool MembersFile::InPlace() const noexcept {
    struct stat atPath {};
    struct stat ours {};
    return ::lstat(mPath.c_str(), &atPath) == 0 && ::fstat(mFile.Get(), &ours) == 0 &&
           atPath.st_dev == ours.st_dev && atPath.st_ino == ours.st_ino;
}

void MembersFile::Unlink() noexcept {
    if (InPlace()) ::unlink(mPath.c_str());
}

}  // namespace orvane::plexa::broker
