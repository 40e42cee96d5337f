#include "fetch/Fetch.h"

#include <gmock/gmock.h>

#include "common/Failure.h"
#include "fetch/ResponseHead.h"
#include "support/Archives.h"
#include "support/ChildProcess.h"
#include "support/HttpServer.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using namespace std::chrono_literals;

namespace {

class Collector final : public IByteSink {
  public:
    void Begin() override {
        mText.clear();
        ++mBegins;
    }
    void Take(std::span<const std::byte> inBytes) override {
        mText.append(reinterpret_cast<const char*>(inBytes.data()), inBytes.size());
        if (mOnTake) mOnTake();
    }

    std::string mText;
    int mBegins = 0;
    std::function<void()> mOnTake;
};

FetchSettings Quick() {
    FetchSettings settings;
    settings.mStallLimit = 300ms;
    settings.mRetry.mFirstDelay = 1ms;
    settings.mRetry.mLongestDelay = 4ms;
    return settings;
}

/// What came of a download: nothing for success, or the failure's code.
std::optional<ErrorCode> CodeOf(const std::string& inAddress, std::size_t inSize, IByteSink& ioSink,
                                const FetchSettings& inSettings = Quick()) {
    try {
        Fetch(inAddress, inSize, inSettings, ioSink, {});
        return std::nullopt;
    } catch (const Failure& failure) {
        return failure.Code();
    }
}

const std::string kContent = Noise(300'000);

}  // namespace

TEST(Fetch, BringsTheWholeContent) {
    HttpServer server([](const Question& inQuestion) { return Content(inQuestion, kContent); });
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), std::nullopt);
    EXPECT_EQ(sink.mText, kContent);
    EXPECT_EQ(sink.mBegins, 1);
}

TEST(Fetch, ReadsFiles) {
    const ScratchFolder scratch;
    Write(scratch.Path() / "a b", kContent);
    Collector sink;
    EXPECT_EQ(CodeOf("file://" + scratch.Path().string() + "/a%20b", kContent.size(), sink), std::nullopt);
    EXPECT_EQ(sink.mText, kContent);
    EXPECT_EQ(CodeOf("file://" + scratch.Path().string() + "/none", 1, sink), ErrorCode::kRefused);
    EXPECT_EQ(CodeOf("file://" + scratch.Path().string() + "/a%20b", 7, sink), ErrorCode::kOtherSize);
}

TEST(Fetch, GoesOnWhereItBrokeOff) {
    HttpServer server([](const Question& inQuestion) {
        Answer answer = Content(inQuestion, kContent);
        answer.mCutAfter = 100'000;
        return answer;
    });
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), std::nullopt);
    EXPECT_EQ(sink.mText, kContent);
    EXPECT_EQ(sink.mBegins, 1);
    EXPECT_EQ(server.Questions(), 3);
}

TEST(Fetch, BeginsAnewWhereTheServerIgnoresRanges) {
    HttpServer server([](const Question& inQuestion) {
        Answer answer{200, kContent, {"ETag: \"one\""}};
        if (inQuestion.mNumber == 0) answer.mCutAfter = 100'000;
        return answer;
    });
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), std::nullopt);
    EXPECT_EQ(sink.mText, kContent);
    EXPECT_EQ(sink.mBegins, 2);
}

TEST(Fetch, BeginsAnewWhenTheContentHasChanged) {
    const std::string other(kContent.rbegin(), kContent.rend());
    HttpServer server([&](const Question& inQuestion) {
        if (inQuestion.mNumber > 0) return Content(inQuestion, other, "\"two\"");
        Answer answer = Content(inQuestion, kContent);
        answer.mCutAfter = 100'000;
        return answer;
    });
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), std::nullopt);
    EXPECT_EQ(sink.mText, other);
}

