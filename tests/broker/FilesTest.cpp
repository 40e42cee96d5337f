#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "BrokerProcess.h"
#include "Listener.h"
#include "MembersFile.h"
#include "TemporaryDirectory.h"
#include "WireClient.h"

using namespace orvane::plexa::broker;

namespace {

MemberRecord Record(wire::MemberId inMember, const std::string& inAppId = "app-1") {
    return {inMember, {inMember * 3, inMember * 5}, {77, 88}, 4, inAppId};
}

/// A record of the file as it lies there, with its own check sum behind.
struct RawRecord {
    std::uint64_t member = 5;
    wire::Nonce nonce{15, 25};
    std::uint64_t startTime = 88;
    std::uint32_t processId = 77;
    std::uint32_t instance = 4;
    std::uint16_t appIdLength = 5;
    std::uint16_t flags = 0;
    std::array<char, 256> appId{'a', 'p', 'p', '-', '1'};
};
constexpr std::size_t kRawBytes = 300;

/// Puts inRecord in the place of the first one.
void Overwrite(const std::string& inPath, const RawRecord& inRecord) {
    RawRecord checked = inRecord;
    checked.flags = 0;
    std::string bytes(reinterpret_cast<const char*>(&checked), kRawBytes);
    std::uint32_t check = 2166136261U;
    for (const char byte : bytes) check = (check ^ static_cast<unsigned char>(byte)) * 16777619U;
    bytes.assign(reinterpret_cast<const char*>(&inRecord), kRawBytes);
    std::fstream file(inPath, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(64);
    file.write(bytes.data(), kRawBytes).write(reinterpret_cast<const char*>(&check), sizeof(check));
}

TEST(MembersFile, IsHeldByOne) {
    const TemporaryDirectory directory;
    std::optional<MembersFile> first = MembersFile::Acquire(directory / "members", 8);
    ASSERT_TRUE(first);
    EXPECT_FALSE(MembersFile::Acquire(directory / "members", 8));
    first.reset();
    EXPECT_TRUE(MembersFile::Acquire(directory / "members", 8));
}

TEST(MembersFile, RemembersWhatWasWrittenAndForgetsWhatWasErased) {
    const TemporaryDirectory directory;
    {
        std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
        members->Write(Record(5));
        members->Write(Record(6, std::string(256, 'x')));
        members->Write(Record(7));
        members->Erase(5);
        members->Erase(99);
    }
    const std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
    const std::vector<MemberRecord> records = members->Recorded();
    ASSERT_EQ(records.size(), 2U);
    const MemberRecord& record = records[0];
    EXPECT_EQ(record.member, 6U);
    EXPECT_EQ(record.nonce, (wire::Nonce{18, 30}));
    EXPECT_EQ(record.process, (ProcessIdentity{77, 88}));
    EXPECT_EQ(record.instance, 4U);
    EXPECT_EQ(record.appId, std::string(256, 'x'));
    EXPECT_EQ(records[1].member, 7U);
    EXPECT_FALSE(members->Empty());
    EXPECT_TRUE(members->Complaints().empty());
}

TEST(MembersFile, RemembersWhoReceivesNoMore) {
    const TemporaryDirectory directory;
    {
        std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
        members->Write(Record(5));
        MemberRecord changed = Record(6);
        members->Write(changed);
        changed.receives = false;
        members->Write(changed);
    }
    const auto records = MembersFile::Acquire(directory / "members", 8)->Recorded();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_TRUE(records[0].receives);
    EXPECT_FALSE(records[1].receives);
    EXPECT_EQ(records[1].appId, "app-1");
}

TEST(MembersFile, OfARecordThatIsThereHasOnlyItsFlagsChanged) {
    const TemporaryDirectory directory;
    std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
    MemberRecord record = Record(5);
    members->Write(record);
    const std::string before = TextOf(directory / "members");
    record.receives = false;
    members->Write(record);
    const std::string after = TextOf(directory / "members");
    ASSERT_EQ(after.size(), before.size());
    const auto change = std::mismatch(before.begin(), before.end(), after.begin());
    EXPECT_EQ(change.first - before.begin(), std::ptrdiff_t(64 + offsetof(RawRecord, flags)));
    EXPECT_EQ(std::count_if(before.begin(), before.end(),
                            [&, at = std::size_t{0}](char inByte) mutable { return inByte != after[at++]; }),
              1)
        << "whatever a killed broker has written of it, the record is whole";
}

TEST(MembersFile, OfABrokerThatKnewOfNoFlagsIsRead) {
    const TemporaryDirectory directory;
    MembersFile::Acquire(directory / "members", 8);
    Overwrite(directory / "members", {});
    const std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
    ASSERT_EQ(members->Recorded().size(), 1U);
    EXPECT_EQ(members->Recorded()[0].appId, "app-1");
    EXPECT_TRUE(members->Recorded()[0].receives);
}

TEST(MembersFile, PassesOverARecordWithAFlagThatItDoesNotKnow) {
    const TemporaryDirectory directory;
    MembersFile::Acquire(directory / "members", 8);
    Overwrite(directory / "members", {.flags = 2});
    const std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
    EXPECT_TRUE(members->Recorded().empty());
    EXPECT_EQ(members->Complaints().size(), 1U);
}

TEST(MembersFile, NeverGivesANumberTwiceEvenWhenAllWereErased) {
    const TemporaryDirectory directory;
    {
        std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
        members->Write(Record(500));
        members->Erase(500);
        EXPECT_TRUE(members->Empty());
    }
    EXPECT_EQ(MembersFile::Acquire(directory / "members", 8)->NextMember(), 501U);
}

TEST(MembersFile, PassesOverADamagedRecord) {
    const TemporaryDirectory directory;
    {
        std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
        members->Write(Record(5, "first"));
        members->Write(Record(6, "second"));
    }
    {
        std::string text;
        {
            std::ifstream file(directory / "members", std::ios::binary);
            text.assign(std::istreambuf_iterator<char>(file), {});
        }
        text[text.find("first")] ^= 1;
        std::ofstream(directory / "members", std::ios::binary) << text;
    }
    const std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
    ASSERT_EQ(members->Recorded().size(), 1U);
    EXPECT_EQ(members->Recorded()[0].appId, "second");
    ASSERT_EQ(members->Complaints().size(), 1U);
    EXPECT_NE(members->Complaints()[0].find("damaged records (1)"), std::string::npos);
}

TEST(MembersFile, OfAnotherFormatIsBegunAnew) {
    const TemporaryDirectory directory;
    std::ofstream(directory / "members") << std::string(5000, 'z');
    std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
    ASSERT_TRUE(members);
    EXPECT_TRUE(members->Recorded().empty());
    ASSERT_EQ(members->Complaints().size(), 1U);
    EXPECT_NE(members->Complaints()[0].find("begun anew"), std::string::npos);
    members->Write(Record(5));
    members.reset();
    EXPECT_EQ(MembersFile::Acquire(directory / "members", 8)->Recorded().size(), 1U);
}

TEST(MembersFile, ThatIsFullSaysSoAndKeepsTheRest) {
    const TemporaryDirectory directory;
    std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 2);
    members->Write(Record(5));
    members->Write(Record(6));
    EXPECT_THROW(members->Write(Record(7)), std::system_error);
    members->Write(Record(6, "changed"));
    members->Erase(5);
    members->Write(Record(7));
    members.reset();
    EXPECT_EQ(MembersFile::Acquire(directory / "members", 2)->Recorded().size(), 2U);
}

TEST(MembersFile, KeepsTheWholeRecordsOfOneThatWasCutShort) {
    const TemporaryDirectory directory;
    std::uintmax_t wholeSize = 0;
    {
        std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 2);
        members->Write(Record(5));
        members->Write(Record(6));
        wholeSize = std::filesystem::file_size(directory / "members");
    }
    std::filesystem::resize_file(directory / "members", wholeSize - 10);
    EXPECT_EQ(MembersFile::Acquire(directory / "members", 2)->Recorded().size(), 1U);
    std::filesystem::resize_file(directory / "members", 10);
    const std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 2);
    EXPECT_TRUE(members->Recorded().empty());
    EXPECT_EQ(members->Complaints().size(), 1U);
}

