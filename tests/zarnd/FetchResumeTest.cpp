// Downloads that break off, and go on.
#include <gmock/gmock.h>
#include <atomic>

#include "fetch/ResponseHead.h"
#include "support/Fetching.h"
#include "support/HttpServer.h"

namespace zarnd_test {

using namespace std::chrono_literals;

TEST(Fetch, GoesOnWhereItBrokeOff) {
    HttpServer server(Cut(kContent, 100'000));
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
        HttpServer server([&, &first = first, &then = then](const Question& inQuestion) {
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
