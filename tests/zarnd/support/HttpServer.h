/// A web server of a test's own, that answers as the test says: honestly or not.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace zarnd_test {

struct Question {
    std::string mPath;
    std::map<std::string, std::string> mHeaders;  ///< names in lower case
    int mNumber = 0;                              ///< of all questions, from 0

    /// Where the part begins that is asked for.
    [[nodiscard]] std::optional<std::size_t> RangeBegin() const;
};

struct Answer {
    int mStatus = 200;
    std::string mBody = {};
    std::vector<std::string> mHeaders = {};
    /// The length that is claimed; by default the body's own. Without one the end of the connection is the
    /// end.
    enum class Length { kTrue, kNone, kClaimed } mLength = Length::kTrue;
    std::size_t mClaimed = 0;
    std::chrono::milliseconds mHeadPause{0};    ///< before each of the headers
    std::optional<std::size_t> mCutAfter = {};  ///< bytes of the body, after which it goes no further
    std::size_t mPauseAfter = 0;                ///< bytes of the body, after which it pauses
    std::chrono::milliseconds mPause{0};
    std::size_t mPieceBytes = 0;  ///< sent at a time, with the pause after each; 0: all at once
    bool mStalls = false;         ///< stays silent then, instead of hanging up
};

/// Answers on 127.0.0.1, one thread a connection, one question each.
class HttpServer {
  public:
    using Answerer = std::function<Answer(const Question&)>;

    explicit HttpServer(Answerer inAnswerer);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    ~HttpServer();

    [[nodiscard]] std::string Address(const std::string& inPath = "/archive.tar") const;
    [[nodiscard]] int Questions() const noexcept { return mQuestions; }

  private:
    void Accept();
    void Serve(int inConnection);

    Answerer mAnswerer;
    int mListener = -1;
    std::uint16_t mPort = 0;
    std::atomic<int> mQuestions{0};
    std::atomic<bool> mIsEnding{false};
    std::mutex mMutex;
    std::vector<int> mConnections;
    std::vector<std::thread> mThreads;
    std::thread mAcceptor;
};

/// An honest server's answer: the content, or the part of it that is asked for.
Answer Content(const Question& inQuestion, const std::string& inContent,
               const std::string& inTag = "\"one\"");

/// Answers like that, which go no further after so many bytes: the server hangs up then, or stays silent.
HttpServer::Answerer Cut(const std::string& inContent, std::size_t inAfter);
HttpServer::Answerer Stalled(const std::string& inContent, std::size_t inAfter);

}  // namespace zarnd_test
