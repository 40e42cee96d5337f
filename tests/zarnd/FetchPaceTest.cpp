// Servers that are slow, or not there, and how often they are tried.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <thread>

#include "support/Fetching.h"
#include "support/HttpServer.h"

namespace zarnd_test {

using namespace std::chrono_literals;

TEST(Fetch, GivesUpAfterAttemptsThatBringNothing) {
    HttpServer server([](const Question& inQuestion) {
        Answer answer = Content(inQuestion, kContent);
        answer.mCutAfter = inQuestion.mNumber == 0 ? 100'000 : 0;
        return answer;
    });
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), ErrorCode::kUnreachable);
    EXPECT_EQ(server.Questions(), 1 + Quick().mRetry.mMaxBarren);
}

TEST(Fetch, NoticesAServerThatStalls) {
    HttpServer server(Stalled(kContent, 100'000));
    FetchSettings settings = Quick();
    settings.mRetry.mMaxBreaks = 1;
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink, settings), ErrorCode::kStalled);
    EXPECT_EQ(server.Questions(), 2);
}

TEST(Fetch, GivesUpAServerThatTrickles) {
    HttpServer server([](const Question& inQuestion) {
        Answer answer = Content(inQuestion, kContent);
        answer.mPieceBytes = 50;
        answer.mPause = 10ms;
        return answer;
    });
    FetchSettings settings = Quick();
    settings.mPace = {1h, 200ms, 20'000};
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink, settings), ErrorCode::kStalled);
    EXPECT_EQ(server.Questions(), settings.mRetry.mMaxBarren);
    EXPECT_GT(sink.mText.size(), 0U);
}

TEST(Fetch, GoesOnAfterAServerWasSlowForAWhile) {
    HttpServer server([](const Question& inQuestion) {
        Answer answer = Content(inQuestion, kContent);
        if (inQuestion.mNumber == 0) {
            answer.mPauseAfter = 100'000;
            answer.mPieceBytes = 50;
            answer.mPause = 10ms;
        }
        return answer;
    });
    FetchSettings settings = Quick();
    settings.mPace = {1h, 200ms, 20'000};
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink, settings), std::nullopt);
    EXPECT_TRUE(sink.mText == kContent);
    EXPECT_EQ(sink.mBegins, 1);
    EXPECT_EQ(server.Questions(), 2);
}

TEST(Fetch, NoticesAServerThatDrawsOutItsHead) {
    HttpServer server([](const Question&) {
        Answer answer;
        for (int i = 0; i != 200; ++i) answer.mHeaders.push_back("X-Filler: " + std::to_string(i));
        answer.mHeadPause = 20ms;
        return answer;
    });
    FetchSettings settings = Quick();
    settings.mRetry.mMaxBreaks = 0;
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink, settings), ErrorCode::kStalled);
}

TEST(Pace, JudgesEachSpanAndCountsNoPauses) {
    const Pace::Time begin{};
    Pace pace({30s, 60s, 1000}, begin);
    pace.OnBytes(999, begin + 29s);
    EXPECT_EQ(pace.Complaint(begin + 59s), std::nullopt);
    pace.OnBytes(1, begin + 59s);
    EXPECT_EQ(pace.Complaint(begin + 60s), std::nullopt);
    pace.OnPause(100s);  // the next span ends at 220 s
    pace.OnBytes(999, begin + 200s);
    EXPECT_EQ(pace.Complaint(begin + 219s), std::nullopt);
    EXPECT_THAT(pace.Complaint(begin + 220s).value_or(""), testing::HasSubstr("no more than 999 bytes"));
    EXPECT_THAT(pace.Complaint(begin + 231s).value_or(""), testing::HasSubstr("nothing for 30000 ms"));
}

TEST(Fetch, DoesNotTakeASlowSinkForAStall) {
    HttpServer server([&](const Question& inQuestion) {
        Answer answer = Content(inQuestion, kContent);
        answer.mPauseAfter = 1000;
        answer.mPause = 1800ms;
        return answer;
    });
    FetchSettings settings = Quick();
    settings.mPace.mStallLimit = 1000ms;
    Collector sink;
    sink.mOnTake = [&] {
        if (sink.mText.size() <= 1000) std::this_thread::sleep_for(1500ms);
    };
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink, settings), std::nullopt);
    EXPECT_EQ(server.Questions(), 1);
}

TEST(Fetch, TriesAgainWhatMayPassAndNothingElse) {
    for (const auto& [status, questions] : {std::pair{503, 2}, std::pair{404, 1}, std::pair{403, 1}}) {
        HttpServer server([status = status](const Question& inQuestion) {
            return inQuestion.mNumber == 0 ? Answer{status, "sorry"} : Content(inQuestion, kContent);
        });
        Collector sink;
        EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink) == std::nullopt, questions == 2) << status;
        EXPECT_EQ(server.Questions(), questions) << status;
    }
}

TEST(Fetch, StopsAlsoWhileItWaitsForTheNextAttempt) {
    std::stop_source stop;
    HttpServer server([&](const Question&) {
        stop.request_stop();
        return Answer{503, ""};
    });
    FetchSettings settings = Quick();
    settings.mRetry.mFirstDelay = settings.mRetry.mLongestDelay = 1h;
    Collector sink;
    EXPECT_THROW(Fetch(server.Address(), 1, settings, sink, stop.get_token()), Cancelled);
}

TEST(RetryPolicy, WaitsLongerEachTimeAndGivesUp) {
    RetryPolicy policy({100ms, 300ms, 4, 100});
    EXPECT_EQ(policy.OnBreak(0), 100ms);
    EXPECT_EQ(policy.OnBreak(0), 200ms);
    EXPECT_EQ(policy.OnBreak(0), 300ms);
    EXPECT_EQ(policy.OnBreak(0), std::nullopt);
}

TEST(RetryPolicy, BeginsToCountAnewWhenSomethingCameButEndsAllTheSame) {
    RetryPolicy policy({100ms, 300ms, 2, 5});
    EXPECT_EQ(policy.OnBreak(0), 100ms);
    for (int i = 0; i != 4; ++i) EXPECT_EQ(policy.OnBreak(1), 100ms);
    EXPECT_EQ(policy.OnBreak(1), std::nullopt);
}

/// Takes up no connection: its queue is full.
class FullServer {
  public:
    FullServer() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        const auto* const place = reinterpret_cast<const sockaddr*>(&address);
        if (::bind(mListener, place, size) != 0 || ::listen(mListener, 0) != 0 ||
            ::getsockname(mListener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
            throw std::runtime_error("cannot listen");
        }
        mPort = ntohs(address.sin_port);
        for (int& waiting : mWaiting) {
            waiting = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            ::connect(waiting, place, size);
        }
    }
    FullServer(const FullServer&) = delete;
    FullServer& operator=(const FullServer&) = delete;
    ~FullServer() {
        for (const int waiting : mWaiting) ::close(waiting);
        ::close(mListener);
    }

    [[nodiscard]] std::string Address() const { return "http://127.0.0.1:" + std::to_string(mPort) + "/a"; }

  private:
    int mListener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::array<int, 8> mWaiting{};
    int mPort = 0;
};

TEST(Fetch, WaitsForAConnectionNoLongerThanItMay) {
    const FullServer server;
    FetchSettings settings = Quick();
    settings.mConnectLimit = 200ms;
    settings.mPace.mStallLimit = 1h;
    settings.mRetry.mMaxBarren = 2;
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), 1, sink, settings), ErrorCode::kUnreachable);
}

}  // namespace zarnd_test
