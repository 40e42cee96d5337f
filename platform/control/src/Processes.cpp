#include "Processes.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "FolderNames.h"
#include "Process.h"
#include "SmallFile.h"

namespace orvane::plexa::control {

namespace fs = std::filesystem;

namespace {

// What the system appends to an executable that has been replaced, or removed.
constexpr std::string_view kDeleted = " (deleted)";

// What a command always gives its program; in whatever order, since programs are started by hand too.
class FixedWords {
  public:
    explicit FixedWords(const Words& inCommand) {
        for (std::size_t i = ProgramWord(inCommand) + 1; i < inCommand.size(); ++i)
            if (inCommand[i].find('%') == std::string::npos)
                (inCommand[i].starts_with('-') ? mOptions : mOthers).push_back(inCommand[i]);
    }
    [[nodiscard]] std::size_t Count() const { return mOptions.size() + mOthers.size(); }
    // Whether a command line has them, options aside.
    [[nodiscard]] bool AreIn(const Words& inLine) const { return Are(mOthers, inLine); }
    [[nodiscard]] bool AreAllIn(const Words& inLine) const {
        return Are(mOthers, inLine) && Are(mOptions, inLine);
    }

  private:
    static bool Are(const Words& inWords, const Words& inLine) {
        return std::all_of(inWords.begin(), inWords.end(), [&](const std::string& inWord) {
            return !inLine.empty() && std::find(inLine.begin() + 1, inLine.end(), inWord) != inLine.end();
        });
    }

    Words mOptions;
    Words mOthers;
};

// The entries that may have started a process.
class Starters {
  public:
    struct Starter {
        std::string mAppId;
        FixedWords mWords;
    };

    Starters(std::span<const Application> inApplications, std::span<const KnownEntry> inKnown)
        : mKnown(inKnown) {
        for (const KnownEntry& known : inKnown) Add(known.mEntry, known.mFile);
        for (const Application& application : inApplications) Add(application.mEntry, application.mEntryFile);
    }
    // The application whose entry started a process; null when that isn't known.
    [[nodiscard]] const std::string* Of(Process& ioProcess) const {
        const auto found = mAppIds.find(ioProcess.Entry());
        return found != mAppIds.end() ? &found->second : nullptr;
    }
    // The entries that start a program.
    const std::vector<Starter>& WithProgram(const std::string& inResolved) {
        static const std::vector<Starter> sNone;
        const auto& all = mByProgram.Get([this] { return SortByProgram(); });
        const auto found = all.find(inResolved);
        return found != all.end() ? found->second : sNone;
    }

  private:
    using ByProgram = std::map<std::string, std::vector<Starter>>;

    void Add(const DesktopEntry& inEntry, const std::string& inFile) {
        // The process that was started is the terminal's.
        if (!inEntry.mInTerminal) mAppIds.emplace(inFile, inEntry.mAppId);
    }
    [[nodiscard]] ByProgram SortByProgram() const {
        ByProgram all;
        for (const KnownEntry& known : mKnown)
            if (const auto application = FindApplication(known.mEntry, known.mFile))
                all[application->mResolved].push_back(
                    {known.mEntry.mAppId, FixedWords(known.mEntry.mCommand)});
        return all;
    }

    std::span<const KnownEntry> mKnown;
    std::map<std::string, std::string> mAppIds;  // by entry file
    Lazy<ByProgram> mByProgram;
};

// What the first line of a script says.
struct Interpreter {
    std::string mPath;      // links resolved; empty for what is no script
    std::string mArgument;  // the word that the system puts between it and the script; may be empty
};

std::string_view Trimmed(std::string_view inText) {
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t begin = inText.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) return {};
    return inText.substr(begin, inText.find_last_not_of(kBlanks) + 1 - begin);
}

// The program among the words that "env" is given, with "-S" or without; empty if there is none.
std::string_view ProgramOfEnv(std::string_view inWords) {
    while (!inWords.empty()) {
        const std::string_view word = inWords.substr(0, inWords.find_first_of(" \t"));
        if (!word.starts_with('-') && word.find('=') == std::string_view::npos) return word;
        inWords = Trimmed(inWords.substr(word.size()));
    }
    return {};
}

// What is behind the interpreter is one word to the system, blanks and all.
Interpreter InterpreterOf(const std::string& inPath) {
    constexpr std::size_t kLongest = 256;
    const std::string beginning = ReadUnlessOdd([&] { return ReadBeginning(inPath, kLongest); });
    if (!beginning.starts_with("#!")) return {};
    const std::string_view line = Trimmed(std::string_view(beginning).substr(2, beginning.find('\n') - 2));
    const std::string program(line.substr(0, line.find_first_of(" \t")));
    std::string argument(Trimmed(line.substr(program.size())));
    if (program.substr(program.rfind('/') + 1) == "env")
        return {FindProgram(std::string(ProgramOfEnv(argument))).mPath, {}};
    return {FindProgram(program).mPath, std::move(argument)};
}

// Looks for the processes of one application among all.
class Matcher {
  public:
    explicit Matcher(const Application& inApplication)
        : mApplication(inApplication),
          mInterpreter(InterpreterOf(inApplication.mResolved)),
          mWords(inApplication.mEntry.mCommand) {}

