#include "MembersFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <system_error>
#include <type_traits>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace orvane::plexa::broker {

namespace {

constexpr std::uint64_t kMagic = 0x324D58454C504DULL;

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
    std::uint16_t appIdLength;
    std::uint16_t flags;
    std::array<char, 256> appId;
    std::uint32_t check;
};
static_assert(std::has_unique_object_representations_v<Record>,
              "no padding: every byte is checked and written");

/// Bits of Record::flags. Brokers that knew of none wrote 0 there; a record with a bit that is not known is
/// passed over.
constexpr std::uint16_t kReceivesNothing = 1;
constexpr std::uint16_t kKnownFlags = kReceivesNothing;

constexpr std::size_t kFirstRecord = 64;
/// However long a file is, no more records are looked at.
constexpr std::size_t kMostRecords = 65536;
static_assert(sizeof(Header) <= kFirstRecord);

std::system_error Failure(const std::string& inPath) {
    return {errno, std::system_category(), "cannot use the members file " + inPath};
}

/// FNV-1a: notices torn and stray writes; nobody but the owner can write the file. The flags, which alone
/// change later, count as 0: a broker that is killed in between leaves the record whole, before or after.
std::uint32_t CheckOf(Record inRecord) {
    inRecord.flags = 0;
    std::uint32_t check = 2166136261U;
    for (const std::byte byte : std::as_bytes(std::span(&inRecord, 1)).first(offsetof(Record, check))) {
        check = (check ^ std::to_integer<std::uint32_t>(byte)) * 16777619U;
    }
    return check;
}

bool IsEmpty(const Record& inRecord) {
    const auto bytes = std::as_bytes(std::span(&inRecord, 1));
    return std::all_of(bytes.begin(), bytes.end(), [](std::byte inByte) { return inByte == std::byte{0}; });
}

bool IsSound(const Record& inRecord) {
    return inRecord.member != 0 && inRecord.appIdLength <= inRecord.appId.size() &&
           (inRecord.flags & ~kKnownFlags) == 0 && inRecord.check == CheckOf(inRecord);
}

std::size_t OffsetOf(std::size_t inPlace) { return kFirstRecord + inPlace * sizeof(Record); }

/// False at the end of the file.
bool ReadAt(int inFile, std::size_t inOffset, void* outBytes, std::size_t inLength) {
    return ::pread(inFile, outBytes, inLength, static_cast<off_t>(inOffset)) ==
           static_cast<ssize_t>(inLength);
}

struct stat StatusOf(const FileDescriptor& inFile, const std::string& inPath) {
    struct stat status {};
    if (::fstat(inFile.Get(), &status) != 0) throw Failure(inPath);
    return status;
}

/// Somebody else's file could be written and locked by somebody else.
void CheckIsOurs(const FileDescriptor& inFile, const std::string& inPath) {
    const struct stat status = StatusOf(inFile, inPath);
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error("the members file " + inPath + " is no regular file; remove it");
    }
    if (status.st_uid != ::geteuid()) {
        throw std::runtime_error("the members file " + inPath + " belongs to user " +
                                 std::to_string(status.st_uid) + ", not to " + std::to_string(::geteuid()) +
                                 "; remove it");
    }
}

}  // namespace

