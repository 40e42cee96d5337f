#include <gmock/gmock.h>

#include "ToolRun.h"

namespace tool_test {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class CommandLine : public OnBus {};

}  // namespace

TEST_F(CommandLine, EveryVerbHasHelpWithExamplesAndExitCodes) {
    const std::vector<std::vector<std::string>> verbs = {{},
                                                         {"send"},
                                                         {"subscribe"},
                                                         {"request"},
                                                         {"answer"},
                                                         {"endpoints"},
                                                         {"broker", "status"},
                                                         {"payload", "decode"},
                                                         {"payload", "encode"},
                                                         {"observe"},
                                                         {"notify"},
                                                         {"module", "install"},
                                                         {"module", "list"},
                                                         {"module", "check"},
                                                         {"module", "remove"}};
    for (std::vector<std::string> verb : verbs) {
        verb.emplace_back("--help");
        const auto run = Run(verb);
        EXPECT_EQ(run.mExitCode, 0) << testing::PrintToString(verb);
        EXPECT_THAT(run.mOutput, HasSubstr("Examples:")) << testing::PrintToString(verb);
        EXPECT_THAT(run.mOutput, HasSubstr("Exit codes:")) << testing::PrintToString(verb);
    }
}

TEST_F(CommandLine, AWrongCommandLineEndsWithCodeTwoAndAReason) {
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"fly"},
        {"payload"},
        {"broker"},
        {"send"},
        {"send", ""},
        {"send", std::string(65536, 't'), "x"},
        {"send", "t", "two", "texts"},
        {"send", "t", "--xml", "--json"},
        {"send", "t", "--json", "no-pair"},
        {"send", "t", "x", "--wait", "soon"},
        {"send", "t", "x", "--wait", "-1"},
        {"subscribe"},
        {"subscribe", "t", "--count", "0"},
        {"subscribe", "t", "--count", "-1"},
        {"subscribe", "t", "--timeout", "nan"},
        {"subscribe", "t", "--timeout", "1e99"},
        {"request", "t"},
        {"request", "t", "--response", "r", "--key", "id"},
        {"answer", "t"},
        {"answer", "t", "--response", "r", "--reply", "word"},
        {"endpoints", "all"},
        {"payload", "encode"},
        {"payload", "encode", "--flavor", "yaml"},
        {"payload", "decode", "--format", "1"},
        {"observe", "mail"},
        {"observe", "", "new"},
        {"observe", "mail", "new", "--count", "0"},
        {"observe", std::string(1025, 't'), "new"},
        {"notify", "mail"},
        {"notify", "mail", "new", "no-pair"},
        {"notify", "mail", "new", "n:=1"},
        {"notify", "mail", "new", "a=1", "a=2"},
        {"module"},
        {"module", "install"},
        {"module", "install", "KQ7L"},
        {"module", "install", ""},
        {"module", "install", "KQ7L", "--product", "QRTX", "--wait", "soon"},
        {"module", "remove", "KQ7L"},
        {"module", "list", "KQ7L"},
    };
    for (const std::vector<std::string>& arguments : wrong) {
        const auto run = Run(arguments);
        EXPECT_EQ(run.mExitCode, 2) << testing::PrintToString(arguments);
        EXPECT_THAT(run.mErrors, Not(IsEmpty())) << testing::PrintToString(arguments);
        EXPECT_THAT(run.mOutput, IsEmpty()) << testing::PrintToString(arguments);
    }
    EXPECT_EQ(mBus.BrokerId(), std::nullopt) << "a wrong command line has started a broker";
}

TEST_F(CommandLine, TellsItsVersion) {
    const auto run = Run({"--version"});
    EXPECT_EQ(run.mExitCode, 0);
    EXPECT_THAT(run.mOutput, testing::StartsWith("plexa "));
}

}  // namespace tool_test