    void Look(Process& ioProcess, Starters& ioStarters) {
        if (!Matches(ioProcess, ioStarters)) return;
        // Ids rise, until they begin anew.
        const std::pair candidate(ioProcess.Start(), ioProcess.Id());
        if (!mOldest || candidate < *mOldest) mOldest = candidate;
    }
    // The oldest.
    [[nodiscard]] int Found() const { return mOldest ? mOldest->second : 0; }

  private:
    [[nodiscard]] bool Matches(Process& ioProcess, Starters& ioStarters) const {
        if (ioProcess.Executable().empty()) return false;
        if (const std::string* const appId = ioStarters.Of(ioProcess))
            return *appId == mApplication.mEntry.mAppId;
        return (IsProgram(ioProcess) || RunsAsScript(ioProcess)) &&
               IsNearest(ioProcess.CommandLine(), ioStarters);
    }
    [[nodiscard]] bool IsProgram(Process& ioProcess) const {
        const std::string& executable = ioProcess.Executable();
        return (executable == mApplication.mResolved ||
                executable == mApplication.mResolved + std::string(kDeleted)) &&
               mWords.AreIn(ioProcess.CommandLine());
    }
    // Behind its interpreter a script stands before all other words, save for options.
    [[nodiscard]] bool RunsAsScript(Process& ioProcess) const {
        if (mInterpreter.mPath.empty() || ioProcess.Executable() != mInterpreter.mPath) return false;
        const Words& line = ioProcess.CommandLine();
        for (std::size_t i = 1; i < line.size(); ++i) {
            if (IsScript(line[i])) return true;
            if (line[i] != mInterpreter.mArgument && !line[i].starts_with('-')) return false;
        }
        return false;
    }
    [[nodiscard]] bool IsScript(const std::string& inWord) const {
        std::error_code error;
        return inWord == mApplication.mProgram || inWord == mApplication.mResolved ||
               (inWord.starts_with('/') && fs::canonical(inWord, error) == mApplication.mResolved);
    }
    // Whether no other application's command with this program says more of what a process was given.
    [[nodiscard]] bool IsNearest(const Words& inLine, Starters& ioStarters) const {
        const auto& rivals = ioStarters.WithProgram(mApplication.mResolved);
        return std::all_of(rivals.begin(), rivals.end(), [&](const Starters::Starter& inRival) {
            if (inRival.mAppId == mApplication.mEntry.mAppId || !inRival.mWords.AreIn(inLine)) return true;
            return mWords.AreAllIn(inLine) &&
                   (inRival.mWords.Count() <= mWords.Count() || !inRival.mWords.AreAllIn(inLine));
        });
    }

    const Application& mApplication;
    Interpreter mInterpreter;
    FixedWords mWords;
    std::optional<std::pair<std::uint64_t, int>> mOldest;  // its start and its id
};

std::vector<int> ProcessIds() {
    std::vector<int> ids;
    for (const std::string& name : NamesIn("/proc")) {
        int id = 0;
        if (std::from_chars(name.data(), name.data() + name.size(), id).ptr == name.data() + name.size())
            ids.push_back(id);
    }
    return ids;
}

}  // namespace

std::vector<int> FindProcesses(std::span<const Application> inApplications,
                               std::span<const KnownEntry> inKnown) {
    std::vector<Matcher> matchers(inApplications.begin(), inApplications.end());
    Starters starters(inApplications, inKnown);
    const uid_t user = ::geteuid();
    for (const int id : ProcessIds()) {
        Process process(id);
        if (!process.IsOf(user)) continue;
        for (Matcher& matcher : matchers) matcher.Look(process, starters);
    }
    std::vector<int> found;
    found.reserve(matchers.size());
    for (const Matcher& matcher : matchers) found.push_back(matcher.Found());
    return found;
}

int FindProcess(const Application& inApplication, std::span<const KnownEntry> inKnown) {
    return FindProcesses(std::span(&inApplication, 1), inKnown).front();
}

}  // namespace orvane::plexa::control