std::optional<MembersFile> MembersFile::Acquire(const std::string& inPath, std::size_t inCapacity) {
    for (;;) {
        FileDescriptor file(
            ::open(inPath.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!file) throw Failure(inPath);
        CheckIsOurs(file, inPath);
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
    const auto size = static_cast<std::size_t>(StatusOf(mFile, mPath).st_size);
    Header header{};
    const bool known = ReadAt(mFile.Get(), 0, &header, sizeof(header)) && header.magic == kMagic &&
                       header.check == ~header.nextMember;
    if (known) {
        mNextMember = std::max<wire::MemberId>(header.nextMember, 1);
    } else if (size != 0) {
        mComplaints.push_back(
            "the members file is of another version or damaged and is begun anew: who was a member has to join anew");
        if (::ftruncate(mFile.Get(), 0) != 0) throw Failure(mPath);
    }
    const std::size_t used = known && size > kFirstRecord ? (size - kFirstRecord) / sizeof(Record) : 0;
    const std::size_t places = std::max(mCapacity, std::min(used, kMostRecords));
    std::size_t damaged = 0;
    for (std::size_t place = 0; place < places; ++place) {
        Record record{};
        const bool read = place < used && ReadAt(mFile.Get(), OffsetOf(place), &record, sizeof(record));
        if (!read || !IsSound(record) || mEntries.contains(record.member)) {
            damaged += read && !IsEmpty(record) ? 1 : 0;
            mFreePlaces.insert(place);
            continue;
        }
        mEntries.emplace(record.member, Entry{place,
                                              {record.member,
                                               record.nonce,
                                               {record.processId, record.startTime},
                                               record.instance,
                                               std::string(record.appId.data(), record.appIdLength),
                                               (record.flags & kReceivesNothing) == 0}});
        mNextMember = std::max(mNextMember, record.member + 1);
    }
    if (damaged != 0) {
        mComplaints.push_back("the members file has damaged records (" + std::to_string(damaged) +
                              "), which are passed over: these members have to join anew");
    }
    Reserve();
}

/// A disk that fills up later then keeps nobody from being remembered.
void MembersFile::Reserve() {
    const int error = ::posix_fallocate(mFile.Get(), 0, static_cast<off_t>(OffsetOf(mCapacity)));
    if (error == 0) {
        WriteHeader();
    } else {
        mComplaints.push_back("no space can be reserved for the members file: " +
                              std::system_category().message(error));
    }
}

std::vector<MemberRecord> MembersFile::Recorded() const {
    std::vector<MemberRecord> records;
    records.reserve(mEntries.size());
    for (const auto& [member, entry] : mEntries) records.push_back(entry.record);
    return records;
}

void MembersFile::Write(const MemberRecord& inRecord) {
    Record record{};
    const auto known = mEntries.find(inRecord.member);
    if ((known == mEntries.end() && mFreePlaces.empty()) || inRecord.appId.size() > record.appId.size()) {
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
    record.appIdLength = static_cast<std::uint16_t>(inRecord.appId.size());
    record.flags = inRecord.receives ? std::uint16_t{0} : kReceivesNothing;
    std::copy(inRecord.appId.begin(), inRecord.appId.end(), record.appId.begin());
    record.check = CheckOf(record);
    if (known != mEntries.end()) {
        WriteAt(OffsetOf(known->second.place) + offsetof(Record, flags), &record.flags, sizeof(record.flags));
        known->second.record.receives = inRecord.receives;
        return;
    }
    const std::size_t place = *mFreePlaces.begin();
    WriteAt(OffsetOf(place), &record, sizeof(record));
    mEntries.emplace(inRecord.member, Entry{place, inRecord});
    mFreePlaces.erase(place);
}

void MembersFile::Erase(wire::MemberId inMember) {
    const auto known = mEntries.find(inMember);
    if (known == mEntries.end()) return;
    const Record empty{};
    WriteAt(OffsetOf(known->second.place), &empty, sizeof(empty));
    mFreePlaces.insert(known->second.place);
    mEntries.erase(known);
}

bool MembersFile::MakeAnew() {
    std::optional<MembersFile> anew = Acquire(mPath, mCapacity);
    if (!anew) return false;
    // A broker that served meanwhile and was killed has left these; they join anew with this one.
    for (const MemberRecord& record : anew->Recorded()) anew->Erase(record.member);
    anew->mNextMember = std::max(anew->mNextMember, mNextMember);
    anew->WriteHeader();
    for (const auto& [member, entry] : mEntries) anew->Write(entry.record);
    *this = std::move(*anew);
    return true;
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
