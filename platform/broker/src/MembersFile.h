/// The broker's whole memory across a crash: who is a member. Its lock, held for life, is what makes one
/// broker of many survive. Written with plain writes, which survive the end of the process and report a full
/// disk as an error. Single-threaded.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "BrokerCore.h"
#include "FileDescriptor.h"

namespace orvane::plexa::broker {

class MembersFile {
  public:
    /// Opens or makes the file and locks it; none when another process holds the lock. inCapacity: how many
    /// members it can hold, for whom the space is reserved at once. A file of another format is emptied, a
    /// record that does not check is passed over. Throws std::runtime_error when the file cannot be used, is
    /// another user's or is no file.
    static std::optional<MembersFile> Acquire(const std::string& inPath, std::size_t inCapacity);

    /// Who is recorded.
    std::vector<MemberRecord> Recorded() const;
    /// Above every member number that was ever written to this file.
    wire::MemberId NextMember() const noexcept { return mNextMember; }
    /// What was wrong when the file was opened and is no fault any more, for the log.
    const std::vector<std::string>& Complaints() const noexcept { return mComplaints; }

    /// Of a record that is there already only whether it receives may have changed. Once it returns the
    /// record is there for the next broker. Throws std::system_error: the record is then not there.
    void Write(const MemberRecord& inRecord);
    /// Nothing happens for a member without record. Throws std::system_error.
    void Erase(wire::MemberId inMember);
    bool Empty() const noexcept { return mEntries.empty(); }

    /// False when the path was taken away or is another file's now.
    bool InPlace() const noexcept;
    /// Makes the file anew at its path, with the same members and nobody else; false when another process was
    /// faster. Throws like Acquire.
    bool MakeAnew();
    /// Gives the lock back and writes no more: from here on another broker may serve.
    void Release() noexcept { mFile.Close(); }
    /// Takes the path away, if it is still this file's.
    void Unlink() noexcept;

  private:
    struct Entry {
        std::size_t place;
        MemberRecord record;
    };

    MembersFile(FileDescriptor inFile, std::string inPath, std::size_t inCapacity);
    void Load();
    void Reserve();
    void WriteHeader();
    void WriteAt(std::size_t inOffset, const void* inBytes, std::size_t inLength);

    FileDescriptor mFile;
    std::string mPath;
    std::size_t mCapacity;
    wire::MemberId mNextMember = 1;
    std::vector<std::string> mComplaints;
    std::map<wire::MemberId, Entry> mEntries;
    std::set<std::size_t> mFreePlaces;
};

}  // namespace orvane::plexa::broker
