// Add-on modules, as users of the tool meet them: with the real service and real archives.
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <stdexcept>

#include "Desktop.h"

namespace tool_test {

using support::ChildProcess;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
namespace fs = std::filesystem;

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

class Modules : public OnDesktop {
  protected:
    [[nodiscard]] static std::vector<std::string> Install(const std::string& inModule) {
        return {"module", "install", inModule, "--product", "QRTX", "--product-version", "20.0"};
    }
    [[nodiscard]] support::Finished InModule(const std::string& inVerb,
                                             std::vector<std::string> inMore) const {
        inMore.insert(inMore.begin(), {"module", inVerb});
        return Run(inMore);
    }
};

}  // namespace

TEST_F(Modules, AreInstalledListedCheckedAndRemovedByAServiceThatTheToolStarts) {
    Offer("KQ7L", 300'000);
    const auto installed = Run(Install("KQ7L"));
    EXPECT_EQ(installed.mExitCode, 0) << installed.mErrors;
    EXPECT_THAT(installed.mOutput, StartsWith("KQ7L: 0 %\n"));
    EXPECT_THAT(installed.mOutput, EndsWith("KQ7L: 100 %\nKQ7L: installed\n"));
    EXPECT_EQ(fs::file_size(Files("KQ7L") / "noise"), 300'000U);

    const auto listed = InModule("list", {});
    EXPECT_EQ(listed.mExitCode, 0) << listed.mErrors;
    EXPECT_THAT(listed.mOutput, AllOf(StartsWith("PRODUCT"), HasSubstr("QRTX     KQ7L    installed  1.0")));
    EXPECT_THAT(InModule("list", {"--json", "--product", "QRTX"}).mOutput,
                HasSubstr("\"module-id\":\"KQ7L\""));
    EXPECT_THAT(InModule("list", {"--json", "--product", "OTHER"}).mOutput, IsEmpty());

    EXPECT_EQ(InModule("check", {}).mOutput, "QRTX KQ7L 1.0: intact\n");
    std::ofstream(Files("KQ7L") / "noise", std::ios::app) << "more";
    const auto damaged = InModule("check", {"KQ7L", "--product", "QRTX"});
    EXPECT_EQ(damaged.mExitCode, 1);
    EXPECT_THAT(damaged.mOutput, AllOf(StartsWith("QRTX KQ7L 1.0: damaged\n"), HasSubstr("noise")));
    EXPECT_THAT(damaged.mErrors, HasSubstr("1 of the modules are damaged"));

    EXPECT_EQ(InModule("remove", {"KQ7L", "--product", "QRTX"}).mOutput, "KQ7L: removed\n");
    EXPECT_FALSE(fs::exists(Files("KQ7L")));
    const auto again = InModule("remove", {"KQ7L", "--product", "QRTX"});
    EXPECT_EQ(again.mExitCode, 1);
    EXPECT_THAT(again.mErrors, HasSubstr("(error 206)"));
}

TEST_F(Modules, ProgressIsJsonWhereThatIsWanted) {
    Offer("KQ7L", 1000);
    StartService();
    auto arguments = Install("KQ7L");
    arguments.emplace_back("--json");
    const auto run = Run(arguments);
    EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
    EXPECT_THAT(run.mOutput, StartsWith("{\"event\":\"progress\",\"module\":\"KQ7L\",\"percent\":0}\n"));
    EXPECT_THAT(run.mOutput, EndsWith("{\"event\":\"completed\",\"module\":\"KQ7L\"}\n"));
}

TEST_F(Modules, AnErrorIsToldInTheServicesWords) {
    Offer("KQ7L", 1000);
    StartService();
    auto arguments = Install("OTHER");
    arguments.emplace_back("--json");
    const auto run = Run(arguments);
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors, AllOf(HasSubstr("OTHER is not installed: "), HasSubstr("(error 203)")));
    EXPECT_THAT(run.mOutput, AllOf(HasSubstr("\"event\":\"error\""), HasSubstr("\"code\":\"203\"")));
    EXPECT_EQ(Run({"module", "install", "KQ7L", "--product", "NONE"}).mExitCode, 1);
}

TEST_F(Modules, ProgramsThatMustNotRunAreNamed) {
    const fs::path program = mBus.Folder() / "tool-test-busy";
    fs::copy_file("/bin/sleep", program);
    const ChildProcess busy({{program.string(), "600"}});
    Offer("KQ7L", 1000, "tool-test-busy");
    StartService();
    const auto run = Run(Install("KQ7L"));
    EXPECT_EQ(run.mExitCode, 5);
    EXPECT_THAT(run.mErrors, HasSubstr("close these programs first: tool-test-busy"));
}

TEST_F(Modules, AnInterruptionTakesTheRequestBack) {
    const SilentServer server;
    Offer("KQ7L", 1000, "", server.Address());
    StartService();
    ChildProcess tool(Command(Install("KQ7L")));
    ASSERT_TRUE(tool.AwaitOutput("KQ7L: 0 %")) << tool.Errors();
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Wait(), 6) << tool.Errors();
    EXPECT_THAT(tool.Errors(), HasSubstr("KQ7L: cancelled"));
    EXPECT_FALSE(fs::exists(Files("KQ7L")));
}

TEST_F(Modules, AServiceThatLeavesLeavesNobodyWaiting) {
    const SilentServer server;
    Offer("KQ7L", 1000, "", server.Address());
    StartService();
    ChildProcess tool(Command(Install("KQ7L")));
    ASSERT_TRUE(tool.AwaitOutput("KQ7L: 0 %")) << tool.Errors();
    KillService();
    EXPECT_EQ(tool.Wait(), 1);
    EXPECT_THAT(tool.Errors(), HasSubstr("the desktop service has left the bus"));
}

}  // namespace tool_test