TEST(MembersFile, OfALargerCapacityIsReadToItsEnd) {
    const TemporaryDirectory directory;
    {
        std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
        for (wire::MemberId member = 1; member <= 8; ++member) members->Write(Record(member));
    }
    EXPECT_EQ(MembersFile::Acquire(directory / "members", 2)->Recorded().size(), 8U);
}

TEST(MembersFile, ReservesTheSpaceForAllMembersAtOnce) {
    const TemporaryDirectory directory;
    std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
    const std::uintmax_t size = std::filesystem::file_size(directory / "members");
    for (wire::MemberId member = 1; member <= 8; ++member) members->Write(Record(member));
    EXPECT_EQ(std::filesystem::file_size(directory / "members"), size);
}

TEST(MembersFile, ThatWasTakenAwayIsMadeAnewWithTheSameMembersUnlessAnotherWasFaster) {
    const TemporaryDirectory directory;
    std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
    members->Write(Record(5));
    members->Write(Record(6));
    members->Erase(6);
    EXPECT_TRUE(members->InPlace());
    std::filesystem::remove(directory / "members");
    EXPECT_FALSE(members->InPlace());
    {
        std::optional<MembersFile> faster = MembersFile::Acquire(directory / "members", 8);
        faster->Write(Record(9));
        EXPECT_FALSE(members->MakeAnew());
    }
    ASSERT_TRUE(members->MakeAnew()) << "the other one has gone";
    EXPECT_TRUE(members->InPlace());
    members->Write(Record(7));
    members.reset();
    const auto records = MembersFile::Acquire(directory / "members", 8)->Recorded();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].member, 5U);
    EXPECT_EQ(records[1].member, 7U);
}

