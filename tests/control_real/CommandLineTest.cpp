// Command lines as words.
#include "CommandLine.h"

#include <gmock/gmock.h>

namespace orvane::plexa::control {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

constexpr FieldValues kValues{"A Name", "picture", "/a/file.desktop"};

TEST(Words, AreSplitAtBlanks) {
    EXPECT_THAT(SplitWords("a  b\tc"), Optional(ElementsAre("a", "b", "c")));
    EXPECT_THAT(SplitWords(""), Optional(IsEmpty()));
    EXPECT_THAT(SplitWords(" \t\n "), Optional(IsEmpty()));
    EXPECT_THAT(SplitWords("# nothing but a remark"), Optional(IsEmpty()));
}

TEST(Words, MayBeQuoted) {
    EXPECT_THAT(SplitWords(R"('a b' "c \" d" e\ f '$HOME;`ls`')"),
                Optional(ElementsAre("a b", "c \" d", "e f", "$HOME;`ls`")));
    EXPECT_THAT(SplitWords("'two\nlines' ''"), Optional(ElementsAre("two\nlines", "")));
}

TEST(Words, WithAnOpenQuoteAreNone) {
    EXPECT_EQ(SplitWords("a 'b"), std::nullopt);
    EXPECT_EQ(SplitWords("a \"b"), std::nullopt);
    EXPECT_EQ(SplitWords("a b\\"), std::nullopt);
}

TEST(ProgramWord, IsTheFirstOrTheOneBehindVariables) {
    EXPECT_EQ(ProgramWord({"app", "A=b"}), 0U);
    EXPECT_EQ(ProgramWord({"env", "app"}), 1U);
    EXPECT_EQ(ProgramWord({"/usr/bin/env", "A=b", "C=", "app", "D=e"}), 3U);
    EXPECT_EQ(ProgramWord({"env"}), 0U);
    EXPECT_EQ(ProgramWord({"env", "A=b"}), 0U);
    EXPECT_EQ(ProgramWord({"env", "-i", "app"}), 0U);
    EXPECT_EQ(ProgramWord({"env", "/opt/a=b/app"}), 1U);
}

TEST(FieldCodes, TakeTheArguments) {
    EXPECT_THAT(FillIn({"app", "--files", "%F", "last"}, kValues, {"a", "b"}),
                ElementsAre("app", "--files", "a", "b", "last"));
    for (const char* const code : {"%f", "%F", "%u", "%U"})
        EXPECT_THAT(FillIn({"app", code}, kValues, {}), ElementsAre("app")) << code;
}

TEST(FieldCodes, InsideAWordTakeOneArgument) {
    EXPECT_THAT(FillIn({"app", "--file=%f"}, kValues, {"a", "b"}), ElementsAre("app", "--file=a", "b"));
    EXPECT_THAT(FillIn({"app", "--file=%u"}, kValues, {}), ElementsAre("app", "--file="));
}

TEST(FieldCodes, AreNotNeededForArguments) {
    EXPECT_THAT(FillIn({"app", "-x"}, kValues, {"a b", "%F"}), ElementsAre("app", "-x", "a b", "%F"));
}

TEST(FieldCodes, StandForNameIconAndFile) {
    EXPECT_THAT(FillIn({"app", "%i", "%c", "-%k-"}, kValues, {}),
                ElementsAre("app", "--icon", "picture", "A Name", "-/a/file.desktop-"));
    EXPECT_THAT(FillIn({"app", "%i"}, {"", "", ""}, {}), ElementsAre("app"));
}

TEST(FieldCodes, ThatNobodyKnowsStandForNothing) {
    EXPECT_THAT(FillIn({"app", "100%%", "a%mb", "end%"}, kValues, {}),
                ElementsAre("app", "100%", "ab", "end%"));
}

}  // namespace
}  // namespace orvane::plexa::control
