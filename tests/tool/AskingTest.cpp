#include <gmock/gmock.h>

#include <csignal>

#include "ToolRun.h"

namespace tool_test {

using support::ChildProcess;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Asking : public OnBus {
  protected:
    std::unique_ptr<ChildProcess> Answerer(std::vector<std::string> inMore = {}) {
        std::vector<std::string> arguments = {"answer", "t.ask",   "--response",
                                              "t.told", "--reply", "by=plexa"};
        arguments.insert(arguments.end(), inMore.begin(), inMore.end());
        auto answerer = std::make_unique<ChildProcess>(Command(arguments));
        EXPECT_TRUE(answerer->AwaitErrors("answering as PLEXACLI-")) << answerer->Errors();
        return answerer;
    }
};

}  // namespace

TEST_F(Asking, AnAnswerIsTheQuestionWithTheReplyAndWithoutTheId) {
    const auto answerer = Answerer();
    for (const char* const format : {"--json", "--xml"}) {
        for (const char* const key : {"requestId", "request-id", "requestid", "request-context"}) {
            const auto run =
                Run({"request", "t.ask", "--response", "t.told", format, "--key", key, "why=because"});
            EXPECT_EQ(run.mExitCode, 0) << format << " " << key << ": " << run.mErrors;
            EXPECT_EQ(run.mOutput, "{\"by\":\"plexa\",\"why\":\"because\"}\n") << format << " " << key;
        }
    }
}

TEST_F(Asking, AQuestionNeedsNoDictionary) {
    const auto answerer = Answerer();
    EXPECT_EQ(Run({"request", "t.ask", "--response", "t.told"}).mOutput, "{\"by\":\"plexa\"}\n");
}

TEST_F(Asking, AnAnswererShowsWhatItHasAnsweredAndEndsAfterItsCount) {
    const auto answerer = Answerer({"--count", "1", "--json"});
    EXPECT_EQ(Run({"request", "t.ask", "--response", "t.told", "n:=1"}).mExitCode, 0);
    EXPECT_EQ(answerer->Wait(), 0);
    EXPECT_EQ(answerer->Output(), "{\"payload\":{\"n\":1},\"type\":\"t.ask\"}\n");
}

TEST_F(Asking, QuestionsThatCannotBeAnsweredAreComplainedAboutAndNoMore) {
    const auto answerer = Answerer();
    for (const auto& [text, reason] :
         {std::pair<const char*, const char*>{"words", "its payload is no dictionary"},
          {"{\"a\":1}", "it has no request id"},
          {"{\"a\":", "cannot decode the payload as JSON"},
          {"[1]", "it is no object"}}) {
        EXPECT_EQ(Run({"send", "t.ask", text}).mExitCode, 0);
        EXPECT_TRUE(answerer->AwaitErrors(reason)) << answerer->Errors();
    }
    EXPECT_EQ(Run({"request", "t.ask", "--response", "t.told"}).mExitCode, 0);
}

TEST_F(Asking, TheLargestQuestionIsAnsweredAndALargerOneIsRefused) {
    support::Command answer = Command({"answer", "t.ask", "--response", "t.told"});
    answer.mOutput = support::Command::Output::kFile;
    answer.mFile = "/dev/null";  // no pipe, which could fill
    ChildProcess answerer(answer);
    ASSERT_TRUE(answerer.AwaitErrors("answering")) << answerer.Errors();
    struct Form {
        std::vector<std::string> mOptions;
        std::string mBeside;  // what is sent beside the text, with a request id
    };
    const std::string id(36, 'i');
    for (const Form& form :
         {Form{{"--json"}, R"({"a":"","requestId":")" + id + R"("})"},
          Form{{"--xml", "--key", "request-context"},
               R"(<?xml version="1.0" encoding="utf-8" ?><request><a></a><request-context>)" + id +
                   "</request-context></request>"}}) {
        std::vector<std::string> request = {"request", "t.ask", "--response", "t.told", "-"};
        request.insert(request.end(), form.mOptions.begin(), form.mOptions.end());
        const std::string text((std::size_t{1} << 20U) - form.mBeside.size(), 'x');
        const auto refused = Run(request, R"({"a":"x)" + text + R"("})");
        EXPECT_EQ(refused.mExitCode, 1) << form.mOptions.front();
        EXPECT_THAT(refused.mErrors, HasSubstr("of 1048577 bytes: the bus takes 1 MiB"));
        const auto answered = Run(request, R"({"a":")" + text + R"("})");
        EXPECT_EQ(answered.mExitCode, 0) << form.mOptions.front() << ": " << answered.mErrors;
        EXPECT_EQ(answered.mOutput, R"({"a":")" + text + "\"}\n") << form.mOptions.front();
    }
}

TEST_F(Asking, NoAnswerInTimeIsAnErrorOfItsOwn) {
    const auto run = Run({"request", "t.ask", "--response", "t.told", "--timeout", "0.2"});
    EXPECT_EQ(run.mExitCode, 3);
    EXPECT_THAT(run.mErrors, HasSubstr("no answer of type \"t.told\" came in time"));
    EXPECT_THAT(run.mOutput, IsEmpty());
}

TEST_F(Asking, TooFewQuestionsInTimeAreAnError) {
    const auto run = Run({"answer", "t.ask", "--response", "t.told", "--count", "2", "--timeout", "0.2"});
    EXPECT_EQ(run.mExitCode, 3);
    EXPECT_THAT(run.mErrors, HasSubstr("0 of 2 questions came in time"));
}

TEST_F(Asking, AnInterruptionEndsAnAnswererInGoodOrder) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto answerer = Answerer();
        answerer->Signal(signal);
        EXPECT_EQ(answerer->Wait(), 0) << answerer->Errors();
    }
}

TEST_F(Asking, AnInterruptionEndsTheWaitForAnAnswer) {
    ChildProcess hearer(Command({"subscribe", "t.nobody", "--as", "HEARER"}));
    ASSERT_TRUE(hearer.AwaitErrors("listening"));
    ChildProcess asker(
        Command({"request", "t.nobody", "--response", "t.told", "--as", "ASKER", "question=why"}));
    // The asker waits for its answer once its question is out.
    ASSERT_TRUE(hearer.AwaitOutput("why")) << asker.Errors();
    asker.Signal(SIGINT);
    EXPECT_EQ(asker.Wait(), 3);
}

}  // namespace tool_test
