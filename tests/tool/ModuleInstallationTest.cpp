// One installation, as users of the tool see it: how it is shown, interrupted, and left alone by its service.
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <stdexcept>

#include "Desktop.h"
#include "bus/MessageTypes.h"

namespace tool_test {

using support::ChildProcess;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
namespace fs = std::filesystem;
namespace zarnd = orvane::plexa::zarnd;

namespace {

/// A server that lets everybody connect, and never says a word.
class SilentServer {
  public:
    SilentServer() {
        const sockaddr_in local{
            .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
        if (::bind(mSocket, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0 ||
            ::listen(mSocket, 8) != 0) {
            throw std::runtime_error("cannot listen");
        }
    }
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;
    ~SilentServer() { ::close(mSocket); }

    [[nodiscard]] std::string Address() const {
        sockaddr_in local{};
        socklen_t size = sizeof local;
        ::getsockname(mSocket, reinterpret_cast<sockaddr*>(&local), &size);
        return "http://127.0.0.1:" + std::to_string(ntohs(local.sin_port)) + "/a.tar";
    }

  private:
    int mSocket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

class ModuleInstallation : public OnDesktop {
  protected:
    [[nodiscard]] static std::vector<std::string> Install(const std::string& inModule) {
        return {"module", "install", inModule, "--product", "QRTX", "--product-version", "20.0"};
    }
    /// A process that says it is the service, and prints what it is asked.
    [[nodiscard]] std::unique_ptr<ChildProcess> OtherService() const {
        auto service = std::make_unique<ChildProcess>(Command(
            {"subscribe", zarnd::kInstallType, zarnd::kCancelType, zarnd::kCheckType, "--as", "zarnd"}));
        EXPECT_TRUE(service->AwaitErrors("listening as zarnd-")) << service->Errors();
        return service;
    }
};

}  // namespace

TEST_F(ModuleInstallation, AnInterruptionTakesTheRequestBack) {
    const SilentServer server;
    Offer("KQ7L", 1000, "", server.Address());
    StartService();
    ChildProcess tool(Command(Install("KQ7L")));
    ASSERT_TRUE(tool.AwaitOutput("KQ7L: 0 %")) << tool.Errors();
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Wait(), 6) << tool.Errors();
    EXPECT_THAT(tool.Errors(), StartsWith("plexa: taking the request back; Ctrl-C again leaves at once\n"));
    EXPECT_THAT(tool.Errors(), HasSubstr("KQ7L: cancelled"));
    EXPECT_FALSE(fs::exists(Files("KQ7L")));
}

TEST_F(ModuleInstallation, AServiceThatLeavesLeavesNobodyWaiting) {
    const SilentServer server;
    Offer("KQ7L", 1000, "", server.Address());
    StartService();
    std::vector<std::string> install = Install("KQ7L");
    install.push_back("--json");
    ChildProcess tool(Command(install));
    ASSERT_TRUE(tool.AwaitOutput("\"percent\":0")) << tool.Errors();
    KillService();
    EXPECT_EQ(tool.Wait(), 1);
    EXPECT_THAT(tool.Errors(), HasSubstr("the desktop service has left the bus"));
    EXPECT_THAT(tool.Output(), HasSubstr("\"event\":\"error\""));
    EXPECT_THAT(tool.Output(), Not(HasSubstr("\"result\":0")));
}

TEST_F(ModuleInstallation, AServiceThatIsReplacedLeavesNobodyWaiting) {
    const SilentServer server;
    Offer("KQ7L", 1000, "", server.Address());
    StartService();
    ChildProcess tool(Command(Install("KQ7L")));
    ASSERT_TRUE(tool.AwaitOutput("KQ7L: 0 %")) << tool.Errors();
    StartService();  // the one before is killed; hardly anybody sees it missing
    EXPECT_EQ(tool.Wait(), 1);
    EXPECT_THAT(tool.Errors(), HasSubstr("the desktop service has left the bus"));
}

TEST_F(ModuleInstallation, ShowsABarOnATerminal) {
    Offer("KQ7L", 300'000);
    StartService();
    support::Command command = Command(Install("KQ7L"));
    command.mOutput = support::Command::Output::kTerminal;
    const auto run = support::Run(command);
    EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
    EXPECT_THAT(run.mOutput, StartsWith("\rKQ7L [..............................]   0 %\rKQ7L ["));
    EXPECT_THAT(run.mOutput,
                EndsWith("\rKQ7L [##############################] 100 %\r\nKQ7L: installed\r\n"));
}

// What this service never says, others may.
TEST_F(ModuleInstallation, ErrorsWithAResultOfTheirOwnHaveAnExitCodeOfTheirOwn) {
    const auto service = OtherService();
    ChildProcess tool(Command(Install("KQ7L")));
    ASSERT_TRUE(service->AwaitOutput(zarnd::kInstallType)) << tool.Errors();
    const auto told = Run({"send", zarnd::kEventType,
                           R"({"event-type":"error","module-id":"KQ7L",)"
                           R"("error-data":{"error-code":"413","error-metadata":"out of luck"}})"});
    EXPECT_EQ(told.mExitCode, 0) << told.mErrors;
    EXPECT_EQ(tool.Wait(), 7);
    EXPECT_THAT(tool.Errors(), HasSubstr("KQ7L is not installed: out of luck (error 413)"));
}

TEST_F(ModuleInstallation, AnErrorWithoutAReasonIsSaidToHaveNone) {
    const auto service = OtherService();
    std::vector<std::string> install = Install("KQ7L");
    install.push_back("--json");
    ChildProcess tool(Command(install));
    ASSERT_TRUE(service->AwaitOutput(zarnd::kInstallType)) << tool.Errors();
    const auto told = Run(
        {"send", zarnd::kEventType,
         R"({"event-type":"error","module-id":"KQ7L","error-data":{"error-code":"","error-metadata":""}})"});
    EXPECT_EQ(told.mExitCode, 0) << told.mErrors;
    EXPECT_EQ(tool.Wait(), 1);
    EXPECT_THAT(tool.Errors(), HasSubstr("KQ7L is not installed: the desktop service gives no reason\n"));
    EXPECT_THAT(tool.Output(), HasSubstr("\"text\":\"the desktop service gives no reason\""));
    EXPECT_THAT(tool.Output(), Not(HasSubstr("\"result\":0")));
}

TEST_F(ModuleInstallation, ACheckOfAServiceThatLeavesEnds) {
    const auto service = OtherService();
    ChildProcess tool(Command({"module", "check"}));
    ASSERT_TRUE(service->AwaitOutput(zarnd::kCheckType)) << tool.Errors();
    service->Signal(SIGINT);
    EXPECT_EQ(tool.Wait(), 3);
    EXPECT_THAT(tool.Errors(), HasSubstr("has left the bus without an answer"));
}

TEST_F(ModuleInstallation, ACancellationOfAServiceThatLeavesEnds) {
    const auto service = OtherService();  // says nothing
    ChildProcess tool(Command(Install("KQ7L")));
    ASSERT_TRUE(service->AwaitOutput(zarnd::kInstallType)) << tool.Errors();
    tool.Signal(SIGINT);
    ASSERT_TRUE(service->AwaitOutput(zarnd::kCancelType)) << tool.Errors();
    service->Signal(SIGINT);
    EXPECT_EQ(tool.Wait(), 1);
    EXPECT_THAT(tool.Errors(), HasSubstr("the desktop service has left the bus"));
}

TEST_F(ModuleInstallation, AnInterruptionEndsTheWaitForACheck) {
    const auto service = OtherService();
    ChildProcess tool(Command({"module", "check"}));
    ASSERT_TRUE(service->AwaitOutput(zarnd::kCheckType)) << tool.Errors();
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Wait(), 3);
    EXPECT_THAT(tool.Errors(), HasSubstr("interrupted before the desktop service answered"));
}

TEST_F(ModuleInstallation, ASecondInterruptionWaitsForNothing) {
    const auto service = OtherService();  // says nothing
    ChildProcess tool(Command(Install("KQ7L")));
    ASSERT_TRUE(service->AwaitOutput(zarnd::kInstallType)) << tool.Errors();
    tool.Signal(SIGINT);
    ASSERT_TRUE(service->AwaitOutput(zarnd::kCancelType)) << tool.Errors();
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Wait(), 128 + SIGINT);
}

TEST_F(ModuleInstallation, ARequestThatIsTooLongInTheFormInWhichItIsSentIsRefused) {
    support::Command command = Command(Install("KQ7L"));
    command.mEnvironment["NUOCORE_VERSION"] = std::string(20'000, '1');
    const auto run = support::Run(command);
    EXPECT_EQ(run.mExitCode, 2) << run.mErrors;
    EXPECT_THAT(run.mErrors, HasSubstr("cannot ask this"));
}

// Its end was told while the tool was away, and nobody will tell it again.
TEST_F(ModuleInstallation, ACancellationOfARequestThatHasEndedUnheardEnds) {
    const auto service = OtherService();
    ChildProcess refuser(Command({"answer", zarnd::kCancelType, "--response",
                                  std::string(zarnd::kCancelType) + zarnd::kAnswerSuffix, "--reply",
                                  R"({"result":"error","error-data":{"error-code":"210"}})"}));
    ASSERT_TRUE(refuser.AwaitErrors("answering as ")) << refuser.Errors();
    ChildProcess tool(Command(Install("KQ7L")));
    ASSERT_TRUE(service->AwaitOutput(zarnd::kInstallType)) << tool.Errors();
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Wait(), 1);
    EXPECT_THAT(tool.Errors(), HasSubstr("KQ7L may be installed or not"));
}

}  // namespace tool_test
