#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/Fetching.h"
#include "support/HttpServer.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

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

TEST(Fetch, StopsAtOnceWhenNobodyWantsItAnyMore) {
    HttpServer server(Stalled(kContent, 1000));
    FetchSettings settings = Quick();
    settings.mPace.mStallLimit = 1h;
    std::stop_source stop;
    Collector sink;
    sink.mOnTake = [&] { stop.request_stop(); };
    EXPECT_THROW(Fetch(server.Address(), kContent.size(), settings, sink, stop.get_token()), Cancelled);
}

TEST(Fetch, PassesOnWhatTheSinkThrows) {
    HttpServer server([](const Question& inQuestion) { return Content(inQuestion, kContent); });
    Collector sink;
    sink.mOnTake = [] { throw Failure(ErrorCode::kDiskFull, "full"); };
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), ErrorCode::kDiskFull);
    EXPECT_EQ(server.Questions(), 1);
}

TEST(Fetch, RefusesAnAnswerThatIsNoContent) {
    for (const int status : {204, 304, 301}) {
        HttpServer server([status](const Question&) { return Answer{status, ""}; });
        Collector sink;
        EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink), ErrorCode::kRefused) << status;
        EXPECT_EQ(server.Questions(), 1) << status;
    }
}

}  // namespace zarnd_test
