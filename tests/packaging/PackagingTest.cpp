#include <gmock/gmock.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/ChildProcess.h"
#include "support/PrivateBus.h"

namespace {

using support::Command;
using support::Finished;
using testing::HasSubstr;

const std::filesystem::path kConsumers = std::filesystem::path(SOURCE_FOLDER) / "tests/packaging/consumer";

// A bus, and a folder to install to and to build in.
class Packaging : public testing::Test {
  protected:
    void Install(const std::vector<std::string>& inMore = {}) const {
        std::vector<std::string> arguments = {CMAKE_PROGRAM, "--install", BUILD_FOLDER, "--prefix", Prefix()};
        arguments.insert(arguments.end(), inMore.begin(), inMore.end());
        Succeed(arguments);
    }
    void Configure(const std::filesystem::path& inProject, const std::vector<std::string>& inMore) const {
        std::vector<std::string> arguments = {CMAKE_PROGRAM,
                                              "-G",
                                              "Ninja",
                                              "-S",
                                              inProject,
                                              "-B",
                                              Build(),
                                              "-DCMAKE_CXX_COMPILER=" COMPILER,
                                              "-DCMAKE_BUILD_TYPE=" BUILD_TYPE};
        arguments.insert(arguments.end(), inMore.begin(), inMore.end());
        Succeed(arguments);
    }
    void MakeProgram() const { Succeed({CMAKE_PROGRAM, "--build", Build()}); }

    // What a program prints that goes on the bus with the installed broker.
    [[nodiscard]] std::string Output(const std::string& inProgram,
                                     const std::string& inLibraryPath = {}) const {
        Command command{{inProgram}, mBus.Environment(Prefix() + "/" LIBRARY_FOLDER)};
        if (!inLibraryPath.empty()) command.mEnvironment["LD_LIBRARY_PATH"] = inLibraryPath;
        const Finished run = support::Run(command);
        EXPECT_EQ(run.mExitCode, 0) << inProgram << ": " << run.mErrors;
        return run.mOutput;
    }

    static std::string Succeed(const std::vector<std::string>& inArguments) {
        support::ChildProcess process(Command{inArguments});
        const auto code = process.Wait(std::chrono::minutes(15));
        EXPECT_EQ(code, 0) << testing::PrintToString(inArguments) << "\n"
                           << process.Output() << process.Errors();
        return process.Output();
    }

    [[nodiscard]] std::string Prefix() const { return (mBus.Folder() / "prefix").string(); }
    [[nodiscard]] std::string Build() const { return (mBus.Folder() / "build").string(); }

