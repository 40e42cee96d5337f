// Running scripts with the tool: what they print, how they end. Without a broker.
#include <gmock/gmock.h>

#include <fstream>

#include "ToolRun.h"

namespace tool_test {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

class ScriptVerbs : public OnBus {
  protected:
    [[nodiscard]] std::string File(const std::string& inName, const std::string& inSource) const {
        const std::string path = (mBus.Folder() / inName).string();
        std::ofstream(path) << inSource;
        return path;
    }
    [[nodiscard]] support::Command ScriptCommand(std::vector<std::string> inArguments,
                                                 std::string inInput = {}) const {
        inArguments.insert(inArguments.begin(), {"script", "run"});
        support::Command command = Command(std::move(inArguments), std::move(inInput));
        // The leak checker stumbles over the memory that the engine reserves.
        command.mEnvironment["ASAN_OPTIONS"] = "detect_leaks=0";
        return command;
    }
    [[nodiscard]] support::Finished RunScript(std::vector<std::string> inArguments,
                                              std::string inInput = {}) const {
        return support::Run(ScriptCommand(std::move(inArguments), std::move(inInput)));
    }
};

}  // namespace

TEST_F(ScriptVerbs, RunsAFile) {
    const auto run =
        RunScript({File("hello.js", "#!/usr/bin/env -S plexa script run\nconsole.log('hello')")});
    EXPECT_EQ(run.mExitCode, 0);
    EXPECT_EQ(run.mOutput, "hello\n");
    EXPECT_THAT(run.mErrors, IsEmpty());
}

TEST_F(ScriptVerbs, RunsTheStandardInput) {
    const auto run = RunScript({"-"},
                               "\xEF\xBB\xBF"
                               "console.log('hello'); throw new Error('here')");
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_EQ(run.mOutput, "hello\n");
    EXPECT_THAT(run.mErrors, StartsWith("plexa: standard input:1:"));
}

TEST_F(ScriptVerbs, PrintsTheResultOfEvalAsJSON) {
    EXPECT_EQ(RunScript({"--eval", "[1, 'two', {three: null}]"}).mOutput, "[1,\"two\",{\"three\":null}]\n");
    EXPECT_EQ(RunScript({"--eval", "undefined"}).mOutput, "");
    EXPECT_EQ(RunScript({"--eval", "null"}).mOutput, "null\n");
    EXPECT_EQ(RunScript({"--eval", "null", "--json"}).mOutput, "{\"result\":null}\n");
    EXPECT_EQ(RunScript({"--eval", ""}).mExitCode, 0);
    EXPECT_EQ(RunScript({"--eval", "'\\u001b[31m'"}).mOutput, "\"\\u001b[31m\"\n");
}

TEST_F(ScriptVerbs, EvalSeesWhatTheFileDefines) {
    const std::string file =
        File("library.js", "const base = 40; function main(n) { return base + n; } main(1)");
    const auto run = RunScript({file, "--eval", "main(2)"});
    EXPECT_EQ(run.mExitCode, 0);
    EXPECT_EQ(run.mOutput, "42\n");
}

TEST_F(ScriptVerbs, HandsNotificationsToTheNativeSide) {
    const auto run = RunScript(
        {"--eval", "new MobileAppLayer.PushNotificationProject().pushNotificationReceived('{\"a\":1}')"});
    EXPECT_EQ(run.mExitCode, 0);
    EXPECT_EQ(run.mOutput, "true\n");
    const auto wrong =
        RunScript({"--eval", "new MobileAppLayer.PushNotificationProject().pushNotificationReceived(5)"});
    EXPECT_EQ(wrong.mExitCode, 1);
    EXPECT_THAT(wrong.mErrors, HasSubstr("parameter 1 \"notificationJSON\" must be a string, not a number"));
}

TEST_F(ScriptVerbs, RunsTheExample) {
    const auto run = RunScript({EXAMPLES_FOLDER "/push.js"});
    EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
    EXPECT_EQ(run.mOutput, "received: true\n");
}

TEST_F(ScriptVerbs, WarningsAndErrorsGoToTheErrorOutput) {
    const auto run = RunScript({"--eval",
                                "console.log('a', {b: 1}); console.warn('c'); console.info('d'); "
                                "console.error('e'); console.debug('two\\nlines')"});
    EXPECT_EQ(run.mOutput, "a {\"b\":1}\nd\ntwo\nlines\n");
    EXPECT_EQ(run.mErrors, "c\ne\n");
}

