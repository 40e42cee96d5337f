// Add-on modules, as users of the tool meet them: with the real service and real archives.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

#include <boost/json.hpp>
#include <fstream>

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
    const auto json = InModule("check", {"--json"});
    EXPECT_EQ(json.mExitCode, 1);
    EXPECT_THAT(json.mErrors, HasSubstr("1 of the modules are damaged"));
    const auto module = boost::json::parse(json.mOutput).as_object();
    EXPECT_EQ(module.at("module-id"), "KQ7L");
    EXPECT_EQ(module.at("state"), "damaged");
    EXPECT_EQ(module.at("damages").as_array().at(0).at("file"), "noise");

    EXPECT_EQ(InModule("remove", {"KQ7L", "--product", "QRTX"}).mOutput, "KQ7L: removed\n");
    EXPECT_FALSE(fs::exists(Files("KQ7L")));
    const auto again = InModule("remove", {"KQ7L", "--product", "QRTX"});
    EXPECT_EQ(again.mExitCode, 1);
    EXPECT_THAT(again.mErrors, HasSubstr("(error 206)"));

    ASSERT_EQ(Run(Install("KQ7L")).mExitCode, 0);
    EXPECT_EQ(InModule("remove", {"KQ7L", "--product", "QRTX", "--json"}).mOutput,
              "{\"module-id\":\"KQ7L\",\"product-sapcode\":\"QRTX\",\"state\":\"removed\"}\n");
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

TEST_F(Modules, WhatCanBeNoIdIsRefusedBeforeAnybodyIsAsked) {
    for (const char* const verb : {"remove", "check", "install"}) {
        for (const std::string& id : {std::string(65, 'x'), std::string("a b"), std::string("../KQ7L"),
                                      std::string(".KQ7L"), std::string("KQ7L\xFF"), std::string(" ")}) {
            const auto run = InModule(verb, {id, "--product", "QRTX"});
            EXPECT_EQ(run.mExitCode, 2) << verb << " " << id;
            EXPECT_THAT(run.mErrors, HasSubstr("letters, digits")) << verb << " " << id;
        }
    }
    EXPECT_EQ(mBus.BrokerId(), std::nullopt);
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

// The folder of a service that has left the bus is locked for as long as its work takes to end.
TEST_F(Modules, AServiceThatStillEndsHoldsTheNextOneUp) {
    Offer("KQ7L", 1000);
    fs::create_directories(Data());
    const int lock = ::open((Data() / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);
    ChildProcess tool(Command({"module", "list"}));
    AwaitIn("zarnd.log", "another service has");
    ::close(lock);
    EXPECT_EQ(tool.Wait(), 0) << tool.Errors();
    EXPECT_THAT(tool.Output(), HasSubstr("KQ7L"));
}

// The tool starts the program that lies beside it.
TEST_F(Modules, AServiceThatGivesWayToAnotherIsNoFailure) {
    const fs::path folder = mBus.Folder() / "bin";
    fs::create_directories(folder);
    fs::copy_file(PLEXA_PROGRAM, folder / "plexa");
    const auto listAfter = [&](int inFirstExit) {
        std::ofstream(folder / "zarnd") << "#!/bin/sh\n[ -e \"$0.ended\" ] && exec " ZARND_PROGRAM " \"$@\"\n"
                                        << "touch \"$0.ended\"; exit " << inFirstExit << "\n";
        fs::permissions(folder / "zarnd", fs::perms::owner_all);
        fs::remove(folder / "zarnd.ended");
        support::Command list = Command({"module", "list"});
        list.mArguments.front() = folder / "plexa";
        return support::Run(list);
    };
    const auto failed = listAfter(1);
    EXPECT_EQ(failed.mExitCode, 4);
    EXPECT_THAT(failed.mErrors, HasSubstr("could not serve"));
    const auto listed = listAfter(3);
    EXPECT_EQ(listed.mExitCode, 0) << listed.mErrors;
}

}  // namespace tool_test