    support::PrivateBus mBus;
};

std::vector<std::string> Words(const std::string& inText) {
    std::istringstream stream(inText);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

// The value of a setting in a unit, as it counts for a user whose runtime directory is inRuntime.
std::string Setting(const std::string& inUnit, const std::string& inName, const std::string& inRuntime) {
    std::ifstream unit(inUnit);
    for (std::string line; std::getline(unit, line);) {
        if (!line.starts_with(inName + "=")) continue;
        std::string value = line.substr(inName.size() + 1);
        if (const auto at = value.find("%t"); at != std::string::npos) value.replace(at, 2, inRuntime);
        return value;
    }
    return {};
}

// A socket at inPath, as a service manager makes it. Processes started from here have it too.
int Listen(const std::string& inPath) {
    std::filesystem::create_directories(std::filesystem::path(inPath).parent_path());
    std::filesystem::permissions(std::filesystem::path(inPath).parent_path(),
                                 std::filesystem::perms::owner_all);
    const int listening = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, inPath.c_str(), std::min(inPath.size() + 1, sizeof address.sun_path));
    EXPECT_EQ(::bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << inPath;
    EXPECT_EQ(::listen(listening, SOMAXCONN), 0);
    return listening;
}

}  // namespace

TEST_F(Packaging, TheBrokerServesOnTheSocketThatItsUnitsName) {
    Install({"--component", "runtime"});
    const std::string units = Prefix() + "/lib/systemd/user/orvane-ipc-broker";
    const std::string runtime = (mBus.Folder() / "run").string();
    std::vector<std::string> start = Words(Setting(units + ".service", "ExecStart", runtime));
    ASSERT_FALSE(start.empty());
    EXPECT_EQ(start.front(), UNIT_PROGRAM_FOLDER "/OrvaneIPCBroker");
    start.front() = Prefix() + "/" PROGRAM_FOLDER "/OrvaneIPCBroker";
    // Anywhere else the broker would make another socket beside it, where clients look.
    const std::string place = Setting(units + ".socket", "ListenStream", runtime);
    EXPECT_EQ(place, runtime + "/plexa/broker.sock");
    const int listening = Listen(place);
    const std::string handOver =
        "export LISTEN_PID=$$ LISTEN_FDS=1; exec \"$@\" 3<&" + std::to_string(listening);
    start.insert(start.begin(), {"/bin/sh", "-c", handOver, "sh"});
    auto environment = mBus.Environment(Prefix() + "/" LIBRARY_FOLDER);
    environment["PLEXA_RUNTIME_DIR"] = std::nullopt;
    environment["XDG_RUNTIME_DIR"] = runtime;
    const support::ChildProcess broker(Command{start, environment});
    const std::string tool = Prefix() + "/" PROGRAM_FOLDER "/plexa";
    const Finished endPoints = support::Run({{tool, "endpoints"}, environment});
    EXPECT_EQ(endPoints.mExitCode, 0) << endPoints.mErrors;
    EXPECT_THAT(endPoints.mOutput, HasSubstr("PLEXACLI-"));
    const Finished status = support::Run({{tool, "broker", "status", "--json"}, environment});
    EXPECT_THAT(status.mOutput, HasSubstr("\"pid\":" + std::to_string(broker.Id()))) << status.mErrors;
    ::close(listening);
}

TEST_F(Packaging, TheModuleServiceServesAsItsUnitStartsIt) {
    Install({"--component", "runtime"});
    const std::string units = Prefix() + "/lib/systemd/user/";
    const std::string unit = units + "zarnd.service";
    std::vector<std::string> start = Words(Setting(unit, "ExecStart", ""));
    ASSERT_FALSE(start.empty());
    EXPECT_EQ(start.front(), UNIT_PROGRAM_FOLDER "/zarnd");
    start.front() = Prefix() + "/" PROGRAM_FOLDER "/zarnd";
    // The bus it needs is one that is there.
    for (const char* const setting : {"Wants", "After"}) {
        const std::vector<std::string> others = Words(Setting(unit, setting, ""));
        EXPECT_FALSE(others.empty()) << setting;
        for (const std::string& other : others) EXPECT_TRUE(std::filesystem::exists(units + other)) << other;
    }
    EXPECT_THAT(Words(Setting(unit, "RestrictAddressFamilies", "")),
                testing::IsSupersetOf({"AF_UNIX", "AF_INET", "AF_INET6", "AF_NETLINK"}));
    auto environment = mBus.Environment(Prefix() + "/" LIBRARY_FOLDER);
    environment["XDG_DATA_HOME"] = (mBus.Folder() / "data").string();
    support::ChildProcess service(Command{start, environment});
    EXPECT_TRUE(service.AwaitErrors("serving as zarnd-")) << service.Errors();
    const std::string tool = Prefix() + "/" PROGRAM_FOLDER "/plexa";
    const Finished list = support::Run({{tool, "module", "list"}, environment});
    EXPECT_EQ(list.mExitCode, 0) << list.mErrors;
    service.Signal(SIGTERM);
    EXPECT_EQ(service.Wait(), 0) << service.Errors();
}

TEST_F(Packaging, AHostIsBuiltThroughTheCMakePackage) {
    Install();
    Configure(kConsumers / "find_package", {"-DCMAKE_PREFIX_PATH=" + Prefix()});
    MakeProgram();
    EXPECT_EQ(Output(Build() + "/consumer"), "CONSUMER-1.0\n");
}

TEST_F(Packaging, TheExamplesAreProjectsOfTheirOwn) {
    Install();
    for (const char* const example : {"answering_host", "asking_host", "module_host", "script_host"}) {
        Configure(std::filesystem::path(SOURCE_FOLDER) / "examples" / example,
                  {"-DCMAKE_PREFIX_PATH=" + Prefix()});
        MakeProgram();
        EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(Build()) / example));
        std::filesystem::remove_all(Build());
    }
}

