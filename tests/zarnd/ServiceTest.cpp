// The service as its users meet it: real broker, real hosts, real archives.
#include <gmock/gmock.h>

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <sstream>

#include "bus/MessageTypes.h"
#include "support/Archives.h"
#include "support/Desk.h"
#include "support/HttpServer.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using support::ChildProcess;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
namespace fs = std::filesystem;

namespace {

const std::string kArchive =
    MakeArchive({{Entry::Kind::kFile, "text", "words"}, {Entry::Kind::kFile, "noise", Noise(400'000)}});

ModuleSpec Named(const std::string& inId, ModuleSpec inModule) {
    inModule.mId = inId;
    return inModule;
}

/// A server that stops in the middle of its content until it is let go.
class Gate {
  public:
    explicit Gate(std::string inContent)
        : mContent(std::move(inContent)),
          mServer([this](const Question& inQuestion) { return Reply(inQuestion); }) {}
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    ~Gate() { Open(); }

    void Open() {
        const std::lock_guard lock(mMutex);
        mIsOpen = true;
        mOpened.notify_all();
    }
    [[nodiscard]] const HttpServer& Server() const { return mServer; }

  private:
    // The first answer is cut in the middle, the next ones wait.
    Answer Reply(const Question& inQuestion) {
        std::unique_lock lock(mMutex);
        const bool wasOpen = mIsOpen;
        if (inQuestion.mNumber > 0) mOpened.wait(lock, [this] { return mIsOpen; });
        Answer answer = Content(inQuestion, mContent);
        if (!wasOpen && inQuestion.mNumber == 0) answer.mCutAfter = mContent.size() / 2;
        return answer;
    }

    std::string mContent;
    std::mutex mMutex;
    std::condition_variable mOpened;
    bool mIsOpen = false;
    HttpServer mServer;
};

/// The percentages that a host has printed.
std::vector<int> Percentages(const std::string& inOutput) {
    std::vector<int> percentages;
    std::istringstream lines(inOutput);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t place = line.find(" progress ");
        if (place != std::string::npos) percentages.push_back(std::stoi(line.substr(place + 10)));
    }
    return percentages;
}

class Serving : public testing::Test {
  protected:
    Desk mDesk;
};

}  // namespace

TEST_F(Serving, InstallsAModuleAndTellsTheWayThere) {
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    mDesk.StartService();
    const auto host = mDesk.Host("KQ7L");
    EXPECT_EQ(mDesk.EndOf(*host), "QRTX 20.0 KQ7L completed");
    EXPECT_THAT(host->Output(), StartsWith("QRTX 20.0 KQ7L progress 0\n"));
    const auto percentages = Percentages(host->Output());
    EXPECT_TRUE(std::is_sorted(percentages.begin(), percentages.end())) << host->Output();
    EXPECT_EQ(percentages.back(), 100);
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "words");
    // Again: it is there already.
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    // And again when it isn't whole any more.
    Write(mDesk.Files("KQ7L") / "text", "other");
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "words");
}

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

TEST_F(Serving, InstallsOnceWhatTwoHostsAskForAndWhatIsNeededFirst) {
    Gate gate(kArchive);
    ModuleSpec top = Named("TOP", ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar")));
    top.mNeeds = {"BASE"};
    mDesk.Offer({top, Named("BASE", ModuleOf(kArchive, gate.Server().Address()))});
    mDesk.StartService();
    const auto one = mDesk.Host("TOP", "ONE");
    const auto two = mDesk.Host("TOP", "TWO");
    EXPECT_TRUE(one->AwaitOutput("progress"));
    EXPECT_TRUE(two->AwaitOutput("progress"));
    EXPECT_FALSE(fs::exists(mDesk.Files("TOP")));
    gate.Open();
    EXPECT_EQ(mDesk.EndOf(*one), "QRTX 20.0 TOP completed");
    EXPECT_EQ(mDesk.EndOf(*two), "QRTX 20.0 TOP completed");
    EXPECT_LE(gate.Server().Questions(), 2);  // the second for the rest
    EXPECT_EQ(Read(mDesk.Files("BASE") / "text"), "words");
}

TEST_F(Serving, CancelsForReal) {
    Gate gate(kArchive);
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    mDesk.StartService();
    const auto host = mDesk.Host("KQ7L");
    ASSERT_TRUE(host->AwaitOutput("progress 50")) << host->Output();
    host->Signal(SIGINT);
    EXPECT_EQ(host->Wait(), 0);
    EXPECT_THAT(host->Output(), HasSubstr("QRTX 20.0 KQ7L cancelled\n"));
    EXPECT_THAT(host->Output(), Not(HasSubstr("completed")));
    gate.Open();
    mDesk.Service().Signal(SIGTERM);
    EXPECT_EQ(mDesk.Service().Wait(), 0);
    EXPECT_FALSE(fs::exists(mDesk.Data() / "modules" / "QRTX" / "KQ7L" / "current"));
}

TEST_F(Serving, GoesOnWhenTheBrokerHasBeenKilled) {
    Gate gate(kArchive);
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    mDesk.StartService();
    const auto host = mDesk.Host("KQ7L");
    ASSERT_TRUE(host->AwaitOutput("progress")) << host->Output();
    const auto broker = mDesk.Bus().BrokerId();
    ASSERT_TRUE(broker);
    ::kill(*broker, SIGKILL);
    gate.Open();
    EXPECT_EQ(mDesk.EndOf(*host), "QRTX 20.0 KQ7L completed");
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
}

TEST_F(Serving, LeavesTheOldStateWhenItIsKilledAndServesAgain) {
    Gate gate(kArchive);
    const std::string before = MakeArchive({{Entry::Kind::kFile, "text", "before"}});
    mDesk.Offer({ModuleOf(before, mDesk.Store(before, "before.tar"))});
    mDesk.StartService();
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    const auto host = mDesk.Host("KQ7L");
    ASSERT_TRUE(host->AwaitOutput("progress 50")) << host->Output();
    mDesk.Service().Signal(SIGKILL);
    mDesk.Service().Wait();
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "before");
    gate.Open();
    mDesk.StartService();
    const fs::path module = mDesk.Data() / "modules" / "QRTX" / "KQ7L";
    EXPECT_EQ(std::distance(fs::directory_iterator(module), fs::directory_iterator()), 2);
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L", "NEXT")), "QRTX 20.0 KQ7L completed");
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "words");
}