TEST(Fetch, AsksForNoPartOfWhatTheServerCannotName) {
    for (const char* const header : {"X-Nothing: 1", "ETag: W/\"weak\""}) {
        std::atomic<bool> hasAsked{false};
        HttpServer server([&](const Question& inQuestion) {
            if (inQuestion.RangeBegin()) hasAsked = true;
            Answer answer{200, kContent, {header}};
            if (inQuestion.mNumber == 0) answer.mCutAfter = 100'000;
            return answer;
        });
        Collector sink;
        EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), std::nullopt);
        EXPECT_EQ(sink.mText, kContent);
        EXPECT_FALSE(hasAsked) << header;
    }
}

TEST(Fetch, RefusesAnotherPartThanTheOneAskedFor) {
    HttpServer server([](const Question& inQuestion) {
        Answer answer{200, kContent, {"ETag: \"one\""}};
        answer.mCutAfter = 100'000;
        if (inQuestion.mNumber > 0) {
            answer = {206, kContent.substr(50'000), {"Content-Range: bytes 50000-299999/300000"}};
        }
        return answer;
    });
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), ErrorCode::kRefused);
}

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
    HttpServer server([](const Question& inQuestion) {
        Answer answer = Content(inQuestion, kContent);
        answer.mCutAfter = 100'000;
        answer.mStalls = true;
        return answer;
    });
    FetchSettings settings = Quick();
    settings.mRetry.mMaxBreaks = 1;
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink, settings), ErrorCode::kStalled);
    EXPECT_EQ(server.Questions(), 2);
}

TEST(Fetch, DoesNotTakeASlowSinkForAStall) {
    HttpServer server([&](const Question& inQuestion) {
        Answer answer = Content(inQuestion, kContent);
        answer.mPauseAfter = 1000;
        answer.mPause = 1800ms;
        return answer;
    });
    FetchSettings settings = Quick();
    settings.mStallLimit = 1000ms;
    Collector sink;
    sink.mOnTake = [&] {
        if (sink.mText.size() <= 1000) std::this_thread::sleep_for(1500ms);
    };
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink, settings), std::nullopt);
    EXPECT_EQ(server.Questions(), 1);
}

TEST(Fetch, RefusesASizeOtherThanPromised) {
    Collector sink;
    for (const auto length : {Answer::Length::kTrue, Answer::Length::kNone}) {
        HttpServer server([&](const Question&) { return Answer{200, kContent, {}, length}; });
        EXPECT_EQ(CodeOf(server.Address(), kContent.size() - 1, sink), ErrorCode::kOtherSize);
        EXPECT_LE(sink.mText.size(), kContent.size() - 1);
        EXPECT_EQ(CodeOf(server.Address(), kContent.size() + 1, sink), ErrorCode::kOtherSize);
    }
}

TEST(Fetch, IsNotFooledByALengthThatIsALie) {
    HttpServer server([](const Question&) {
        return Answer{200, kContent, {}, Answer::Length::kClaimed, kContent.size() + 1000};
    });
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size() + 1000, sink), ErrorCode::kUnreachable);
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), ErrorCode::kOtherSize);
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

TEST(Fetch, FollowsRedirectionsButNotInCirclesAndNotElsewhere) {
    const auto redirecting = [](const std::string& inTo) {
        return [inTo](const Question& inQuestion) {
            if (inQuestion.mPath == "/there") return Content(inQuestion, kContent);
            return Answer{302, "", {"Location: " + inTo}};
        };
    };
    Collector sink;
    HttpServer honest(redirecting("/there"));
    EXPECT_EQ(CodeOf(honest.Address(), kContent.size(), sink), std::nullopt);
    EXPECT_EQ(sink.mText, kContent);
    HttpServer circle(redirecting("/here"));
    EXPECT_EQ(CodeOf(circle.Address(), kContent.size(), sink), ErrorCode::kBadRedirect);
    EXPECT_EQ(circle.Questions(), Quick().mMaxRedirects + 1);
    for (const char* const elsewhere : {"file:///etc/passwd", "ftp://127.0.0.1/a"}) {
        HttpServer server(redirecting(elsewhere));
        EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), ErrorCode::kBadRedirect) << elsewhere;
    }
}

