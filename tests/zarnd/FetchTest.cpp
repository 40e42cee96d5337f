#include "fetch/Fetch.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "common/Failure.h"
#include "fetch/ResponseHead.h"
#include "support/Archives.h"
#include "support/ChildProcess.h"
#include "support/HttpServer.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

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
    settings.mPace.mStallLimit = 300ms;
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

TEST(Fetch, ReadsNothingButRegularFiles) {
    const ScratchFolder scratch;
    const std::string pipe = (scratch.Path() / "pipe").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    Collector sink;
    for (const std::string& path : {pipe, std::string("/dev/zero"), scratch.Path().string()}) {
        try {
            Fetch("file://" + path, 1, Quick(), sink, {});
            FAIL() << path;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.Code(), ErrorCode::kRefused);
            EXPECT_EQ(std::string(failure.what()), path + " is no regular file");
        }
    }
    EXPECT_EQ(sink.mBegins, 0);
}

TEST(Fetch, StopsInTheMiddleOfAFile) {
    const ScratchFolder scratch;
    const std::string content = Noise(std::size_t{4} << 20U);
    Write(scratch.Path() / "a", content);
    std::stop_source stop;
    Collector sink;
    sink.mOnTake = [&] { stop.request_stop(); };
    EXPECT_THROW(
        Fetch("file://" + (scratch.Path() / "a").string(), content.size(), Quick(), sink, stop.get_token()),
        Cancelled);
    EXPECT_LE(sink.mText.size(), content.size() / 8);
}

TEST(Fetch, NoticesAFileThatChangesItsSizeMeanwhile) {
    const ScratchFolder scratch;
    const fs::path path = scratch.Path() / "a";
    for (const bool grows : {true, false}) {
        Write(path, Noise(std::size_t{1} << 20U));
        Collector sink;
        sink.mOnTake = [&] { fs::resize_file(path, grows ? std::size_t{3} << 20U : 1000); };
        EXPECT_EQ(CodeOf("file://" + path.string(), std::size_t{1} << 20U, sink), ErrorCode::kOtherSize);
    }
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

// A server that knows ranges, but not the condition under which they are asked for.
TEST(Fetch, BeginsAnewWhenThePartIsOfAnotherContent) {
    const std::string other(kContent.rbegin(), kContent.rend());
    struct Case {
        std::string mFirst;
        std::string mThen;
    };
    for (const auto& [first, then] :
         {Case{"ETag: \"one\"", "ETag: \"two\""}, Case{"ETag: \"one\"", "X-Nothing: 1"},
          Case{"Last-Modified: Sat, 21 Nov 2026 10:00:00 GMT",
               "Last-Modified: Sat, 21 Nov 2026 11:00:00 GMT"}}) {
        HttpServer server([&](const Question& inQuestion) {
            Answer answer{
                200, inQuestion.mNumber == 0 ? kContent : other, {inQuestion.mNumber == 0 ? first : then}};
            if (inQuestion.mNumber == 0) answer.mCutAfter = 100'000;
            if (const auto begin = inQuestion.RangeBegin()) {
                answer.mStatus = 206;
                answer.mBody = other.substr(*begin);
                answer.mHeaders.push_back("Content-Range: bytes " + std::to_string(*begin) +
                                          "-299999/300000");
            }
            return answer;
        });
        Collector sink;
        EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), std::nullopt) << then;
        EXPECT_TRUE(sink.mText == other) << then;
        EXPECT_EQ(sink.mBegins, 2) << then;
        EXPECT_EQ(server.Questions(), 3) << then;
    }
}

TEST(Fetch, GoesOnWithADateThatIsNotSaidAgain) {
    HttpServer server([&](const Question& inQuestion) {
        Answer answer = Content(inQuestion, kContent, "Sat, 21 Nov 2026 10:00:00 GMT");
        if (inQuestion.mNumber == 0) {
            answer.mHeaders = {"Last-Modified: Sat, 21 Nov 2026 10:00:00 GMT"};
            answer.mCutAfter = 100'000;
        } else {
            answer.mHeaders.erase(answer.mHeaders.begin());
        }
        return answer;
    });
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), std::nullopt);
    EXPECT_TRUE(sink.mText == kContent);
    EXPECT_EQ(sink.mBegins, 1);
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

/// A server of https that serves the files of a folder, with a certificate that an authority of its own
/// signed.
class SafeServer {
  public:
    explicit SafeServer(const std::string& inFolder) : mFolder(inFolder) {
        OpenSsl({"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                 "-keyout", Path("ca.key"), "-out", Authority(), "-days", "1", "-subj", "/CN=authority",
                 "-addext", "keyUsage=critical,keyCertSign"});
        OpenSsl({"req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
                 Path("server.key"), "-out", Path("server.request"), "-subj", "/CN=server"});
        Write(Path("extensions"), "subjectAltName=IP:127.0.0.1\n");
        OpenSsl({"x509", "-req", "-in", Path("server.request"), "-CA", Authority(), "-CAkey", Path("ca.key"),
                 "-CAcreateserial", "-out", Path("server.pem"), "-days", "1", "-extfile",
                 Path("extensions")});
        mServer.emplace(support::Command{
            {"/bin/sh", "-c",
             "cd '" + mFolder +
                 "' && exec /usr/bin/openssl s_server -accept 127.0.0.1:0 -cert server.pem -key "
                 "server.key -HTTP"}});
        const std::string announced = "ACCEPT 127.0.0.1:";
        if (!mServer->AwaitOutput(announced) || !mServer->AwaitOutput("\n")) {
            throw std::runtime_error(mServer->Errors());
        }
        const std::string& output = mServer->Output();
        mPort = std::stoi(output.substr(output.find(announced) + announced.size()));
    }

    [[nodiscard]] std::string Authority() const { return Path("ca.pem"); }
    [[nodiscard]] std::string Address() const {
        return "https://127.0.0.1:" + std::to_string(mPort) + "/archive";
    }

  private:
    [[nodiscard]] std::string Path(const std::string& inName) const { return mFolder + "/" + inName; }
    static void OpenSsl(std::vector<std::string> inArguments) {
        inArguments.insert(inArguments.begin(), "/usr/bin/openssl");
        const auto made = support::Run({std::move(inArguments)});
        if (made.mExitCode != 0) throw std::runtime_error(made.mErrors);
    }

    std::string mFolder;
    std::optional<support::ChildProcess> mServer;
    int mPort = 0;
};

TEST(Fetch, BringsContentFromAServerThatATrustedAuthorityVouchesFor) {
    const ScratchFolder scratch;
    Write(scratch.Path() / "archive",
          "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kContent.size()) +
              "\r\nConnection: close\r\n\r\n" + kContent);
    const SafeServer server(scratch.Path().string());
    FetchSettings settings = Quick();
    settings.mPace = {};
    settings.mAuthorities = server.Authority();
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink, settings), std::nullopt);
    EXPECT_TRUE(sink.mText == kContent);
}

TEST(Fetch, TrustsNoServerThatNobodyVouchesFor) {
    const ScratchFolder scratch;
    const SafeServer server(scratch.Path().string());
    Collector sink;
    try {
        Fetch(server.Address(), 1, Quick(), sink, {});
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
    settings.mPace.mStallLimit = 1h;
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
