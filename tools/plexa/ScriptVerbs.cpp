#include <CLI/CLI.hpp>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>

#include <nuoscripting/nuoscripting.h>

#include "ConnectionOptions.h"
#include "Failure.h"
#include "Input.h"
#include "Output.h"
#include "PayloadText.h"
#include "Verbs.h"
#include "Watchdog.h"
#include "nuocore/StringConversion.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;
using nuoscripting::ConsoleLevel;
using nuoscripting::ScriptContext;
using nuoscripting::ScriptContextSettings;
using nuoscripting::ScriptError;
using nuoscripting::ScriptException;
using nuoscripting::ScriptLimitExceeded;

namespace {

constexpr int kMaxFrames = 20;             // shown; --json has all
constexpr std::chrono::seconds kGrace{1};  // for the engine to stop a script itself
constexpr std::size_t kMaxMebibytes = std::size_t{1} << 20;

struct RunOptions {
    std::string mFile;
    std::string mEval;
    std::optional<double> mTimeLimit;  // seconds
    std::size_t mMemoryLimit = 1024;   // MiB
    bool mIsJSON = false;
    bool mHasEval = false;
};

VariantValue Text(std::string_view inText) { return UTF8String(inText); }

// What a script says and gives, for people or, as JSON, for programs.
class Report {
  public:
    explicit Report(bool inAsJSON) : mAsJSON(inAsJSON) {}

    void Say(ConsoleLevel inLevel, std::string_view inText) {
        if (mAsJSON) {
            PrintObject({{"level", Text(NameOf(inLevel))}, {"text", Text(inText)}});
        } else if (inLevel == ConsoleLevel::kWarn || inLevel == ConsoleLevel::kError) {
            std::cerr << inText << std::endl;
        } else {
            PrintLine(inText);
        }
    }
    void Give(const std::optional<VariantValue>& inResult) {
        if (!inResult) return;  // undefined
        if (mAsJSON) return PrintObject({{"result", *inResult}});
        PrintLine(JSONLine(*inResult));
    }
    void Describe(const std::exception& inError) {
        if (mAsJSON) PrintObject({{"error", Text(inError.what())}});
    }
    void DescribeStop(ScriptLimitExceeded::Limit inLimit) {
        if (mAsJSON)
            PrintObject(
                {{"stopped", Text(inLimit == ScriptLimitExceeded::Limit::kTime ? "time" : "memory")}});
    }
    void DescribeException(const ScriptException& inException) {
        if (!mAsJSON) return;
        VariantObject exception = ObjectOf({{"text", Text(inException.what())},
                                            {"file", Text(inException.GetFile())},
                                            {"line", std::int64_t{inException.GetLine()}},
                                            {"column", std::int64_t{inException.GetColumn()}},
                                            {"stack", Text(inException.GetStack())}});
        PrintObject({{"exception", std::move(exception)}});
    }

  private:
    using Members = std::initializer_list<std::pair<const char*, VariantValue>>;

    static const char* NameOf(ConsoleLevel inLevel) {
        switch (inLevel) {
            case ConsoleLevel::kLog:
                return "log";
            case ConsoleLevel::kInfo:
                return "info";
            case ConsoleLevel::kDebug:
                return "debug";
            case ConsoleLevel::kWarn:
                return "warn";
            case ConsoleLevel::kError:
                return "error";
        }
        return "";
    }
    static VariantObject ObjectOf(Members inMembers) {
        VariantObject object;
        for (const auto& [name, value] : inMembers) object[name] = MakeValue(value);
        return object;
    }
    void PrintObject(Members inMembers) { PrintLine(JSONLine(VariantValue(ObjectOf(inMembers)))); }
    void PrintLine(std::string_view inText) {
        const std::lock_guard lock(mLock);
        mOutput.Line(inText);
    }

    std::mutex mLock;  // the watchdog tells something too
    Output mOutput;
    const bool mAsJSON;
};

// Scripts can catch whatever comes out of the console; an output that can't be written must end them.
void SayOrEnd(Report& ioReport, ConsoleLevel inLevel, std::string_view inText) {
    try {
        ioReport.Say(inLevel, inText);
    } catch (const ReaderGone&) {
        std::_Exit(kExitSuccess);
    } catch (const std::exception& error) {
        std::cerr << "plexa: " << error.what() << std::endl;
        std::_Exit(kExitFailure);
    }
}

// Where it was thrown, what, and by which way it was come there.
std::string TextOf(const ScriptException& inException) {
    std::string text = inException.GetFile();
    if (!text.empty() && inException.GetLine() > 0) {
        text += ':' + std::to_string(inException.GetLine());
        if (inException.GetColumn() > 0) text += ':' + std::to_string(inException.GetColumn());
    }
    if (!text.empty()) text += ": ";
    text += inException.what();
    std::istringstream frames(inException.GetStack());
    int count = 0;
    for (std::string frame; std::getline(frames, frame); ++count)
        if (count < kMaxFrames) text += "\n    " + frame;
    if (count > kMaxFrames) text += "\n    (and " + std::to_string(count - kMaxFrames) + " more)";
    return text;
}

// The engine would take replacement characters for what is broken, and say nothing.
std::string_view Source(std::string_view inText, const std::string& inWhat) {
    if (!nuocore::string::IsValidUTF8(inText))
        throw Failure(kExitFailure, "cannot run " + inWhat + ": it is no UTF-8 text");
    return inText;
}

std::chrono::milliseconds TimeLimitOf(const RunOptions& inOptions) {
    return std::chrono::milliseconds(std::llround(inOptions.mTimeLimit.value_or(0) * 1000));
}

// Ends the process when the script doesn't end in time: the engine can't cut an operation of its own short.
std::unique_ptr<Watchdog> WatchOver(const RunOptions& inOptions, Report& ioReport) {
    const std::chrono::milliseconds limit = TimeLimitOf(inOptions);
    if (limit.count() == 0) return nullptr;
    return std::make_unique<Watchdog>(limit + kGrace, [limit, &ioReport] {
        // Who reads what is said may have stopped, and even keep the script in the middle of a line.
        const Watchdog unheard(kGrace, [] { std::_Exit(kExitTimeout); });
        std::cerr << "plexa: the script was stopped: it took longer than " << limit.count() << " ms"
                  << std::endl;
        try {
            ioReport.DescribeStop(ScriptLimitExceeded::Limit::kTime);
        } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the exit code tells it too
        }
        std::_Exit(kExitTimeout);
    });
}