TEST(Fetch, SaysWhenThereIsNoServer) {
    std::string address;
    {
        HttpServer server([](const Question&) { return Answer{}; });
        address = server.Address();
    }
    Collector sink;
    EXPECT_EQ(CodeOf(address, 1, sink), ErrorCode::kUnreachable);
}

TEST(Fetch, TrustsNoServerThatNobodyVouchesFor) {
    const ScratchFolder scratch;
    const std::string key = (scratch.Path() / "key").string();
    const std::string certificate = (scratch.Path() / "certificate").string();
    const auto made = support::Run(
        {{"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
          "-nodes", "-keyout", key, "-out", certificate, "-days", "1", "-subj", "/CN=127.0.0.1"}});
    ASSERT_EQ(made.mExitCode, 0) << made.mErrors;
    support::ChildProcess server({{"/usr/bin/openssl", "s_server", "-accept", "127.0.0.1:0", "-cert",
                                   certificate, "-key", key, "-www"}});
    const std::string announced = "ACCEPT 127.0.0.1:";
    ASSERT_TRUE(server.AwaitOutput(announced)) << server.Errors();
    ASSERT_TRUE(server.AwaitOutput("\n")) << server.Errors();
    const int port = std::stoi(server.Output().substr(server.Output().find(announced) + announced.size()));
    Collector sink;
    try {
        Fetch("https://127.0.0.1:" + std::to_string(port) + "/", 1, Quick(), sink, {});
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.Code(), ErrorCode::kUnreachable);
        EXPECT_THAT(failure.what(), testing::StartsWith("the server can't be trusted"));
    }
}

TEST(Fetch, StopsAtOnceWhenNobodyWantsItAnyMore) {
    HttpServer server([](const Question& inQuestion) {
        Answer answer = Content(inQuestion, kContent);
        answer.mCutAfter = 1000;
        answer.mStalls = true;
        return answer;
    });
    FetchSettings settings = Quick();
    settings.mStallLimit = 1h;
    std::stop_source stop;
    Collector sink;
    sink.mOnTake = [&] { stop.request_stop(); };
    EXPECT_THROW(Fetch(server.Address(), kContent.size(), settings, sink, stop.get_token()), Cancelled);
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

TEST(Fetch, PassesOnWhatTheSinkThrows) {
    HttpServer server([](const Question& inQuestion) { return Content(inQuestion, kContent); });
    Collector sink;
    sink.mOnTake = [] { throw Failure(ErrorCode::kDiskFull, "full"); };
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), ErrorCode::kDiskFull);
    EXPECT_EQ(server.Questions(), 1);
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

TEST(ResponseHead, KnowsContentByAStrongTagOrADate) {
    ResponseHead head;
    head.Line("HTTP/1.1 200 OK\r\n");
    EXPECT_EQ(head.Validator(), "");
    head.Line("Last-Modified: Sat, 21 Nov 2026 10:00:00 GMT\r\n");
    head.Line("ETag: W/\"weak\"\r\n");
    EXPECT_EQ(head.Validator(), "Sat, 21 Nov 2026 10:00:00 GMT");
    head.Line("eTaG:\t\"strong\" \r\n");
    EXPECT_EQ(head.Validator(), "\"strong\"");
    head.Line("HTTP/1.1 302 Found\r\n");
    EXPECT_EQ(head.Validator(), "");
}

TEST(ResponseHead, ReadsRangesAndNothingThatIsNone) {
    ResponseHead head;
    head.Line("Content-Range: bytes 5-9/10\r\n");
    EXPECT_EQ(head.RangeBegin(), 5U);
    EXPECT_EQ(head.WholeSize(), 10U);
    head.Line("Content-Range: bytes 5-9/*\r\n");
    EXPECT_EQ(head.WholeSize(), std::nullopt);
    head.Line("Content-Range: bytes x-9/99999999999999999999999\r\n");
    EXPECT_EQ(head.RangeBegin(), std::nullopt);
    EXPECT_EQ(head.WholeSize(), std::nullopt);
}

}  // namespace zarnd_test
