#include <gmock/gmock.h>

#include "ToolRun.h"

namespace tool_test {

using support::ChildProcess;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using Words = std::vector<std::string>;

class Messages : public OnBus {
  protected:
    // A subscriber that is ready, and ends after some messages.
    std::unique_ptr<ChildProcess> Subscriber(const std::string& inType, int inCount) {
        auto subscriber = std::make_unique<ChildProcess>(
            Command({"subscribe", inType, "--json", "--count", std::to_string(inCount), "--as", "LISTENER",
                     "--as-version", "7"}));
        EXPECT_TRUE(subscriber->AwaitErrors("listening as LISTENER-7")) << subscriber->Errors();
        return subscriber;
    }
};

}  // namespace

TEST_F(Messages, RawXMLAndJSONPayloadsArriveInOrder) {
    const auto subscriber = Subscriber("t.news", 3);
    EXPECT_EQ(Run({"send", "t.news", "hello, bus"}).mExitCode, 0);
    EXPECT_EQ(Run({"send", "t.news", "--xml", "b=<2>", "a=1"}).mExitCode, 0);
    EXPECT_EQ(Run({"send", "t.news", "--json", "n:=3", "l:=[1,2]"}).mExitCode, 0);
    EXPECT_EQ(subscriber->Wait(), 0) << subscriber->Errors();
    EXPECT_THAT(subscriber->Output(),
                testing::MatchesRegex(
                    "\\{\"raw\":\"hello, bus\",\"sender\":\"PLEXACLI-[^\"]*\",\"type\":\"t.news\"\\}\n"
                    "\\{\"payload\":\\{\"a\":\"1\",\"b\":\"<2>\"\\},\"type\":\"t.news\"\\}\n"
                    "\\{\"payload\":\\{\"l\":\\[1,2\\],\"n\":3\\},\"type\":\"t.news\"\\}\n"));
}

TEST_F(Messages, WhatNobodyCouldReadAsXMLIsNotSent) {
    for (const Words& words :
         {Words{"1b=1"}, Words{"a b=1"}, Words{"a =1"}, Words{"a><x/=1"}, Words{"\xF0\x9F\x98\x80=1"},
          Words{"a=\x01"}, Words{"a=\xFF"}, Words{"a=\xEF\xBF\xBF"}, Words{R"({"a":{"b":"x\u0000y"}})"},
          Words{R"({"":"1"})"}, Words{R"({"__attributes__":{"1b":"1"}})"},
          Words{R"({"__attributes__":{"b":{"c":"1"}}})"}, Words{"a=1", "--root", "a b"},
          Words{"a=1", "--root", "a><b"}, Words{"a=1", "--root", ""}}) {
        Words send{"send", "t.news", "--xml"};
        send.insert(send.end(), words.begin(), words.end());
        const auto run = Run(send);
        EXPECT_EQ(run.mExitCode, 1) << testing::PrintToString(words);
        EXPECT_THAT(run.mErrors, HasSubstr("cannot write the dictionary as XML: "))
            << testing::PrintToString(words);
    }
    EXPECT_EQ(Run({"request", "t.ask", "--response", "t.told", "--xml", "1b=1"}).mExitCode, 1);
    EXPECT_EQ(mBus.BrokerId(), std::nullopt);

    const auto subscriber = Subscriber("t.news", 1);
    EXPECT_EQ(
        Run({"send", "t.news", "--xml", "_a-b.2=\t\xF0\x9F\x98\x80", "\xC3\xA4=\xC3\xA4", "a:b="}).mExitCode,
        0);
    EXPECT_EQ(subscriber->Wait(), 0);
    EXPECT_THAT(subscriber->Output(), HasSubstr("\xF0\x9F\x98\x80"));
    EXPECT_THAT(subscriber->Output(), HasSubstr("\"a:b\":\"\""));
}