TEST_F(Serving, TellsWhoIsOwedAModuleThatItEnds) {
    Gate gate(kArchive);
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    mDesk.StartService();
    const auto host = mDesk.Host("KQ7L");
    ASSERT_TRUE(host->AwaitOutput("progress")) << host->Output();
    mDesk.Service().Signal(SIGTERM);
    EXPECT_THAT(mDesk.EndOf(*host), StartsWith("QRTX 20.0 KQ7L error 361 "));
    EXPECT_EQ(mDesk.Service().Wait(), 0);
    gate.Open();
}

TEST_F(Serving, ServesOneDataFolderOnce) {
    mDesk.StartService();
    const auto second = support::Run(mDesk.ServiceCommand());
    EXPECT_EQ(second.mExitCode, 0);
    EXPECT_THAT(second.mErrors, HasSubstr("another service has"));
}

TEST_F(Serving, LeavesWhenItHasNothingToDo) {
    mDesk.StartService({"--idle-exit", "1"});
    EXPECT_EQ(mDesk.Service().Wait(), 0) << mDesk.Service().Errors();
}

TEST_F(Serving, ServesTheLibrarysOwnOperation) {
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    mDesk.StartService();
    const auto download = [&](const std::string& inModule) {
        const auto run = support::Run(
            {{DOWNLOAD_PROGRAM, "QRTX", "20.0", inModule}, mDesk.Bus().Environment(BROKER_BASE)});
        EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
        return run.mOutput;
    };
    EXPECT_THAT(download("KQ7L"), AllOf(StartsWith("KQ7L 0\n"), EndsWith("KQ7L 1\ninstalled\n")));
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "words");
    EXPECT_EQ(download("OTHER"), "Failed to download the requested module (0xA00F0001)\n");
    // An id that nobody has is echoed as the host wrote it, or the future would never end.
    EXPECT_THAT(download("tab\tand\nline"), HasSubstr("Failed to download"));
    EXPECT_THAT(download(std::string(8000, 'x')), HasSubstr("Failed to download"));
}