TEST_F(Packaging, AHostIsBuiltThroughPkgConfig) {
    Install();
    Command query{{PKG_CONFIG_PROGRAM, "--cflags", "--libs", "nuoplexasupport"},
                  {{"PKG_CONFIG_PATH", Prefix() + "/" LIBRARY_FOLDER "/pkgconfig"}},
                  {}};
    const Finished flags = support::Run(query);
    ASSERT_EQ(flags.mExitCode, 0) << flags.mErrors;
    const std::string program = (mBus.Folder() / "consumer").string();
    std::vector<std::string> compile = {COMPILER, "-std=c++20", "-o", program, kConsumers / "consumer.cpp"};
    std::ranges::copy(Words(flags.mOutput), std::back_inserter(compile));
    Succeed(compile);
    EXPECT_EQ(Output(program, Prefix() + "/" LIBRARY_FOLDER), "CONSUMER-1.0\n");
}

TEST_F(Packaging, TheLibraryIsBuiltAgainstAnInstalledPlatform) {
    Install();
    Configure(SOURCE_FOLDER, {"-DNUOPLEXA_PLATFORM_SDK=" + Prefix()});
    MakeProgram();
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(Build()) / "lib" / "libnuoplexasupport.so"));
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(Build()) / "lib" / "libnuocore.so"));
}

TEST_F(Packaging, AHostIsBuiltWithTheSourcesInItsOwnProject) {
    Install({"--component", "runtime"});
    Configure(kConsumers / "add_subdirectory",
              {"-DNUOPLEXASUPPORT_SOURCE=" SOURCE_FOLDER, "-DNUOPLEXA_BUILD_TOOLS=OFF"});
    MakeProgram();
    EXPECT_EQ(Output(Build() + "/consumer"), "CONSUMER-1.0\n");
}

TEST_F(Packaging, TheRuntimeComponentIsAllThatProgramsNeed) {
    Install({"--component", "runtime"});
    EXPECT_FALSE(std::filesystem::exists(Prefix() + "/include"));
    EXPECT_FALSE(std::filesystem::exists(Prefix() + "/" LIBRARY_FOLDER "/cmake"));
    EXPECT_TRUE(std::filesystem::exists(Prefix() + "/bin/OrvaneIPCBroker"));
    Command command{{Prefix() + "/bin/plexa", "endpoints"}, mBus.Environment("")};
    command.mEnvironment["CommonProgramFiles"] = std::nullopt;
    const Finished run = support::Run(command);
    EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
    EXPECT_THAT(run.mOutput, HasSubstr("PLEXACLI-"));
}

TEST_F(Packaging, EveryInstalledHeaderCompilesAlone) {
    Install({"--component", "dev"});
    const std::filesystem::path include = Prefix() + "/include";
    const std::string source = (mBus.Folder() / "headers.cpp").string();
    for (const auto& entry : std::filesystem::recursive_directory_iterator(include)) {
        if (entry.path().extension() != ".h") continue;
        std::ofstream(source) << "#include \"" << entry.path().lexically_relative(include).string() << "\"\n";
        Succeed(
            {COMPILER, "-std=c++20", "-fsyntax-only", "-Wall", "-Wextra", "-I" + include.string(), source});
    }
}
