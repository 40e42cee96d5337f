// Clients find the one broker of their runtime directory, whatever becomes of the directory.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "BrokerProcess.h"
#include "Eventually.h"
#include "Listener.h"
#include "WireClient.h"

namespace {

using orvane::plexa::broker::Listener;

/// A broker whose directory can go while its log stays.
class Place : public ::testing::Test {
  protected:
    Place() { mMember.Join("member-1"); }

    static BrokerProcess::Setup Setup(const std::string& inRuntime, const std::string& inLog) {
        BrokerProcess::Setup setup;
        setup.bare = true;
        setup.arguments = {"--runtime-dir", inRuntime, "--log", "debug", "--log-file", inLog};
        return setup;
    }
    /// A broker that looks just then would make things anew in between, and the removal would fail.
    void RemoveAllAtOnce(const BrokerProcess& inBroker) { RemoveAllOf(inBroker, mRuntime); }
    static void RemoveAllOf(const BrokerProcess& inBroker, const std::string& inRuntime) {
        inBroker.Signal(SIGSTOP);
        std::filesystem::remove_all(inRuntime);
        inBroker.Signal(SIGCONT);
    }
    bool Logs(const std::string& inText) const {
        return Eventually([&] { return TextOf(mDirectory / "log").find(inText) != std::string::npos; });
    }
    /// A newcomer joins and sees the member that was there before.
    void ExpectNewcomersMeetTheMember() {
        std::unique_ptr<WireClient> newcomer;
        ASSERT_TRUE(Eventually([&] {
            try {
                newcomer = std::make_unique<WireClient>(mSocket);
                return true;
            } catch (const std::system_error&) {
                return false;
            }
        }));
        const auto told = newcomer->Join("newcomer-1");
        ASSERT_EQ(told.size(), 2U);
        EXPECT_EQ(told[0].peer.member, mMember.Member());
        newcomer->SendMessage(1, mMember.Slot(), "t", "found");
        EXPECT_EQ(mMember.Next(wire::FrameKind::Data)->payload, "found");
    }

    TemporaryDirectory mDirectory;
    std::string mRuntime = mDirectory / "runtime";
    std::string mSocket = mRuntime + "/broker.sock";
    std::unique_ptr<BrokerProcess> mBroker =
        std::make_unique<BrokerProcess>(mRuntime, Setup(mRuntime, mDirectory / "log"));
    WireClient mMember{mSocket};
};

TEST_F(Place, RemovedWithEverythingInItIsMadeAnew) {
    RemoveAllAtOnce(*mBroker);
    EXPECT_TRUE(Logs("the socket was taken away and is made anew"));
    ExpectNewcomersMeetTheMember();
    struct stat status {};
    ASSERT_EQ(::stat(mRuntime.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    RemoveAllAtOnce(*mBroker);
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(mSocket); })) << "and once more";
    ExpectNewcomersMeetTheMember();
}

TEST_F(Place, RenamedIsMadeAnewAtItsOldName) {
    std::filesystem::rename(mRuntime, mDirectory / "elsewhere");
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(mSocket); }));
    ExpectNewcomersMeetTheMember();
}

TEST_F(Place, WhoseParentWasRenamedIsMadeAnewAsSoonAsItCanBe) {
    const std::string parent = mDirectory / "parent";
    std::filesystem::create_directories(parent + "/between");
    const std::string runtime = parent + "/between/runtime";
    const BrokerProcess broker(runtime, Setup(runtime, mDirectory / "log2"));
    WireClient member(runtime + "/broker.sock");
    member.Join("member-1");
    std::filesystem::rename(parent, mDirectory / "elsewhere");
    EXPECT_TRUE(Eventually([&] {
        return TextOf(mDirectory / "log2").find("clients cannot find this broker") != std::string::npos;
    }));
    std::filesystem::create_directories(parent + "/between");
    EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(runtime + "/broker.sock"); }));
    WireClient newcomer(runtime + "/broker.sock");
    EXPECT_EQ(newcomer.Join("newcomer-1").at(0).peer.member, member.Member());
}

TEST_F(Place, IsLoggedAboutWhereTheLogWasMadeAnew) {
    const std::string runtime = mDirectory / "second";
    const BrokerProcess broker(runtime, Setup(runtime, runtime + "/broker.log"));
    RemoveAllOf(broker, runtime);
    EXPECT_TRUE(Eventually([&] {
        return TextOf(runtime + "/broker.log").find("the socket was taken away and is made anew") !=
               std::string::npos;
    }));
}

TEST_F(Place, IsLookedAtWithoutAWatchThatWouldKeepAKilledBrokerFromEnding) {
    for (const auto& file :
         std::filesystem::directory_iterator("/proc/" + std::to_string(mBroker->Process()) + "/fd")) {
        EXPECT_EQ(std::filesystem::read_symlink(file).string().find("notify"), std::string::npos);
    }
}

