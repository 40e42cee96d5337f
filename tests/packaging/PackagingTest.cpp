#include <gmock/gmock.h>

#include <algorithm>
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

}  // namespace

TEST_F(Packaging, AHostIsBuiltThroughTheCMakePackage) {
    Install();
    Configure(kConsumers / "find_package", {"-DCMAKE_PREFIX_PATH=" + Prefix()});
    MakeProgram();
    EXPECT_EQ(Output(Build() + "/consumer"), "CONSUMER-1.0\n");
}

TEST_F(Packaging, TheExamplesAreProjectsOfTheirOwn) {
    Install();
    for (const char* const example : {"answering_host", "asking_host"}) {
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