TEST_F(ScriptVerbs, UncaughtExceptionsTellPlaceAndStack) {
    const std::string file = File("broken.js", "function f(x) {\n  return x.a.b;\n}\nf({});\n");
    const auto run = RunScript({file});
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mOutput, IsEmpty());
    EXPECT_THAT(run.mErrors, StartsWith("plexa: " + file + ":2:"));
    EXPECT_THAT(
        run.mErrors,
        HasSubstr(": TypeError: undefined is not an object (evaluating 'x.a.b')\n    f@" + file + ":2:"));
    EXPECT_THAT(run.mErrors, HasSubstr("\n    global code@" + file + ":4:"));
}

TEST_F(ScriptVerbs, ThrownValuesAndSyntaxErrorsAreToldToo) {
    EXPECT_EQ(RunScript({"--eval", "throw 'plain words'"}).mErrors, "plexa: plain words\n");
    EXPECT_EQ(RunScript({"--eval", "1;\nlet x = ;"}).mErrors,
              "plexa: --eval:2: SyntaxError: Unexpected token ';'\n");
    EXPECT_EQ(RunScript({"--eval", "throw {sourceURL: 'other.js', toString() { return 'words' }}"}).mErrors,
              "plexa: other.js: words\n");
    const auto rejected = RunScript({"--eval", "Promise.reject(new Error('late'))"});
    EXPECT_EQ(rejected.mExitCode, 1);
    EXPECT_THAT(rejected.mErrors, HasSubstr("Error: late"));
}

TEST_F(ScriptVerbs, AnEndlessStackIsShownInPart) {
    const auto run = RunScript({"--eval", "(function f() { f(); })()"});
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors, HasSubstr("RangeError: Maximum call stack size exceeded"));
    EXPECT_THAT(run.mErrors, EndsWith(" more)\n"));
    EXPECT_EQ(std::count(run.mErrors.begin(), run.mErrors.end(), '\n'), 22);
}

TEST_F(ScriptVerbs, AStackIsShownUpToTwentyFrames) {
    const auto thrown = [this](int inFrames) {
        const std::string depth = std::to_string(inFrames - 2);  // beside the outermost call and the program
        return RunScript({"--eval", "(function f(n) { if (n === 0) throw new Error('deep'); f(n - 1); })(" +
                                        depth + ")"})
            .mErrors;
    };
    const std::string whole = thrown(20);
    EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 21);
    EXPECT_THAT(whole, Not(HasSubstr(" more)")));
    EXPECT_THAT(thrown(25), EndsWith("\n    (and 5 more)\n"));
}

TEST_F(ScriptVerbs, JSONTellsTheLevelOfEachLine) {
    const auto run =
        RunScript({"--json", "--eval",
                   "for (const level of ['log', 'info', 'debug', 'warn', 'error']) console[level](level)"});
    EXPECT_EQ(run.mOutput,
              "{\"level\":\"log\",\"text\":\"log\"}\n{\"level\":\"info\",\"text\":\"info\"}\n"
              "{\"level\":\"debug\",\"text\":\"debug\"}\n{\"level\":\"warn\",\"text\":\"warn\"}\n"
              "{\"level\":\"error\",\"text\":\"error\"}\n");
    EXPECT_THAT(run.mErrors, IsEmpty());
}

TEST_F(ScriptVerbs, JSONTellsEverythingOnTheStandardOutput) {
    const auto run = RunScript({"--json", "--eval", "console.warn('careful'); ({a: 1})"});
    EXPECT_EQ(run.mOutput, "{\"level\":\"warn\",\"text\":\"careful\"}\n{\"result\":{\"a\":1}}\n");
    EXPECT_THAT(run.mErrors, IsEmpty());

    const auto thrown = RunScript({"--json", "--eval", "\nthrow new RangeError('no')"});
    EXPECT_EQ(thrown.mExitCode, 1);
    EXPECT_THAT(thrown.mOutput, StartsWith("{\"exception\":{\"column\":"));
    EXPECT_THAT(thrown.mOutput,
                HasSubstr("\"file\":\"--eval\",\"line\":2,\"stack\":\"global code@--eval:2:"));
    EXPECT_THAT(thrown.mOutput, EndsWith("\"text\":\"RangeError: no\"}}\n"));
    const std::string place = "plexa: --eval:2:";
    ASSERT_THAT(thrown.mErrors, StartsWith(place));
    const std::size_t end = thrown.mErrors.find(": ", place.size());
    const std::string column = thrown.mErrors.substr(place.size(), end - place.size());
    EXPECT_THAT(thrown.mOutput, StartsWith("{\"exception\":{\"column\":" + column + ","));
}

