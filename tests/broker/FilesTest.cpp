#include <filesystem>
#include <fstream>
#include <system_error>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Listener.h"
#include "MembersFile.h"
#include "TemporaryDirectory.h"
#include "WireClient.h"

using namespace orvane::plexa::broker;

namespace {

MemberRecord Record(wire::MemberId inMember, const std::string& inAppId = "app-1") {
    return {inMember, {inMember * 3, inMember * 5}, {77, 88}, 4, inAppId};
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
        members->Write(Record(6, std::string(1024, 'x')));
        members->Write(Record(7));
        members->Erase(5);
        members->Erase(99);
    }
    const std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
    ASSERT_EQ(members->Recorded().size(), 2U);
    const MemberRecord& record = members->Recorded()[0];
    EXPECT_EQ(record.member, 6U);
    EXPECT_EQ(record.nonce, (wire::Nonce{18, 30}));
    EXPECT_EQ(record.process, (ProcessIdentity{77, 88}));
    EXPECT_EQ(record.instance, 4U);
    EXPECT_EQ(record.appId, std::string(1024, 'x'));
    EXPECT_EQ(members->Recorded()[1].member, 7U);
    EXPECT_FALSE(members->Empty());
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
}

TEST(MembersFile, OfAnotherFormatIsBegunAnew) {
    const TemporaryDirectory directory;
    std::ofstream(directory / "members") << std::string(5000, 'z');
    std::optional<MembersFile> members = MembersFile::Acquire(directory / "members", 8);
    ASSERT_TRUE(members);
    EXPECT_TRUE(members->Recorded().empty());
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

}  // namespace
