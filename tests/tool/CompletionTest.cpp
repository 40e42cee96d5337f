// What shells offer while a command line is typed: as the tool tells it, and as the shells themselves show
// it.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "ToolRun.h"

namespace tool_test {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
namespace fs = std::filesystem;

namespace {

std::vector<std::string> Lines(const std::string& inText) {
    std::istringstream stream(inText);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

class Completion : public OnBus {
  protected:
    Completion() {
        const fs::path entries = mBus.Folder() / "data/applications";
        fs::create_directories(entries);
        for (const char* const id : {"PHOTO-2.1", "PHOTO BOOK-1", "MAIL-3", "-DASH-1"}) Install(id, id);
        // Which is told on the error output.
        std::ofstream(entries / "broken.desktop")
            << "[Desktop Entry]\nType=Application\nName=Test\nExec='open\nX-Plexa-AppId=BROKEN-1\n";
        fs::create_directory(mBus.Folder() / "home");
    }

    void Install(const std::string& inId, const std::string& inEntry) const {
        std::ofstream(mBus.Folder() / "data/applications" / (inEntry + ".desktop"))
            << "[Desktop Entry]\nType=Application\nName=Test\nExec=sh\nX-Plexa-AppId=" << inId << '\n';
    }
    [[nodiscard]] std::map<std::string, std::optional<std::string>> Environment() const {
        auto environment = Command({}).mEnvironment;
        environment["XDG_DATA_HOME"] = (mBus.Folder() / "data").string();
        environment["XDG_DATA_DIRS"] = "/nowhere";
        environment["NUOCORE_TRACE"] = "PlexaControl=1";
        environment["HOME"] = (mBus.Folder() / "home").string();
        environment["PATH"] = fs::path(PLEXA_PROGRAM).parent_path().string() + ":/usr/bin:/bin";
        return environment;
    }
    [[nodiscard]] std::vector<std::string> Offered(std::vector<std::string> inWords) const {
        inWords.insert(inWords.begin(), "__complete");
        support::Command command = Command(std::move(inWords));
        command.mEnvironment = Environment();
        return Lines(support::Run(command).mOutput);
    }
    // What a shell prints of a script, told of the completion before it.
    [[nodiscard]] std::vector<std::string> In(const std::string& inShell, const std::string& inScript,
                                              const std::string& inBefore = {}) const {
        const std::string told = inBefore + '\n' + support::Run(Command({"completion", inShell})).mOutput;
        const auto run =
            support::Run({{"/usr/bin/env", inShell, "-c", told + '\n' + inScript}, Environment()});
        EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
        EXPECT_THAT(run.mErrors, IsEmpty());
        return Lines(run.mOutput);
    }
};

}  // namespace

TEST_F(Completion, OffersVerbsAndTheirVerbs) {
    EXPECT_THAT(Offered({""}), IsSupersetOf({"send", "apps", "broker", "completion"}));
    EXPECT_THAT(Offered({"se"}), ElementsAre("send"));
    EXPECT_THAT(Offered({"apps", ""}), ElementsAre("launch", "list", "path", "pid"));
    EXPECT_THAT(Offered({"apps", "l"}), ElementsAre("launch", "list"));
    EXPECT_THAT(Offered({"nothing", "like", ""}), IsEmpty());
    EXPECT_THAT(Offered({"nothing", ""}), IsEmpty());
}

TEST_F(Completion, OffersOptions) {
    EXPECT_THAT(Offered({"send", "--j"}), ElementsAre("--json"));
    EXPECT_THAT(Offered({"apps", "launch", "PHOTO-2.1", "--"}), ElementsAre("--help", "--json", "--new"));
    EXPECT_THAT(Offered({"--"}), ElementsAre("--help", "--version"));
    EXPECT_THAT(Offered({"script", "run", "hello.js", "--e"}), ElementsAre("--eval"));
}

TEST_F(Completion, OffersAppIdsWhereOneIsAskedFor) {
    for (const char* const verb : {"path", "pid", "launch"})
        EXPECT_THAT(Offered({"apps", verb, ""}),
                    ElementsAre("-DASH-1", "MAIL-3", "PHOTO BOOK-1", "PHOTO-2.1"))
            << verb;
    EXPECT_THAT(Offered({"apps", "launch", "--new", "M"}), ElementsAre("MAIL-3"));
    EXPECT_THAT(Offered({"apps", "launch", "MAIL-3", ""}), IsEmpty());
    EXPECT_THAT(Offered({"apps", "list", ""}), IsEmpty());
    // Where such that begin with a dash stand.
    EXPECT_THAT(Offered({"apps", "path", "--", "M"}), ElementsAre("MAIL-3"));
    EXPECT_THAT(Offered({"apps", "path", "--", "-"}), ElementsAre("-DASH-1"));
    EXPECT_THAT(Offered({"apps", "path", "--", "-DASH-1", ""}), IsEmpty());
}

TEST_F(Completion, OffersNothingWhereAnythingMayStand) {
    EXPECT_THAT(Offered({"send", "--to", ""}), IsEmpty());
    EXPECT_THAT(Offered({"send", "--to", "--j"}), IsEmpty());
    EXPECT_THAT(Offered({"module", "remove", ""}), IsEmpty());
    EXPECT_THAT(Offered({"send", "--to", "x", "--j"}), ElementsAre("--json"));
    EXPECT_THAT(Offered({"apps", "launch", "MAIL-3", "--", "--n"}), IsEmpty());
    EXPECT_THAT(Offered({"apps", "--", ""}), IsEmpty());
    EXPECT_THAT(Offered({"script", "run", ""}), IsEmpty());
    EXPECT_THAT(Offered({}), IsEmpty());
}

TEST_F(Completion, IsNoVerbOfItsOwn) { EXPECT_THAT(Run({"--help"}).mOutput, Not(HasSubstr("__complete"))); }

TEST_F(Completion, WorksInBash) {
    // As the shell tells it: the line up to the cursor, and its words as it parts them.
    const auto offered = [this](const std::string& inLine, const std::string& inWords, int inWord) {
        return In("bash", "COMPREPLY=(old); COMP_LINE='" + inLine +
                              "'; COMP_POINT=${#COMP_LINE}; COMP_LINE+=' behind'; COMP_WORDS=(" + inWords +
                              "); COMP_CWORD=" + std::to_string(inWord) +
                              "; _plexa; printf '%s\\n' \"${COMPREPLY[@]}\"");
    };
    EXPECT_THAT(offered("plexa apps path PHO", "plexa apps path PHO", 3),
                ElementsAre("PHOTO\\ BOOK-1", "PHOTO-2.1"));
    EXPECT_THAT(offered("plexa se", "plexa se", 1), ElementsAre("send"));
    EXPECT_THAT(offered("plexa apps ", "plexa apps '' behind", 2),
                ElementsAre("launch", "list", "path", "pid"));
    // Where the cursor is, not where the word ends.
    EXPECT_THAT(offered("plexa apps pa", "plexa apps pax behind", 2), ElementsAre("path"));
    // Files are the shell's own.
    EXPECT_THAT(In("bash", "complete -p plexa"), ElementsAre("complete -o default -F _plexa plexa"));
    // What is quoted.
    EXPECT_THAT(offered("plexa apps path \"PHOTO B", "plexa apps path '\"PHOTO B'", 3),
                ElementsAre("PHOTO BOOK-1"));
    EXPECT_THAT(offered("plexa apps path PHOTO\\ ", "plexa apps path 'PHOTO\\ '", 3),
                ElementsAre("PHOTO\\ BOOK-1"));
    // Words end at some characters that ids may have.
    Install("A:B=C@D", "odd");
    EXPECT_THAT(offered("plexa apps path A:", "plexa apps path A :", 4), ElementsAre("B=C@D"));
    EXPECT_THAT(offered("plexa apps path A:B=C", "plexa apps path A : B = C", 7), ElementsAre("C@D"));
    EXPECT_THAT(offered("plexa apps path A:B=C@", "plexa apps path A : B = C@", 7), ElementsAre("D"));
    EXPECT_THAT(offered("plexa apps path \"A:", "plexa apps path '\"A:'", 3), ElementsAre("A:B=C@D"));
}

// The shell's own part of it needs a terminal: here it shows what it is given.
TEST_F(Completion, WorksInZsh) {
    const std::string shell =
        "compdef() { told=\"$*\"; }; _files() { print files; }; "
        "compadd() { print -r -- \"<${(pj:>\\n<:)${(@P)2}}>\"; }";
    EXPECT_THAT(In("zsh", "print -r -- $told", shell), ElementsAre("_plexa plexa"));
    EXPECT_THAT(In("zsh", "words=(plexa apps path PHO); CURRENT=4; _plexa", shell),
                ElementsAre("<PHOTO BOOK-1>", "<PHOTO-2.1>"));
    EXPECT_THAT(In("zsh", "words=(plexa apps pa MAIL-3); CURRENT=3; _plexa", shell), ElementsAre("<path>"));
    EXPECT_THAT(In("zsh", "words=(plexa send t x); CURRENT=4; _plexa", shell), ElementsAre("files"));
}

TEST_F(Completion, WorksInZshFromWhereItLooksForFunctions) {
    std::ofstream(mBus.Folder() / "_plexa") << support::Run(Command({"completion", "zsh"})).mOutput;
    const std::string find = "fpath=(" + mBus.Folder().string() +
                             " $fpath); autoload -Uz compinit; compinit -D -u; "
                             "compadd() { print -rl -- \"${(@P)2}\"; }; ";
    const std::string ask = "words=(plexa apps path PHO); CURRENT=4; $_comps[plexa]";
    const auto run = [&](const std::string& inScript) {
        return support::Run({{"/usr/bin/env", "zsh", "-f", "-c", inScript}, Environment()});
    };
    // The first time as the next one.
    for (const std::string& script : {find + ask, find + ask + " >/dev/null; " + ask}) {
        const auto shown = run(script);
        EXPECT_THAT(Lines(shown.mOutput), ElementsAre("PHOTO BOOK-1", "PHOTO-2.1")) << shown.mErrors;
        EXPECT_THAT(shown.mErrors, IsEmpty());
    }
}

TEST_F(Completion, DisturbsNoZshThatHasNotSwitchedItOn) {
    EXPECT_THAT(In("zsh", "print going on"), ElementsAre("going on"));
}

TEST_F(Completion, OffersFilesInFishForScriptsOnly) {
    std::ofstream(mBus.Folder() / "home/hello.js") << "1";
    EXPECT_THAT(In("fish", "cd; complete -C 'plexa script run hel'"), ElementsAre("hello.js"));
    EXPECT_THAT(In("fish", "cd; complete -C 'plexa send run hel'"), IsEmpty());
    EXPECT_THAT(In("fish", "cd; complete -C 'plexa script hel'"), IsEmpty());
}

TEST_F(Completion, WorksInFish) {
    EXPECT_THAT(In("fish", "complete -C 'plexa apps path PHO'"), IsSupersetOf({"PHOTO BOOK-1", "PHOTO-2.1"}));
    EXPECT_THAT(In("fish", "complete -C 'plexa se'"), Contains("send"));
}

}  // namespace tool_test