TEST_F(Messages, RawTextAndJSONDocumentsAreReadFromTheStandardInput) {
    const auto subscriber = Subscriber("t.news", 2);
    EXPECT_EQ(Run({"send", "t.news"}, "from a pipe\n").mExitCode, 0);
    EXPECT_EQ(Run({"send", "t.news", "--json", "-"}, "{\"a\": 1}").mExitCode, 0);
    EXPECT_EQ(subscriber->Wait(), 0);
    EXPECT_THAT(subscriber->Output(), HasSubstr("\"raw\":\"from a pipe\\n\""));
    EXPECT_THAT(subscriber->Output(), HasSubstr("\"payload\":{\"a\":1}"));
}

TEST_F(Messages, ATextIsSentAsItIsWhateverItLooksLike) {
    const auto subscriber = Subscriber("t.news", 3);
    EXPECT_EQ(Run({"send", "t.news", "--", "--json"}).mExitCode, 0);
    EXPECT_EQ(Run({"send", "t.news", "\"a\", \\ b"}).mExitCode, 0);
    EXPECT_EQ(Run({"send", "t.news", "k=v"}).mExitCode, 0);
    EXPECT_EQ(subscriber->Wait(), 0);
    EXPECT_THAT(subscriber->Output(), HasSubstr("\"raw\":\"--json\""));
    EXPECT_THAT(subscriber->Output(), HasSubstr("\"raw\":\"\\\"a\\\", \\\\ b\""));
    EXPECT_THAT(subscriber->Output(), HasSubstr("\"raw\":\"k=v\""));
}

TEST_F(Messages, WhatCannotBeDecodedIsToldAndTheNextMessageArrives) {
    const auto subscriber = Subscriber("t.news", 1);
    EXPECT_EQ(Run({"send", "t.news", "[1,2]"}).mExitCode, 0);
    EXPECT_TRUE(subscriber->AwaitErrors("assertion in ")) << subscriber->Errors();
    EXPECT_EQ(Run({"send", "t.news", "next"}).mExitCode, 0);
    EXPECT_EQ(subscriber->Wait(), 0);
    EXPECT_THAT(subscriber->Output(), HasSubstr("next"));
}

TEST_F(Messages, ALineForPeopleSaysWhoSentARawText) {
    ChildProcess subscriber(Command({"subscribe", "t.news", "--count", "1"}));
    ASSERT_TRUE(subscriber.AwaitErrors("listening"));
    EXPECT_EQ(Run({"send", "t.news", "hello", "--as", "PHOTO", "--as-version", "2.1"}).mExitCode, 0);
    EXPECT_EQ(subscriber.Wait(), 0);
    EXPECT_EQ(subscriber.Output(), "t.news \"hello\" from PHOTO-2.1\n");
}

TEST_F(Messages, APushNotificationIsShownAsOne) {
    const auto subscriber = Subscriber("t.push", 1);
    EXPECT_EQ(
        Run({"send", "t.push"}, "<message v=\"1\"><notification-signal type=\"T\" sub-type=\"S\"/></message>")
            .mExitCode,
        0);
    EXPECT_EQ(subscriber->Wait(), 0);
    EXPECT_THAT(subscriber->Output(), HasSubstr("\"notification\":\"T\""));
    EXPECT_THAT(subscriber->Output(), HasSubstr("\"sub-type\":\"S\""));
}

TEST_F(Messages, AMessageToOneReachesNobodyElse) {
    const auto addressed = Subscriber("t.news", 1);
    ChildProcess other(Command({"subscribe", "t.news", "--json", "--as", "OTHER", "--as-version", "1"}));
    ASSERT_TRUE(other.AwaitErrors("listening"));
    EXPECT_EQ(Run({"send", "t.news", "for one", "--to", "LISTENER-7"}).mExitCode, 0);
    EXPECT_EQ(Run({"send", "t.news", "for all"}).mExitCode, 0);
    EXPECT_EQ(addressed->Wait(), 0);
    EXPECT_THAT(addressed->Output(), HasSubstr("for one"));
    ASSERT_TRUE(other.AwaitOutput("for all"));
    EXPECT_THAT(other.Output(), testing::Not(HasSubstr("for one")));
}

