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

#include "FolderNames.h"
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

// Looks when it is first asked.
template <typename Value>
class Lazy {
  public:
    template <typename Look>
    const Value& Get(const Look& inLook) {
        if (!mValue) mValue = inLook();
        return *mValue;
    }

  private:
    std::optional<Value> mValue;
};

// Files of one process, each read once at most; empty when it has ended, or isn't ours to look at.
class Process {
  public:
    explicit Process(int inId) : mId(inId), mFolder("/proc/" + std::to_string(inId)) {}

    [[nodiscard]] bool IsOf(uid_t inUser) const {
        struct stat status {};
        return ::stat(mFolder.c_str(), &status) == 0 && status.st_uid == inUser;
    }
    [[nodiscard]] int Id() const { return mId; }
    const std::string& Executable() {
        return mExecutable.Get([this] {
            std::error_code error;
            return fs::read_symlink(mFolder + "/exe", error).string();
        });
    }
    const Words& CommandLine() {
        return mCommandLine.Get([this] { return SplitZeros(Read("/cmdline")); });
    }
    // The entry file that it was started by.
    const std::string& Entry() {
        return mEntry.Get([this] { return std::string(LaunchedEntryFile(Read("/environ"), mId)); });
    }
    // In ticks since the system's start.
    std::uint64_t Start() {
        return mStart.Get([this] { return ReadStart(); });
    }

  private:
    [[nodiscard]] std::uint64_t ReadStart() const {
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
    [[nodiscard]] std::string Read(const char* inName) const {
        return ReadSmallFile(mFolder + inName, kLargestFile).value_or("");
    }

    int mId;
    std::string mFolder;
    Lazy<std::string> mExecutable;
    Lazy<Words> mCommandLine;
    Lazy<std::string> mEntry;
    Lazy<std::uint64_t> mStart;
};

// The program that runs a script, links resolved; empty for what is no script.
std::string InterpreterOf(const std::string& inPath) {
    constexpr std::size_t kLongest = 256;
    const std::string beginning = ReadBeginning(inPath, kLongest);
    if (!beginning.starts_with("#!")) return {};
    const std::optional<Words> words = SplitWords(beginning.substr(2, beginning.find('\n') - 2));
    return words && !words->empty() ? FindProgram((*words)[ProgramWord(*words)]).mPath : "";
}

// Looks for the processes of one application among all.
class Matcher {
  public:
    explicit Matcher(const Application& inApplication)
        : mApplication(inApplication), mInterpreter(InterpreterOf(inApplication.mPath)) {
        const Words& command = inApplication.mEntry.mCommand;
        for (std::size_t i = ProgramWord(command) + 1; i < command.size(); ++i)
            if (!command[i].starts_with('-') && command[i].find('%') == std::string::npos)
                mWords.push_back(command[i]);
    }

    void Look(Process& ioProcess) {
        if (!Matches(ioProcess) || (mFound != 0 && ioProcess.Start() >= mSince)) return;
        mFound = ioProcess.Id();
        mSince = ioProcess.Start();
    }
    // The oldest.
    [[nodiscard]] int Found() const { return mFound; }

  private:
    [[nodiscard]] bool Matches(Process& ioProcess) const {
        const std::string& executable = ioProcess.Executable();
        if (executable.empty()) return false;
        if (IsProgram(executable) && (mWords.empty() || HasWords(ioProcess.CommandLine()))) return true;
        if (!mInterpreter.empty() && executable == mInterpreter && RunsAsScript(ioProcess.CommandLine()))
            return true;
        return ioProcess.Entry() == mApplication.mEntryFile;
    }
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
    Words mWords;  // that every process of it has
    int mFound = 0;
    std::uint64_t mSince = 0;
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

std::vector<int> FindProcesses(std::span<const Application> inApplications) {
    std::vector<Matcher> matchers(inApplications.begin(), inApplications.end());
    const uid_t user = ::geteuid();
    for (const int id : ProcessIds()) {
        Process process(id);
        if (!process.IsOf(user)) continue;
        for (Matcher& matcher : matchers) matcher.Look(process);
    }
    std::vector<int> found;
    found.reserve(matchers.size());
    for (const Matcher& matcher : matchers) found.push_back(matcher.Found());
    return found;
}

int FindProcess(const Application& inApplication) {
    return FindProcesses(std::span(&inApplication, 1)).front();
}

}  // namespace orvane::plexa::control
