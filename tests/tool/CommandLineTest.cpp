#include <gmock/gmock.h>

#include <sstream>

#include "ToolRun.h"

namespace tool_test {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

using Words = std::vector<std::string>;

/// A dictionary with a thousand values, which is not too long.
std::string Thousand() {
    std::string text = "{";
    for (int number = 0; number != 1000; ++number) text += '"' + std::to_string(number) + "\":true,";
    text.back() = '}';
    return text;
}

class CommandLine : public OnBus {
  protected:
    [[nodiscard]] std::string HelpOf(Words inVerb) const {
        inVerb.emplace_back("--help");
        const auto run = Run(inVerb);
        EXPECT_EQ(run.mExitCode, 0) << testing::PrintToString(inVerb);
        return run.mOutput;
    }
    // Those that do something, of this one.
    [[nodiscard]] std::vector<Words> VerbsOf(const Words& inVerb) const {
        std::istringstream lines(HelpOf(inVerb));
        std::string line;
        while (std::getline(lines, line) && line != "Subcommands:") {
        }
        std::vector<Words> verbs;
        while (std::getline(lines, line) && line.starts_with("  ")) {
            Words verb = inVerb;
            verb.push_back(line.substr(2, line.find(' ', 2) - 2));
            if (verb.back().empty()) continue;  // the line before goes on
            const auto below = VerbsOf(verb);
            verbs.insert(verbs.end(), below.begin(), below.end());
            if (below.empty()) verbs.push_back(std::move(verb));
        }
        return verbs;
    }
};

}  // namespace

TEST_F(CommandLine, EveryVerbHasHelpWithExamplesAndExitCodes) {
    std::vector<Words> verbs = VerbsOf({});
    EXPECT_THAT(verbs, Contains(Words{"module", "install"}));
    EXPECT_THAT(verbs, Contains(Words{"endpoints"}));
    verbs.emplace_back();
    for (const Words& verb : verbs) {
        const std::string help = HelpOf(verb);
        EXPECT_THAT(help, HasSubstr("Examples:")) << testing::PrintToString(verb);
        EXPECT_THAT(help, HasSubstr("Exit codes:")) << testing::PrintToString(verb);
    }
}

TEST_F(CommandLine, WhatAnyVerbPrintsIsToBeHadAsJSON) {
    // With "send" and "request" the option says how to write the payload; answers are JSON anyway, as decoded
    // payloads are. What is encoded, or for a shell, has a form of its own.
    for (const Words& verb : VerbsOf({})) {
        const bool isSpecial = verb.front() == "payload" || verb.front() == "completion";
        EXPECT_NE(HelpOf(verb).find("\n  --json ") != std::string::npos, isSpecial)
            << testing::PrintToString(verb);
    }
}

TEST_F(CommandLine, AWrongCommandLineEndsWithCodeTwoAndAReason) {
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"fly"},
        {"payload"},
        {"broker"},
        {"apps"},
        {"script"},
        {"completion"},
        {"send"},
        {"send", ""},
        {"send", std::string(4097, 't'), "x"},
        {"subscribe", "t", std::string(4097, 't'), "--timeout", "0"},
        {"request", std::string(4097, 't'), "--response", "r", "--timeout", "0"},
        {"request", "t", "--response", std::string(4097, 't'), "--timeout", "0"},
        {"answer", std::string(4097, 't'), "--response", "r", "--timeout", "0"},
        {"answer", "t", "--response", std::string(4097, 't'), "--timeout", "0"},
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
        {"notify", "mail", "new", "text=" + std::string(17'000, 'x')},
        {"notify", "mail", "new", R"({"1":{"2":{"3":{"4":{"5":{"6":{"7":{"8":"deep"}}}}}}}})"},
        {"notify", "mail", "new", Thousand()},
        {"module", "check", std::string(17'000, 'x'), "--product", "QRTX"},
        {"module", "install", std::string(17'000, 'x'), "--product", "QRTX"},
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

TEST_F(CommandLine, NamesTheLimitThatAQuestionToTheServiceExceeds) {
    EXPECT_THAT(Run({"notify", "mail", "new", "text=" + std::string(17'000, 'x')}).mErrors,
                HasSubstr("bytes, and the desktop service takes 16384 at most"));
    EXPECT_THAT(Run({"notify", "mail", "new", Thousand()}).mErrors,
                HasSubstr("dictionaries of 8 levels and 1000 values at most in all"));
}

TEST_F(CommandLine, NamesTheWordThatIsNoVerb) {
    for (const Words& words : {Words{"bogus"}, Words{"broker", "bogus"}, Words{"completion", "bogus", "more"},
                               Words{"payload", "bogus", "--json"}}) {
        const auto run = Run(words);
        EXPECT_EQ(run.mExitCode, 2) << testing::PrintToString(words);
        EXPECT_THAT(run.mErrors, HasSubstr("unknown: \"bogus\"")) << testing::PrintToString(words);
    }
    EXPECT_THAT(Run({"broker", "bogus"}).mErrors, HasSubstr("\"plexa broker --help\""));
    EXPECT_THAT(Run({"broker"}).mErrors, HasSubstr("A subcommand is required"));
}

TEST_F(CommandLine, TheHelpOfAVerbIsAboutThatVerb) {
    for (const Words& verb : {Words{"broker"}, Words{"payload"}, Words{"module"}, Words{"apps"},
                              Words{"completion"}, Words{"completion", "fish"}})
        EXPECT_THAT(HelpOf(verb), Not(HasSubstr("org.example"))) << testing::PrintToString(verb);
    EXPECT_THAT(HelpOf({}), HasSubstr("org.example"));
    EXPECT_THAT(HelpOf({"completion", "fish"}), HasSubstr("\n  plexa completion fish | source\n"));
}

TEST_F(CommandLine, NamesTheLimitThatAMessageTypeExceeds) {
    EXPECT_THAT(Run({"subscribe", std::string(4097, 't')}).mErrors, HasSubstr("longer than 4096 bytes"));
    EXPECT_EQ(Run({"send", std::string(4096, 't'), "x"}).mExitCode, 0);
}

TEST_F(CommandLine, TellsItsVersion) {
    const auto run = Run({"--version"});
    EXPECT_EQ(run.mExitCode, 0);
    EXPECT_THAT(run.mOutput, testing::StartsWith("plexa "));
}

}  // namespace tool_test