TEST_F(Serving, ShowsTheWayOfARepair) {
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    mDesk.StartService();
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    Write(mDesk.Files("KQ7L") / "text", "other");
    Gate gate(kArchive);
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    const auto host = mDesk.Host("KQ7L");
    EXPECT_TRUE(host->AwaitOutput("progress 50")) << host->Output();
    gate.Open();
    EXPECT_EQ(mDesk.EndOf(*host), "QRTX 20.0 KQ7L completed");
}

TEST_F(Serving, TellsAtMostTwentyStepsASecond) {
    // Some tenths of a second, in which there are a hundred steps.
    const std::string kLarge = MakeArchive({{Entry::Kind::kFile, "noise", Noise(60'000'000)}});
    mDesk.Offer({ModuleOf(kLarge, mDesk.Store(kLarge, "a.tar"))});
    mDesk.StartService();
    const auto begin = std::chrono::steady_clock::now();
    const auto host = mDesk.Host("KQ7L");
    EXPECT_EQ(mDesk.EndOf(*host), "QRTX 20.0 KQ7L completed");
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    const auto percentages = Percentages(host->Output());
    EXPECT_LE(static_cast<double>(percentages.size()), 20 * time.count() + 2);  // and the first and the last
}

TEST_F(Serving, StartedOnDemandHasASessionAndALogOfItsOwn) {
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    ChildProcess service(mDesk.ServiceCommand({"--on-demand", "--idle-exit", "1"}));
    const auto observer = std::make_unique<ChildProcess>(
        support::Command{{PLEXA_PROGRAM, "observe", "mail", "new"}, mDesk.Bus().Environment(BROKER_BASE)});
    ASSERT_TRUE(observer->AwaitErrors("observing as")) << observer->Errors();
    EXPECT_EQ(::getsid(service.Id()), service.Id());
    // Somebody counts on it for longer than it would stay.
    EXPECT_EQ(service.Wait(std::chrono::seconds(3)), std::nullopt);
    observer->Signal(SIGINT);
    EXPECT_EQ(observer->Wait(), 0);
    EXPECT_EQ(service.Wait(), 0);
    EXPECT_EQ(service.Errors(), "");
    EXPECT_THAT(Read(mDesk.Data() / "zarnd.log"),
                AllOf(HasSubstr("serving as zarnd-"), EndsWith("ended [, ]\n")));
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

TEST_F(Serving, ListsChecksAndRemovesModules) {
    ModuleSpec top = Named("TOP", ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar")));
    top.mNeeds = {"BASE"};
    mDesk.Offer({top, Named("BASE", ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))),
                 Named("MORE", ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar")))});
    mDesk.StartService();
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("TOP")), "QRTX 20.0 TOP completed");
    const std::string list = mDesk.Ask(kListType, {});
    EXPECT_THAT(
        list, HasSubstr(R"("module-id":"TOP","offered-version":"1.0","product-sapcode":"QRTX","size":400005,)"
                        R"("state":"installed","version":"1.0")"));
    EXPECT_THAT(list, HasSubstr(R"("module-id":"MORE","offered-version":"1.0","product-sapcode":"QRTX")"));
    EXPECT_THAT(list, HasSubstr(R"("folder":")" + mDesk.Files("BASE").string()));
    EXPECT_THAT(mDesk.Ask(kListType, {"product-sapcode=OTHER"}), HasSubstr(R"("modules":[])"));

    EXPECT_THAT(mDesk.Ask(kCheckType, {}), AllOf(HasSubstr("\"intact\""), Not(HasSubstr("\"damaged\""))));
    fs::remove(mDesk.Files("TOP") / "text");
    EXPECT_THAT(mDesk.Ask(kCheckType, {"product-sapcode=QRTX", R"(modules:={"module-id":"TOP"})"}),
                AllOf(HasSubstr(R"({"damage":"is missing","file":"text"})"), Not(HasSubstr("BASE"))));
    EXPECT_THAT(mDesk.Ask(kCheckType, {"product-sapcode=QRTX", R"(modules:={"module-id":"MORE"})"}),
                HasSubstr(R"("error-code":"206")"));

    const auto remove = [&](const std::string& inModule) {
        return mDesk.Ask(kRemoveType,
                         {"product-sapcode=QRTX", R"(modules:={"module-id":")" + inModule + "\"}"});
    };
    EXPECT_THAT(remove("BASE"),
                AllOf(HasSubstr(R"("error-code":"207")"), HasSubstr("the module TOP needs it")));
    EXPECT_THAT(remove("TOP"), HasSubstr(R"("result":"done")"));
    EXPECT_THAT(remove("BASE"), HasSubstr(R"("result":"done")"));
    EXPECT_THAT(remove("BASE"), HasSubstr(R"("error-code":"206")"));
    EXPECT_THAT(remove("../QRTX"), HasSubstr(R"("error-code":"206")"));
    EXPECT_FALSE(fs::exists(mDesk.Data() / "modules" / "QRTX" / "TOP"));
}

TEST_F(Serving, ShowsWhatIsOutdatedAndBringsItUpToDate) {
    const std::string fresh = MakeArchive({{Entry::Kind::kFile, "text", "fresh"}});
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    mDesk.StartService();
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    ModuleSpec next = ModuleOf(fresh, mDesk.Store(fresh, "b.tar"));
    next.mVersion = "2.0";
    mDesk.Offer({next});
    EXPECT_THAT(mDesk.Ask(kListType, {"product-sapcode=QRTX"}),
                AllOf(HasSubstr("\"outdated\""), HasSubstr(R"("offered-version":"2.0")"),
                      HasSubstr(R"("version":"1.0")")));
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "fresh");
}

