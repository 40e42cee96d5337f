// What entry files say.
#include "DesktopEntry.h"

#include <gmock/gmock.h>

#include <string>

namespace orvane::plexa::control {
namespace {

using testing::ElementsAre;

const std::string kGood = "[Desktop Entry]\nType=Application\nName=N\nX-Plexa-AppId=A-1\nExec=app -x\n";

std::string Without(const std::string& inLine) {
    std::string text = kGood;
    text.erase(text.find(inLine), inLine.size());
    return text;
}

bool IsOther(const std::string& inText) { return std::holds_alternative<OtherEntry>(ParseEntry(inText)); }

std::string ReasonOf(const std::string& inText) {
    const ParsedEntry entry = ParseEntry(inText);
    const auto* const broken = std::get_if<BrokenEntry>(&entry);
    return broken != nullptr ? broken->mReason : "it isn't broken";
}

TEST(DesktopEntry, IsReadWhole) {
    const auto entry = std::get<DesktopEntry>(ParseEntry(
        kGood + "TryExec=helper\nIcon=picture\nPath=/somewhere\nTerminal=true\n[Other]\nExec=no\n"));
    EXPECT_EQ(entry.mAppId, "A-1");
    EXPECT_THAT(entry.mCommand, ElementsAre("app", "-x"));
    EXPECT_EQ(entry.mTry, "helper");
    EXPECT_EQ(entry.mName, "N");
    EXPECT_EQ(entry.mIcon, "picture");
    EXPECT_EQ(entry.mFolder, "/somewhere");
    EXPECT_TRUE(entry.mInTerminal);
}

TEST(DesktopEntry, NeedsLittle) {
    const auto entry = std::get<DesktopEntry>(ParseEntry(Without("Name=N\n")));
    EXPECT_EQ(entry.mName, "");
    EXPECT_EQ(entry.mTry, "");
    EXPECT_FALSE(entry.mInTerminal);
}

TEST(DesktopEntry, WithoutAnAppIdIsNoneOfOurs) {
    EXPECT_TRUE(IsOther(Without("X-Plexa-AppId=A-1\n")));
    EXPECT_TRUE(IsOther(""));
    EXPECT_TRUE(IsOther("no entry at all"));
    EXPECT_TRUE(IsOther(std::string("\0\xFF\xFE", 3)));
    EXPECT_TRUE(IsOther("[Other Group]\n"));
    EXPECT_TRUE(IsOther("[Other Group]\nX-Plexa-AppId=A-1\n" + Without("X-Plexa-AppId=A-1\n")));
}

TEST(DesktopEntry, ThatIsHiddenIsNoneOfOurs) {
    EXPECT_TRUE(IsOther(kGood + "Hidden=true\n"));
    EXPECT_FALSE(IsOther(kGood + "Hidden=false\n"));
    // In no menu, but installed.
    EXPECT_FALSE(IsOther(kGood + "NoDisplay=true\n"));
}

TEST(DesktopEntry, ThatIsBrokenSaysWhy) {
    EXPECT_EQ(ReasonOf("X-Plexa-AppId=A-1\n" + kGood), "it can't be read as a desktop entry");
    EXPECT_EQ(ReasonOf(Without("Type=Application\n")), "its type isn't \"Application\"");
    EXPECT_EQ(ReasonOf(Without("Exec=app -x\n")), "it has no command that can be read");
    EXPECT_EQ(ReasonOf(Without("Exec=app -x\n") + "Exec=app 'x\n"), "it has no command that can be read");
    for (const char* const command : {"%F", "app%f", "'100%%' %F", "env A=%f %i"})
        EXPECT_EQ(ReasonOf(Without("Exec=app -x\n") + "Exec=" + command + "\n"),
                  "its command names a program with a \"%\"");
    for (const char* const command : {"./run", "bin/app %F", "env A=b ../app"})
        EXPECT_EQ(ReasonOf(Without("Exec=app -x\n") + "Exec=" + command + "\n"),
                  "it names a program by a path that isn't absolute");
    EXPECT_EQ(ReasonOf(kGood + "TryExec=bin/app\n"), "it names a program by a path that isn't absolute");
    EXPECT_EQ(ReasonOf(Without("X-Plexa-AppId=A-1\n") + "X-Plexa-AppId=\n"),
              "its app id isn't 1 to 255 bytes of UTF-8 without control characters");
    EXPECT_EQ(ReasonOf(Without("X-Plexa-AppId=A-1\n") + "X-Plexa-AppId=a\\tb\n"),
              "its app id isn't 1 to 255 bytes of UTF-8 without control characters");
}

TEST(AppId, MayBeOddButNotAnything) {
    EXPECT_TRUE(IsAppId("A-1"));
    EXPECT_TRUE(IsAppId(" a b/../'\"$%;\\ "));
    EXPECT_TRUE(IsAppId("Größe"));
    EXPECT_TRUE(IsAppId(std::string(255, 'x')));
    EXPECT_FALSE(IsAppId(std::string(256, 'x')));
    EXPECT_FALSE(IsAppId(""));
    EXPECT_FALSE(IsAppId("a\nb"));
    EXPECT_FALSE(IsAppId("a\x7F"));
    EXPECT_FALSE(IsAppId("\xFF"));
    for (const char* const control : {"\xC2\x80", "a\xC2\x85", "\xC2\x9F"}) EXPECT_FALSE(IsAppId(control));
    EXPECT_TRUE(IsAppId("\xC2\xA0"));
}

}  // namespace
}  // namespace orvane::plexa::control