TEST_F(Place, GetsItsSocketBack) {
    std::filesystem::remove(mSocket);
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(mSocket); }));
    ExpectNewcomersMeetTheMember();
}

TEST_F(Place, GetsItsSocketBackFromAFileWithThatName) {
    std::ofstream(mRuntime + "/other") << "in the way";
    std::filesystem::rename(mRuntime + "/other", mSocket);
    ASSERT_TRUE(Eventually([&] { return std::filesystem::is_socket(mSocket); }));
    ExpectNewcomersMeetTheMember();
}

TEST_F(Place, GetsItsMembersFileBackSoThatNoOtherBrokerCanServeAndMembersAreRemembered) {
    std::filesystem::remove(mRuntime + "/members");
    EXPECT_TRUE(Logs("the members file was taken away and is made anew"));
    BrokerProcess::Setup second = Setup(mRuntime, mDirectory / "log2");
    second.awaitReady = false;
    EXPECT_EQ(BrokerProcess(mRuntime, second).Wait(), 0) << "it leaves";
    ExpectNewcomersMeetTheMember();

    mBroker->Signal(SIGKILL);
    EXPECT_TRUE(mBroker->Wait());
    mBroker = std::make_unique<BrokerProcess>(mRuntime, Setup(mRuntime, mDirectory / "log"));
    WireClient again(mSocket, mMember.Shared());
    again.Resume("member-1", mMember.Member());
    EXPECT_EQ(again.Member(), mMember.Member());
}

TEST_F(Place, IsLeftToABrokerThatWasFaster) {
    mBroker->Signal(SIGSTOP);
    std::filesystem::remove_all(mRuntime);
    BrokerProcess faster(mRuntime, Setup(mRuntime, mDirectory / "log2"));
    mBroker->Signal(SIGCONT);
    EXPECT_EQ(mBroker->Wait(), 0);
    EXPECT_TRUE(Logs("another broker serves the runtime directory"));
    EXPECT_TRUE(mMember.IsClosed());
    WireClient again(mSocket, mMember.Shared());
    again.Join("member-1");
    EXPECT_NE(again.Status(), "");
}

TEST_F(Place, ThatCannotBeMadeAnewIsTriedAgainWhileTheMembersAreServed) {
    std::filesystem::rename(mRuntime, mDirectory / "elsewhere");
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(mSocket); }));
    mBroker->Signal(SIGSTOP);
    std::filesystem::remove_all(mRuntime);
    std::ofstream(mRuntime) << "no directory";
    mBroker->Signal(SIGCONT);
    EXPECT_TRUE(Logs("clients cannot find this broker"));
    EXPECT_NE(mMember.Status(), "");
    std::filesystem::remove(mRuntime);
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(mSocket); }));
    ExpectNewcomersMeetTheMember();
}

/// Hands inListener over as a service manager does.
BrokerProcess::Setup Activated(BrokerProcess::Setup inSetup, const Listener& inListener) {
    inSetup.prepare = [&inListener] {
        if (inListener.Descriptor() == 3) {
            ::fcntl(3, F_SETFD, 0);
        } else {
            ::dup2(inListener.Descriptor(), 3);
        }
        ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
        ::setenv("LISTEN_FDS", "1", 1);
    };
    inSetup.awaitReady = false;
    return inSetup;
}

TEST_F(Place, IsHandedToAServiceManagerThatPutItsSocketThereAndItsBrokerGetsTheMembers) {
    const Listener manager = Listener::Bind(mSocket);
    BrokerProcess service(mRuntime, Activated(Setup(mRuntime, mDirectory / "log2"), manager));
    EXPECT_EQ(mBroker->Wait(), 0);
    EXPECT_TRUE(mMember.IsClosed());
    WireClient again(mSocket, mMember.Shared());
    again.Resume("member-1", mMember.Member());
    EXPECT_EQ(again.Member(), mMember.Member());
    EXPECT_TRUE(service.Running());
}

TEST_F(Place, OfASocketHandedOverIsMadeAnewTooWhenItIsGone) {
    auto manager = std::make_unique<Listener>(Listener::Bind(mSocket));
    BrokerProcess service(mRuntime, Activated(Setup(mRuntime, mDirectory / "log2"), *manager));
    EXPECT_EQ(mBroker->Wait(), 0);
    WireClient again(mSocket, mMember.Shared());
    again.Resume("member-1", mMember.Member());
    RemoveAllAtOnce(service);
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(mSocket); }));
    WireClient newcomer(mSocket);
    EXPECT_EQ(newcomer.Join("newcomer-1").size(), 2U);
    EXPECT_TRUE(service.Running());
}

}  // namespace