TEST_F(Serving, RemovesNothingThatIsBeingWorkedOn) {
    Gate gate(kArchive);
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    mDesk.StartService();
    const auto host = mDesk.Host("KQ7L");
    ASSERT_TRUE(host->AwaitOutput("progress")) << host->Output();
    EXPECT_THAT(mDesk.Ask(kRemoveType, {"product-sapcode=QRTX", R"(modules:={"module-id":"KQ7L"})"}),
                HasSubstr(R"("error-code":"208")"));
    EXPECT_THAT(mDesk.Ask(kCancelType, {"product-sapcode=QRTX", R"(modules:={"module-id":"KQ7L"})"}),
                HasSubstr(R"("error-code":"210")"));
    gate.Open();
    EXPECT_EQ(mDesk.EndOf(*host), "QRTX 20.0 KQ7L completed");
}

TEST(CommandLine, ExplainsItselfAndRefusesWhatItDoesNotKnow) {
    const auto run = [](const std::vector<std::string>& inArguments) {
        support::Command command{{ZARND_PROGRAM}};
        command.mArguments.insert(command.mArguments.end(), inArguments.begin(), inArguments.end());
        command.mEnvironment = {{"HOME", std::nullopt}, {"XDG_DATA_HOME", std::nullopt}};
        return support::Run(command);
    };
    EXPECT_THAT(run({"--help"}).mOutput, AllOf(HasSubstr("Examples:"), HasSubstr("--idle-exit")));
    EXPECT_EQ(run({"--help"}).mExitCode, 0);
    EXPECT_THAT(run({"--version"}).mOutput, StartsWith("zarnd "));
    EXPECT_EQ(run({"--nonsense"}).mExitCode, 2);
    EXPECT_EQ(run({"--idle-exit", "-1"}).mExitCode, 2);
    const auto homeless = run({});
    EXPECT_EQ(homeless.mExitCode, 2);
    EXPECT_THAT(homeless.mErrors, HasSubstr("set HOME, XDG_DATA_HOME or --data-dir"));
}

}  // namespace zarnd_test