TEST_F(Messages, AReceiverThatIsNotOnTheBusIsToldInsteadOfEverybody) {
    const auto subscriber = Subscriber("t.news", 1);
    const auto run = Run({"send", "t.news", "hello", "--to", "NOBODY-1"});
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors, HasSubstr("cannot send to \"NOBODY-1\": it is not on the bus"));
    EXPECT_EQ(Run({"send", "t.news", "to everybody", "--to", "NOBODY-1", "--anyway"}).mExitCode, 0);
    EXPECT_EQ(subscriber->Wait(), 0);
    EXPECT_THAT(subscriber->Output(), HasSubstr("to everybody"));
    EXPECT_THAT(subscriber->Output(), testing::Not(HasSubstr("hello")));
}

// Such as that of a script whose variable is not set.
TEST_F(Messages, AnEmptyReceiverIsNotEverybody) {
    const auto subscriber = Subscriber("t.news", 1);
    for (const Words& anyway : {Words{}, Words{"--anyway"}}) {
        Words words{"send", "t.news", "hello", "--to", ""};
        words.insert(words.end(), anyway.begin(), anyway.end());
        const auto run = Run(words);
        EXPECT_EQ(run.mExitCode, 2);
        EXPECT_THAT(run.mErrors, HasSubstr("--to: must not be empty"));
    }
    EXPECT_EQ(Run({"send", "t.news", "to everybody"}).mExitCode, 0);
    EXPECT_EQ(subscriber->Wait(), 0);
    EXPECT_THAT(subscriber->Output(), testing::Not(HasSubstr("hello")));
}

TEST_F(Messages, TheLargestPayloadArrivesAndALargerOneIsRefused) {
    constexpr std::size_t kMax = std::size_t{1} << 20U;
    const auto subscriber = Subscriber("t.big", 1);
    const auto refused = Run({"send", "t.big"}, std::string(kMax + 1, 'x'));
    EXPECT_EQ(refused.mExitCode, 1);
    EXPECT_THAT(refused.mErrors, HasSubstr("the bus takes 1 MiB"));
    const auto sent = Run({"send", "t.big"}, std::string(kMax, 'y'));
    EXPECT_EQ(sent.mExitCode, 0) << sent.mErrors;
    EXPECT_EQ(subscriber->Wait(), 0);
    EXPECT_THAT(subscriber->Output(), HasSubstr(std::string(kMax, 'y')));
}

TEST_F(Messages, APayloadThatWouldReachNobodyIsRefused) {
    for (const Words& words : {Words{"send", "t.news"}, Words{"send", "t.news", ""}}) {
        const auto run = Run(words);
        EXPECT_EQ(run.mExitCode, 1);
        EXPECT_THAT(run.mErrors, HasSubstr("cannot send this payload: it is empty"));
    }
    EXPECT_EQ(mBus.BrokerId(), std::nullopt);
}

TEST_F(Messages, APayloadThatWouldBeCutIsRefused) {
    const auto run = Run({"send", "t.news"}, std::string("a\0b", 3));
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors, HasSubstr("NUL"));
}

TEST_F(Messages, TooFewMessagesInTimeAreAnErrorAndATimeAloneIsNone) {
    const auto few = Run({"subscribe", "t.news", "--count", "1", "--timeout", "0.2"});
    EXPECT_EQ(few.mExitCode, 3);
    EXPECT_THAT(few.mErrors, HasSubstr("0 of 1 messages came in time"));
    const auto timed = Run({"subscribe", "t.news", "--timeout", "0.2", "--quiet"});
    EXPECT_EQ(timed.mExitCode, 0);
    EXPECT_THAT(timed.mErrors, IsEmpty());
}

}  // namespace tool_test
