#include "Victim.h"

#include <sys/wait.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace campaign::deaths {

namespace {

constexpr std::chrono::seconds kLongestStart{30};
constexpr int kKilled = 128 + SIGKILL;

}  // namespace

std::vector<std::string> RoleWords(const std::string& inRole, const std::vector<std::string>& inWords) {
    std::vector<std::string> words = {std::filesystem::read_symlink("/proc/self/exe"), "role", inRole};
    words.insert(words.end(), inWords.begin(), inWords.end());
    return words;
}

Victim::Victim(const Plan& inPlan, const std::string& inName, const std::filesystem::path& inFolder)
    : mPlan(inPlan),
      mAppId(std::string(kVictim) + '-' + inName),
      mFile(inFolder / inName),
      mStarted(std::chrono::steady_clock::now()) {
    support::Command command;
    command.mArguments = RoleWords(
        "deaths-victim", {std::string(InfoOf(inPlan.mKind).mName), inName, std::to_string(inPlan.mSeed)});
    command.mOutput = support::Command::Output::kFile;
    command.mFile = mFile;
    mProcess.emplace(std::move(command));
}

Victim::~Victim() {
    if (mCopy == 0) return;
    ::kill(mCopy, SIGKILL);
    ::waitpid(mCopy, nullptr, 0);
}

std::string Victim::Said() const {
    std::ostringstream text;
    text << std::ifstream(mFile).rdbuf();
    return text.str();
}

void Victim::Go() {
    if (mKilled) return;
    const Time now = std::chrono::steady_clock::now();
    if (!mReady) {
        if (InfoOf(mPlan.mKind).mTellsReady && Said().find("ready\n") == std::string::npos) {
            if (now - mStarted < kLongestStart * kPace) return;
            mProcess->Wait(std::chrono::milliseconds(10));
            throw std::runtime_error(mAppId + ", " + std::string(InfoOf(mPlan.mKind).mName) +
                                     ", is never where it is to die: " + mProcess->Errors());
        }
        mReady = InfoOf(mPlan.mKind).mTellsReady ? now : mStarted;
        if (mPlan.mStopped) mProcess->Signal(SIGSTOP);
    }
    if (now - *mReady < mPlan.mDelay) return;
    mKilled = std::chrono::steady_clock::now();
    mProcess->Signal(SIGKILL);
}

void Victim::Bury(Book& ioBook) {
    const std::optional<int> code = mProcess->Wait();
    if (code != kKilled)
        throw std::runtime_error(mAppId + ", " + std::string(InfoOf(mPlan.mKind).mName) +
                                 ", ended by itself: " + mProcess->Errors());
    mProcess.reset();
    std::istringstream said(Said());
    for (std::string word; said >> word;) {
        Book::Number number = 0;
        if (word == "began" && said >> number) ioBook.Began(number);
        if (word == "got" && said >> number) ioBook.Received(number);
        if (word == "copy") said >> mCopy;
    }
    std::filesystem::remove(mFile);
}

}  // namespace campaign::deaths
