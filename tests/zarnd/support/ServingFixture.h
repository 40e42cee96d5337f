/// The service as its users meet it: real broker, real hosts, real archives.
#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/Archives.h"
#include "support/Desk.h"
#include "support/HttpServer.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;

inline const std::string kArchive =
    MakeArchive({{Entry::Kind::kFile, "text", "words"}, {Entry::Kind::kFile, "noise", Noise(400'000)}});

inline ModuleSpec Named(const std::string& inId, ModuleSpec inModule) {
    inModule.mId = inId;
    return inModule;
}

/// A server that stops in the middle of its content until it is let go.
class Gate {
  public:
    explicit Gate(std::string inContent)
        : mContent(std::move(inContent)),
          mServer([this](const Question& inQuestion) { return Reply(inQuestion); }) {}
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    ~Gate() { Open(); }

    void Open() {
        const std::lock_guard lock(mMutex);
        mIsOpen = true;
        mOpened.notify_all();
    }
    [[nodiscard]] const HttpServer& Server() const { return mServer; }

  private:
    // The first answer is cut in the middle, the next ones wait.
    Answer Reply(const Question& inQuestion) {
        std::unique_lock lock(mMutex);
        const bool wasOpen = mIsOpen;
        if (inQuestion.mNumber > 0) mOpened.wait(lock, [this] { return mIsOpen; });
        Answer answer = Content(inQuestion, mContent);
        if (!wasOpen && inQuestion.mNumber == 0) answer.mCutAfter = mContent.size() / 2;
        return answer;
    }

    std::string mContent;
    std::mutex mMutex;
    std::condition_variable mOpened;
    bool mIsOpen = false;
    HttpServer mServer;
};

/// The percentages that a host has printed.
inline std::vector<int> Percentages(const std::string& inOutput) {
    std::vector<int> percentages;
    std::istringstream lines(inOutput);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t place = line.find(" progress ");
        if (place != std::string::npos) percentages.push_back(std::stoi(line.substr(place + 10)));
    }
    return percentages;
}

class Serving : public testing::Test {
  protected:
    Desk mDesk;
};

}  // namespace zarnd_test