void RunFile(const RunOptions& inOptions, ScriptContext& ioContext, Report& ioReport) {
    const bool isInput = inOptions.mFile == "-";
    const UTF8String source = isInput ? ReadInput() : ReadFile(inOptions.mFile);
    const std::string name = isInput ? "the standard input" : '"' + PlainLine(inOptions.mFile) + '"';
    const auto watchdog = WatchOver(inOptions, ioReport);
    ioContext.Run(Source(source, name), isInput ? "standard input" : inOptions.mFile);
}

std::optional<VariantValue> RunEval(const RunOptions& inOptions, ScriptContext& ioContext, Report& ioReport) {
    const auto watchdog = WatchOver(inOptions, ioReport);
    return ioContext.EvaluateIfDefined(Source(inOptions.mEval, "--eval"), "--eval");
}

void RunVerb(const RunOptions& inOptions) {
    if (inOptions.mFile.empty() && !inOptions.mHasEval)
        throw Failure(kExitUsage,
                      "name a script file (\"-\" for the standard input), or give a script with --eval");
    Report report(inOptions.mIsJSON);
    ScriptContextSettings settings;
    settings.mTimeLimit = TimeLimitOf(inOptions);
    settings.mMemoryLimit = inOptions.mMemoryLimit << 20U;
    settings.mConsole = [&report](ConsoleLevel inLevel, std::string_view inText) {
        SayOrEnd(report, inLevel, inText);
    };
    const auto context = ScriptContext::Create(settings);
    try {
        if (!inOptions.mFile.empty()) RunFile(inOptions, *context, report);
        if (inOptions.mHasEval) report.Give(RunEval(inOptions, *context, report));
    } catch (const ScriptException& exception) {
        report.DescribeException(exception);
        throw Failure(kExitFailure, TextOf(exception));
    } catch (const ScriptLimitExceeded& exceeded) {
        report.DescribeStop(exceeded.GetLimit());
        throw Failure(exceeded.GetLimit() == ScriptLimitExceeded::Limit::kTime ? kExitTimeout : kExitFailure,
                      exceeded.what());
    } catch (const ScriptError& error) {
        report.Describe(error);
        throw;
    } catch (const Failure& failure) {
        report.Describe(failure);
        throw;
    }
}

}  // namespace

void AddScriptVerbs(CLI::App& ioApp) {
    CLI::App* const script = ioApp.add_subcommand("script", "Run scripts (JavaScript)");
    script->require_subcommand(1);

    CLI::App* const run = script->add_subcommand(
        "run",
        "Run a script file, then the script of --eval with what the file has defined, and print what they say. "
        "console.log, info and debug go to the standard output, warn and error to the error output.");
    const auto options = std::make_shared<RunOptions>();
    run->add_option("file", options->mFile, "Script file; \"-\" for the standard input")->type_name("FILE");
    CLI::Option* const eval =
        run->add_option("--eval", options->mEval, "Script to run; its result is printed as JSON")
            ->type_name("TEXT");
    AddSeconds(*run, "--time-limit", options->mTimeLimit,
               "Stop the file, or the script of --eval, when it takes longer (default: never)", 0.001);
    run->add_option("--memory-limit", options->mMemoryLimit,
                    "Stop when the script keeps more in use; 0: never (default: 1024)")
        ->check(CLI::Range(std::size_t{0}, kMaxMebibytes).description(""))
        ->type_name("MIB");
    run->add_flag(
        "--json", options->mIsJSON,
        "Print one JSON object a line, all on the standard output: level and text of what the console "
        "is told; result; exception, with text, file, line, column and stack; stopped, by time or memory; error");
    run->callback([options, eval] {
        options->mHasEval = eval->count() > 0;
        RunVerb(*options);
    });
    run->footer(
        "Scripts find the classes of this library: new MobileAppLayer.PushNotificationProject().\n\n"
        "Examples:\n"
        "  plexa script run hello.js\n"
        "  plexa script run --eval '[1, 2, 3].map(n => n * n)'\n"
        "  plexa script run library.js --eval 'main(\"first\", 2)' --time-limit 5\n"
        "  plexa script run - < hello.js\n\n"
        "Exit codes: 0 run; 1 the script threw, used too much memory, or can't be read; 2 wrong command line;\n"
        "3 it took longer than --time-limit.");
}

}  // namespace orvane::plexa::tool