TEST_F(ScriptVerbs, IsStoppedWhenItTakesTooLong) {
    const auto run =
        RunScript({"--eval", "try { for (;;); } finally { console.log('gone on') }", "--time-limit", "0.2"});
    EXPECT_EQ(run.mExitCode, 3);
    EXPECT_EQ(run.mErrors, "plexa: the script was stopped: it took longer than 200 ms\n");
    EXPECT_THAT(run.mOutput, IsEmpty());
}

TEST_F(ScriptVerbs, IsToldTheTimeLimitAsItWasGiven) {
    // Multiplied by a thousand it is no whole number to the processor.
    EXPECT_EQ(RunScript({"--eval", "for (;;);", "--time-limit", "2.007"}).mErrors,
              "plexa: the script was stopped: it took longer than 2007 ms\n");
}

TEST_F(ScriptVerbs, EndsBeforeItsTimeLimitWhenItIsDone) {
    // Waiting for the limit would be given up before.
    for (const auto& script : {std::vector<std::string>{"--eval", "1"}, {File("one.js", "1")}}) {
        auto arguments = script;
        arguments.insert(arguments.end(), {"--time-limit", "1000"});
        EXPECT_EQ(RunScript(arguments).mExitCode, 0);
    }
}

TEST_F(ScriptVerbs, MayTakeItsTimeWithoutALimit) {
    const auto run = RunScript({"--eval", "const end = Date.now() + 1500; while (Date.now() < end); 'done'"});
    EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
    EXPECT_EQ(run.mOutput, "\"done\"\n");
}

TEST_F(ScriptVerbs, AnOperationThatNothingStopsEndsWithTheTool) {
    // The engine gives up what takes it exponentially long, but not what takes it quadratically long.
    const std::string endless = "/x*y/.test('x'.repeat(3e6))";
    EXPECT_EQ(RunScript({"--time-limit", "0.2", File("endless.js", endless)}).mExitCode, 3);
    const auto run = RunScript({"--json", "--time-limit", "0.2", "--eval", endless});
    EXPECT_EQ(run.mExitCode, 3);
    EXPECT_EQ(run.mErrors, "plexa: the script was stopped: it took longer than 200 ms\n");
    EXPECT_EQ(run.mOutput, "{\"stopped\":\"time\"}\n");
    // That it can't be said doesn't change how it ends.
    support::Command full = ScriptCommand({"--json", "--time-limit", "0.2", "--eval", endless});
    full.mArguments.insert(full.mArguments.begin(), {"/bin/bash", "-c", "\"$@\" >/dev/full", "bash"});
    EXPECT_EQ(support::Run(full).mExitCode, 3);
}

TEST_F(ScriptVerbs, IsStoppedThoughNobodyReadsWhatItSays) {
    for (const bool isJSON : {false, true}) {
        auto command =
            ScriptCommand({"--time-limit", "0.2", "--eval", "for (;;) console.log('x'.repeat(100))"});
        if (isJSON) command.mArguments.push_back("--json");
        command.mOutput = support::Command::Output::kUnread;
        support::ChildProcess script(command);
        EXPECT_EQ(script.Wait(), 3) << isJSON;
        EXPECT_EQ(script.Errors(), "plexa: the script was stopped: it took longer than 200 ms\n");
    }
}

TEST_F(ScriptVerbs, JSONTellsWhyAScriptWasStopped) {
    EXPECT_EQ(RunScript({"--json", "--eval", "for (;;);", "--time-limit", "0.2"}).mOutput,
              "{\"stopped\":\"time\"}\n");
    EXPECT_EQ(
        RunScript({"--json", "--eval", "const a = []; for (;;) a.push([a.length])", "--memory-limit", "32"})
            .mOutput,
        "{\"stopped\":\"memory\"}\n");
    const auto large = RunScript({"--json", "--eval", "'x'.repeat(2 ** 26 + 1)"});
    EXPECT_EQ(large.mExitCode, 1);
    EXPECT_THAT(large.mOutput, StartsWith("{\"error\":\"the text is too long"));
}

