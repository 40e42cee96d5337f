/// A program run by a test.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace support {

/// How long a test waits for what must happen. Reached only when something is wrong.
inline constexpr std::chrono::seconds kPatience{60};

/// What to run.
struct Command {
    std::vector<std::string> mArguments;  ///< the program's path first
    /// Added to the environment of the test; a variable without a value is taken out of it.
    std::map<std::string, std::optional<std::string>> mEnvironment = {};
    std::string mInput = {};  ///< what the program reads; then its input ends
    /// Where its output goes: collected, from a pipe or from a terminal, or into a pipe that nobody reads, or
    /// whose reader has gone, or a file.
    enum class Output { kCollected, kTerminal, kUnread, kReaderGone, kFile } mOutput = Output::kCollected;
    std::string mFile = {};  ///< for `kFile`
};

/// A running program; killed, if it still runs, when the object goes, with the programs that it has started
/// (but for those that lead groups of their own, such as brokers). One thread at a time. The functions that
/// wait pass input and output on meanwhile, and give up after `kPatience`.
class ChildProcess {
  public:
    /// Throws `std::runtime_error` when the program can't be started.
    explicit ChildProcess(Command inCommand);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    [[nodiscard]] pid_t Id() const noexcept { return mId; }
    void Signal(int inSignal) const;

    /// Waits for the end; returns the exit code, 128 and the signal's number for a killed one, nothing when
    /// it still runs.
    std::optional<int> Wait(std::chrono::milliseconds inLimit = kPatience);
    /// Waits until the collected output, or the error output, has the text; false when it doesn't come, also
    /// because the program has ended.
    bool AwaitOutput(const std::string& inText);
    bool AwaitErrors(const std::string& inText);

    /// What has been collected so far; all of it after `Wait`.
    [[nodiscard]] const std::string& Output() const noexcept { return mOutput.mText; }
    [[nodiscard]] const std::string& Errors() const noexcept { return mErrors.mText; }

  private:
    struct Stream {
        int mDescriptor = -1;
        std::string mText;
    };

    bool Await(const Stream& inStream, const std::string& inText);
    void Pass(std::chrono::milliseconds inLimit, bool inWithEnd);
    void PassInput();
    static void Collect(Stream& ioStream);

    pid_t mId = -1;
    int mEnded = -1;  // process descriptor: readable when the program has ended
    int mInput = -1;
    std::string mInputText;
    std::size_t mInputPassed = 0;
    Stream mOutput;
    Stream mErrors;
    int mUnread = -1;
    std::optional<int> mExitCode;
};

/// Runs a program to its end.
struct Finished {
    int mExitCode;
    std::string mOutput;
    std::string mErrors;
};
/// Throws `std::runtime_error` when the program can't be started or doesn't end.
Finished Run(Command inCommand);

}  // namespace support
