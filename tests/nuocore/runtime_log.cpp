// The log: switching, sinks, and the form of its lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "nuocore/Log.h"
#include "runtime_support.h"
#include "support/Patterns.h"

namespace {

using namespace nuocore::log;
using nuocore::UTF8String;
using nuocore::serialization::VariantValue;
using runtime_test::EndByVerdict;
using runtime_test::FreshProcessDeathTest;
using runtime_test::LogRecorder;
using runtime_test::ReadFile;
using runtime_test::SetVariable;
using runtime_test::TemporaryFolder;

LogRecord MakeRecord() {
    return {"Category",
            "..\\..\\src\\File",
            "ns::Function",
            "Message",
            {{"zulu", VariantValue(std::uint64_t{1})}, {"alpha", VariantValue(UTF8String("a\"b"))}}};
}

TEST(Log, HandsARecordToItsSinkAsItIs) {
    const LogRecorder log;
    Log(MakeRecord());
    ASSERT_EQ(log.Records().size(), 1U);
    EXPECT_EQ(log.Records()[0].mCategory, "Category");
    EXPECT_EQ(log.Records()[0].mFile, "..\\..\\src\\File");
    EXPECT_EQ(log.Records()[0].mFunction, "ns::Function");
    EXPECT_EQ(log.Records()[0].mMessage, "Message");
    ASSERT_EQ(log.Records()[0].mFields.size(), 2U);
    EXPECT_EQ(log.Records()[0].mFields[0].first, "zulu");
}

TEST(Log, DoesNothingWhileItIsOff) {
    const LogRecorder log;
    EXPECT_TRUE(IsLoggingEnabled());
    SetLoggingEnabled(false);
    EXPECT_FALSE(IsLoggingEnabled());
    Log(MakeRecord());
    SetLoggingEnabled(true);
    EXPECT_TRUE(log.Records().empty());
    Log(MakeRecord());
    EXPECT_EQ(log.Records().size(), 1U);
}

TEST(LogSink, MayThrowOrLogItself) {
    int calls = 0;
    const LogSink before = SetLogSink([&calls](const LogRecord& inRecord) {
        ++calls;
        Log(inRecord);
        throw 1;  // NOLINT(misc-throw-by-value-catch-by-reference)
    });
    EXPECT_NO_THROW(Log(MakeRecord()));
    EXPECT_NO_THROW(Log(MakeRecord()));
    EXPECT_TRUE(SetLogSink(before));
    EXPECT_EQ(calls, 2);
}

using LogDeathTest = FreshProcessDeathTest;

TEST_F(LogDeathTest, IsOffWhenTheEnvironmentSaysSo) {
    EXPECT_EXIT(
        {
            SetVariable("NUOCORE_LOG", "off");
            EXPECT_FALSE(IsLoggingEnabled());
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(LogDeathTest, IsOnWhenTheHostSaysSoAgainstTheEnvironment) {
    EXPECT_EXIT(
        {
            SetVariable("NUOCORE_LOG", "off");
            SetLoggingEnabled(true);
            EXPECT_TRUE(IsLoggingEnabled());
            Log(MakeRecord());
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "Z Category: Message");
}

TEST_F(LogDeathTest, WritesOneLineARecordIntoTheFileNamed) {
    EXPECT_EXIT(
        {
            {
                const TemporaryFolder folder;
                SetVariable("NUOCORE_LOG", folder.File("log"));
                Log(MakeRecord());
                Log({"C", "F", "G", "no\nfields\x1B", {}});
                EXPECT_THAT(ReadFile(folder.File("log")),
                            support::MatchesPattern(
                                "[0-9T:.-]+Z Category: Message \\{\"zulu\":1,\"alpha\":\"a\\\\\"b\"\\} "
                                "\\[\\.\\.\\\\\\.\\.\\\\src\\\\File, ns::Function\\]\n"
                                "[0-9T:.-]+Z C: no\\\\nfields\\\\x1B \\[F, G\\]\n"));
            }
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(LogDeathTest, KeepsARecordWithAFieldThatJSONCannotExpress) {
    EXPECT_EXIT(
        {
            Log({"C", "F", "G", "odd", {{"field", VariantValue(std::string("std"))}, {"next", true}}});
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "odd \\{\"field\":\"\\(not expressible\\)\",\"next\":true\\}");
}

TEST_F(LogDeathTest, FallsBackToTheStandardErrorStreamWhenTheFileCannotBeOpened) {
    EXPECT_EXIT(
        {
            SetVariable("NUOCORE_LOG", "/dev/null/log");
            Log(MakeRecord());
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "writing to the standard error stream instead\n.*Category: Message");
}

}  // namespace
