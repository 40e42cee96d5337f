// What askers hear of what cannot be done.
#include <gmock/gmock.h>
#include <sys/mount.h>

#include <csignal>

#include "bus/MessageTypes.h"
#include "support/SafeServer.h"
#include "support/ServingFixture.h"

namespace zarnd_test {

using support::ChildProcess;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

TEST_F(Serving, EndsRequestsThatItCannotServeWithACodeAndASentence) {
    ModuleSpec old = Named("OLD", ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar")));
    old.mFits = {"19.*"};
    ModuleSpec wrong = Named("WRONG", ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar")));
    wrong.mSha256 = std::string(64, '0');
    const std::string evil = MakeArchive({{Entry::Kind::kFile, "../../evil", "x"}});
    const std::string half = kArchive.substr(0, 200'000);
    mDesk.Offer({old, wrong, Named("EVIL", ModuleOf(evil, mDesk.Store(evil, "evil.tar"))),
                 Named("HALF", ModuleOf(half, mDesk.Store(half, "half.tar"))),
                 Named("NOWHERE", ModuleOf(kArchive, "file:///nonexistent/a.tar"))});
    mDesk.StartService();
    const auto end = [&](const char* inModule, const char* inProduct = "QRTX") {
        return mDesk.EndOf(*mDesk.Host(inModule, "HOST", inProduct));
    };
    EXPECT_THAT(end("KQ7L", "NONE"), StartsWith("NONE 20.0 KQ7L error 201 there is no catalogue"));
    EXPECT_THAT(end("../x"), StartsWith("QRTX 20.0 ../x error 203 "));
    EXPECT_THAT(end("OLD"), StartsWith("QRTX 20.0 OLD error 204 the module OLD is not made for"));
    EXPECT_THAT(end("WRONG"), StartsWith("QRTX 20.0 WRONG error 305 "));
    EXPECT_THAT(end("EVIL"), StartsWith("QRTX 20.0 EVIL error 322 "));
    EXPECT_THAT(end("HALF"), StartsWith("QRTX 20.0 HALF error 321 "));
    EXPECT_THAT(end("NOWHERE"), StartsWith("QRTX 20.0 NOWHERE error 302 "));
    EXPECT_FALSE(fs::exists(mDesk.Data() / "modules" / "QRTX" / "EVIL" / "current"));
    (void)mDesk.Store("{", "catalogues/QRTX.json");
    EXPECT_THAT(end("OLD"),
                AllOf(StartsWith("QRTX 20.0 OLD error 202 "), HasSubstr("QRTX.json: is no JSON")));
}

TEST_F(Serving, NamesConflictingPrograms) {
    ModuleSpec module = ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"));
    module.mConflicts = {"zarnd-test-one", "zarnd-test-none", "zarnd-test-two"};
    mDesk.Offer({module});
    mDesk.StartService();
    const ScratchFolder programs;
    std::vector<std::unique_ptr<ChildProcess>> running;
    for (const char* const name : {"zarnd-test-one", "zarnd-test-two"}) {
        fs::copy_file("/bin/sleep", programs.Path() / name);
        running.push_back(
            std::make_unique<ChildProcess>(support::Command{{(programs.Path() / name).string(), "100"}}));
    }
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L error 131 zarnd-test-one,zarnd-test-two");
    running.clear();
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
}

TEST_F(Serving, NamesWhatTheDiskRefuses) {
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    support::Command command = mDesk.ServiceCommand();
    // No file may have more than 64 KiB: what comes then is as if the disk refused it.
    command.mArguments.insert(command.mArguments.begin(), {"/usr/bin/prlimit", "--fsize=65536"});
    ChildProcess service(command);
    ASSERT_TRUE(service.AwaitErrors("serving as zarnd-")) << service.Errors();
    EXPECT_THAT(mDesk.EndOf(*mDesk.Host("KQ7L")), StartsWith("QRTX 20.0 KQ7L error 342 "));
    EXPECT_FALSE(fs::exists(mDesk.Data() / "modules" / "QRTX" / "KQ7L" / "current"));
    service.Signal(SIGTERM);
    EXPECT_EQ(service.Wait(), 0);
}

TEST_F(Serving, OverlooksWhatIsNoQuestion) {
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    mDesk.StartService();
    const std::string longOne = "{\"modules\":{\"module-id\":\"" + std::string(20'000, 'x') + "\"}}";
    for (const std::string& payload :
         {std::string("words"), std::string("<a>"), std::string("{}"), std::string("[]"), longOne}) {
        for (const char* const type : kQuestionTypes) {
            support::Command command{{PLEXA_PROGRAM, "send", type, payload},
                                     mDesk.Bus().Environment(BROKER_BASE)};
            EXPECT_EQ(support::Run(command).mExitCode, 0) << payload;
        }
    }
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    EXPECT_TRUE(mDesk.Service().AwaitErrors("is too long to be a question"));
    EXPECT_TRUE(mDesk.Service().AwaitErrors("names no module"));
}

TEST_F(Serving, SaysWhatIsWrongWithAServer) {
    std::string gone;
    {
        const HttpServer server([](const Question&) { return Answer{}; });
        gone = server.Address();
    }
    const HttpServer small([](const Question&) { return Answer{200, "too little"}; });
    mDesk.Offer(
        {Named("GONE", ModuleOf(kArchive, gone)), Named("SMALL", ModuleOf(kArchive, small.Address()))});
    mDesk.StartService();
    EXPECT_THAT(mDesk.EndOf(*mDesk.Host("SMALL")),
                StartsWith("QRTX 20.0 SMALL error 304 the server offers 10 "));
    EXPECT_THAT(mDesk.EndOf(*mDesk.Host("GONE")), StartsWith("QRTX 20.0 GONE error 301 the server can't be"));
}

/// A small file system over a folder, while it lives.
class SmallDisk {
  public:
    explicit SmallDisk(fs::path inFolder) : mFolder(std::move(inFolder)) {
        fs::create_directories(mFolder);
        mIsThere = ::mount("none", mFolder.c_str(), "tmpfs", 0, "size=128k") == 0;
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk() {
        if (mIsThere) ::umount2(mFolder.c_str(), MNT_DETACH);
    }
    [[nodiscard]] bool IsThere() const { return mIsThere; }

  private:
    fs::path mFolder;
    bool mIsThere = false;
};

TEST_F(Serving, SaysThatTheDiskIsFull) {
    const SmallDisk disk(mDesk.Data() / "modules");
    if (!disk.IsThere()) {
        GTEST_SKIP()
            << "NOT TESTED: what askers hear of a full disk. A small file system must be mounted for "
               "it, which only root may";
    }
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    mDesk.StartService();
    EXPECT_THAT(mDesk.EndOf(*mDesk.Host("KQ7L")), StartsWith("QRTX 20.0 KQ7L error 341 "));
}

TEST_F(Serving, TrustsTheAuthorityThatItIsTold) {
    const ScratchFolder scratch;
    Write(scratch.Path() / "archive",
          "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kArchive.size()) +
              "\r\nConnection: close\r\n\r\n" + kArchive);
    const SafeServer server(scratch.Path().string());
    mDesk.Offer({ModuleOf(kArchive, server.Address())});
    mDesk.StartService();
    EXPECT_THAT(mDesk.EndOf(*mDesk.Host("KQ7L")),
                StartsWith("QRTX 20.0 KQ7L error 301 the server can't be trusted"));
    mDesk.StartService({"--ca-file", server.Authority()});
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "words");
}

}  // namespace zarnd_test