TEST(MembersFile, OfAnotherUserIsRefused) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    const TemporaryDirectory directory;
    std::ofstream(directory / "members") << "";
    ASSERT_EQ(::chown((directory / "members").c_str(), 65534, 65534), 0);
    try {
        MembersFile::Acquire(directory / "members", 2);
        FAIL() << "it was used";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("belongs to user 65534"), std::string::npos) << error.what();
    }
}

TEST(MembersFile, ThatIsNoRegularFileIsRefused) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::mkfifo((directory / "members").c_str(), 0600), 0);
    EXPECT_THROW(MembersFile::Acquire(directory / "members", 2), std::runtime_error);
}

TEST(MembersFile, ThatIsALinkIsRefused) {
    const TemporaryDirectory directory;
    std::ofstream(directory / "other") << "precious";
    std::filesystem::create_symlink(directory / "other", directory / "members");
    EXPECT_THROW(MembersFile::Acquire(directory / "members", 2), std::system_error);
    EXPECT_EQ(std::filesystem::file_size(directory / "other"), 8U);
}

TEST(Listener, MakesASocketForItsOwnerInPlaceOfAStaleOne) {
    const TemporaryDirectory directory;
    const std::string path = directory / "broker.sock";
    std::ofstream(path) << "stale";
    Listener listener = Listener::Bind(path);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    const WireClient client(path);
    FileDescriptor connection;
    EXPECT_EQ(listener.Accept(connection), AcceptResult::kAccepted);
    EXPECT_TRUE(connection);
    EXPECT_EQ(listener.Accept(connection), AcceptResult::kNone);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.Path()), {}), 1)
        << "nothing is left beside it";
}

TEST(Listener, RemovesItsOwnPathButNotAnothers) {
    const TemporaryDirectory directory;
    const std::string path = directory / "broker.sock";
    Listener first = Listener::Bind(path);
    EXPECT_TRUE(first.InPlace());
    Listener second = Listener::Bind(path);
    EXPECT_FALSE(first.InPlace());
    first.Unlink();
    EXPECT_TRUE(second.InPlace());
    second.Unlink();
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(Listener, KnowsWhetherSomebodyListensAtAPath) {
    const TemporaryDirectory directory;
    const std::string path = directory / "broker.sock";
    EXPECT_FALSE(Listener::IsServed(path));
    {
        const Listener listener = Listener::Bind(path);
        EXPECT_TRUE(Listener::IsServed(path));
    }
    ASSERT_TRUE(std::filesystem::exists(path));
    EXPECT_FALSE(Listener::IsServed(path)) << "a stale one";
}

}  // namespace