TEST_F(ScriptVerbs, IsStoppedWhenItKeepsTooMuch) {
    const auto run =
        RunScript({"--eval", "const a = []; for (;;) a.push([a.length])", "--memory-limit", "32"});
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_EQ(run.mErrors, "plexa: the script was stopped: it used more than 33554432 bytes of memory\n");
}

TEST_F(ScriptVerbs, MayKeepWhateverItLikesWhenToldSo) {
    const auto run = RunScript({"--eval", "new Uint8Array(1e5).length", "--memory-limit", "0"});
    EXPECT_EQ(run.mOutput, "100000\n") << run.mErrors;
}

TEST_F(ScriptVerbs, AnOutputThatCannotBeWrittenEndsTheScript) {
    const auto in = [this](const std::string& inShell) {
        support::Command command =
            ScriptCommand({"--eval", "for (;;) try { console.log('x') } catch (e) {}"});
        const std::vector<std::string> shell = {"/bin/bash", "-c", inShell, "bash"};
        command.mArguments.insert(command.mArguments.begin(), shell.begin(), shell.end());
        return support::Run(command);
    };
    const auto full = in("\"$@\" >/dev/full");
    EXPECT_EQ(full.mExitCode, 1);
    EXPECT_EQ(full.mErrors, "plexa: cannot write the output: No space left on device\n");
    const auto gone = in("\"$@\" | head -n 1; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(gone.mExitCode, 0);
    EXPECT_EQ(gone.mOutput, "x\n");
}

TEST_F(ScriptVerbs, FilesThatCannotBeReadAreNamed) {
    const auto missing = RunScript({"/nowhere/at\nall.js"});
    EXPECT_EQ(missing.mExitCode, 1);
    EXPECT_EQ(missing.mErrors, "plexa: cannot read \"/nowhere/at\\nall.js\": No such file or directory\n");
    EXPECT_EQ(RunScript({"--json", "/nowhere/file.js"}).mOutput,
              "{\"error\":\"cannot read \\\"/nowhere/file.js\\\": No such file or directory\"}\n");
    EXPECT_THAT(RunScript({mBus.Folder().string()}).mErrors, EndsWith("\": Is a directory\n"));
    const std::string large = File("large.js", "");
    std::filesystem::resize_file(large, (std::uintmax_t{64} << 20U) + 1);
    EXPECT_THAT(RunScript({large}).mErrors, EndsWith("\": it is larger than 64 MiB\n"));
}

TEST_F(ScriptVerbs, TextsThatAreNoUTF8AreRefused) {
    const std::string latin = File("latin.js", "console.log('\xE9')");
    EXPECT_EQ(RunScript({latin}).mErrors, "plexa: cannot run \"" + latin + "\": it is no UTF-8 text\n");
    EXPECT_EQ(RunScript({"-"}, "'\xE9'").mErrors,
              "plexa: cannot run the standard input: it is no UTF-8 text\n");
    EXPECT_EQ(RunScript({"--eval", "'\xE9'"}).mErrors, "plexa: cannot run --eval: it is no UTF-8 text\n");
}

TEST_F(ScriptVerbs, WrongCommandLinesAreRefused) {
    const auto nothing = RunScript({});
    EXPECT_EQ(nothing.mExitCode, 2);
    EXPECT_EQ(nothing.mErrors,
              "plexa: name a script file (\"-\" for the standard input), or give a script with --eval\n");
    EXPECT_EQ(RunScript({"a.js", "b.js"}).mExitCode, 2);
    EXPECT_EQ(RunScript({"--eval", "1", "--time-limit", "0"}).mExitCode, 2);
    EXPECT_THAT(RunScript({"--eval", "1", "--time-limit", "nan"}).mErrors,
                HasSubstr("\"nan\" is no number of seconds from 0.001 to a year"));
    EXPECT_EQ(RunScript({"--eval", "1", "--time-limit", "nan"}).mExitCode, 2);
    for (const char* const size : {"-1", "nan", "1048577"})
        EXPECT_EQ(RunScript({"--eval", "1", "--memory-limit", size}).mExitCode, 2) << size;
    EXPECT_EQ(Run({"script"}).mExitCode, 2);
    EXPECT_THAT(Run({"--help"}).mOutput, HasSubstr("Run scripts"));
}

}  // namespace tool_test
