#include "Processes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <system_error>

#include "LaunchMark.h"
#include "SmallFile.h"

namespace orvane::plexa::control {

namespace fs = std::filesystem;

namespace {

// What the system appends to an executable that has been replaced, or removed.
constexpr std::string_view kDeleted = " (deleted)";
constexpr std::size_t kLargestFile = std::size_t{4} << 20U;

// Texts that each end with a zero.
Words SplitZeros(std::string_view inText) {
    Words words;
    while (!inText.empty()) {
        const std::string_view word = inText.substr(0, inText.find('\0'));
        words.emplace_back(word);
        inText.remove_prefix(std::min(inText.size(), word.size() + 1));
    }
    return words;
}

// Files of one process; empty when it has ended, or isn't ours to look at.
class Process {
  public:
    explicit Process(int inId) : mId(inId), mFolder("/proc/" + std::to_string(inId)) {}

    [[nodiscard]] bool IsOf(uid_t inUser) const {
        struct stat status {};
        return ::stat(mFolder.c_str(), &status) == 0 && status.st_uid == inUser;
    }
    [[nodiscard]] int Id() const { return mId; }
    [[nodiscard]] std::string Executable() const {
        std::error_code error;
        return fs::read_symlink(mFolder + "/exe", error).string();
    }
    [[nodiscard]] Words CommandLine() const { return SplitZeros(Read("/cmdline")); }
    [[nodiscard]] std::string Environment() const { return Read("/environ"); }
    // In ticks since the system's start.
    [[nodiscard]] std::uint64_t Start() const {
        constexpr int kFieldsBetween = 19;
        const std::string status = Read("/stat");
        // The name before it may hold anything.
        std::size_t place = status.rfind(')');
        for (int i = 0; i <= kFieldsBetween && place != std::string::npos; ++i)
            place = status.find(' ', place + 1);
        std::uint64_t start = std::numeric_limits<std::uint64_t>::max();
        if (place != std::string::npos)
            std::from_chars(status.data() + place + 1, status.data() + status.size(), start);
        return start;
    }

  private:
    [[nodiscard]] std::string Read(const char* inName) const {
        return ReadSmallFile(mFolder + inName, kLargestFile).value_or("");
    }

    int mId;
    std::string mFolder;
};

// The program that runs a script, links resolved; empty for what is no script.
std::string InterpreterOf(const std::string& inPath) {
    constexpr std::size_t kLongest = 256;
    const std::string beginning = ReadBeginning(inPath, kLongest);
    if (!beginning.starts_with("#!")) return {};
    const std::optional<Words> words = SplitWords(beginning.substr(2, beginning.find('\n') - 2));
    return words && !words->empty() ? FindProgram((*words)[ProgramWord(*words)]).mPath : "";
}

class Matcher {
  public:
    explicit Matcher(const Application& inApplication)
        : mApplication(inApplication),
          mInterpreter(InterpreterOf(inApplication.mPath)),
          mMark(LaunchMark(inApplication.mEntryFile)) {
        const Words& command = inApplication.mEntry.mCommand;
        for (std::size_t i = ProgramWord(command) + 1; i < command.size(); ++i)
            if (!command[i].starts_with('-') && command[i].find('%') == std::string::npos)
                mWords.push_back(command[i]);
    }

    [[nodiscard]] bool Matches(const Process& inProcess) const {
        const std::string executable = inProcess.Executable();
        if (executable.empty()) return false;
        if (IsProgram(executable) && (mWords.empty() || HasWords(inProcess.CommandLine()))) return true;
        if (!mInterpreter.empty() && executable == mInterpreter && RunsAsScript(inProcess.CommandLine()))
            return true;
        return HoldsLaunchMark(inProcess.Environment(), mMark, inProcess.Id());
    }

  private:
    [[nodiscard]] bool IsProgram(const std::string& inExecutable) const {
        return inExecutable == mApplication.mPath ||
               inExecutable == mApplication.mPath + std::string(kDeleted);
    }
    // Behind the program, all that the command always gives it, in whatever order.
    [[nodiscard]] bool HasWords(const Words& inWords) const {
        return std::all_of(mWords.begin(), mWords.end(), [&](const std::string& inWord) {
            return !inWords.empty() && std::find(inWords.begin() + 1, inWords.end(), inWord) != inWords.end();
        });
    }
    // The system puts a script's path behind its interpreter, with at most one word between.
    [[nodiscard]] bool RunsAsScript(const Words& inWords) const {
        for (std::size_t i = 1; i < inWords.size() && i <= 2; ++i) {
            const std::string& word = inWords[i];
            std::error_code error;
            if (word == mApplication.mProgram || word == mApplication.mPath) return true;
            if (word.starts_with('/') && fs::canonical(word, error) == mApplication.mPath) return true;
        }
        return false;
    }

    const Application& mApplication;
    std::string mInterpreter;
    std::string mMark;
    Words mWords;  // that every process of it has
};

}  // namespace

int FindProcess(const Application& inApplication) {
    const Matcher matcher(inApplication);
    const uid_t user = ::geteuid();
    int found = 0;
    std::uint64_t since = 0;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        int id = 0;
        if (std::from_chars(name.data(), name.data() + name.size(), id).ptr != name.data() + name.size())
            continue;
        const Process process(id);
        if (!process.IsOf(user) || !matcher.Matches(process)) continue;
        const std::uint64_t start = process.Start();
        if (found == 0 || start < since) {
            found = id;
            since = start;
        }
    }
    return found;
}

}  // namespace orvane::plexa::control
