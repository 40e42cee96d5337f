#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "nuocore/StringConversion.h"
#include "transport/BrokerLocation.h"

namespace nuoplexasupport {
namespace {

namespace api = orvane::plexa::api5;
using testing::ElementsAre;
using testing::IsEmpty;

// A system with backslashes and a registry; what it is asked is recorded.
class FakeSystem final : public IBrokerSearchSystem {
  public:
    UTF16String FallbackBase() const override { return u"C:\\Program Files\\Common Files"; }
    UTF16String BrokerSuffix() const override {
        return u"\\Orvane\\Orvane Desktop Common\\IPCBox\\OrvaneIPCBroker.exe";
    }
    std::optional<UTF16String> ReadEnvironment(const char* inName) const override {
        mAsked.push_back(inName);
        if (mThrowsOn == inName) {
            throw std::runtime_error("environment");
        }
        const auto found = mEnvironment.find(inName);
        return found == mEnvironment.end() ? std::nullopt : std::optional<UTF16String>(found->second);
    }
    bool PathExists(const UTF16String& inPath) const override {
        mAsked.push_back(std::string(nuocore::string::UTF16to8(inPath)));
        return mFiles.count(inPath) != 0;
    }
    bool OpenKey() override {
        mAsked.emplace_back("open");
        return mHasKey;
    }
    bool QueryBrokerPath(char16_t* outBuffer, std::size_t inBufferBytes) override {
        mAsked.push_back("query " + std::to_string(inBufferBytes));
        mBufferWasZero = std::all_of(outBuffer, outBuffer + 260, [](char16_t inUnit) { return inUnit == 0; });
        if (!mStored || (mStored->size() + 1) * 2 > inBufferBytes) {
            return false;
        }
        std::copy(mStored->begin(), mStored->end(), outBuffer);
        return true;
    }
    void CloseKey() override { mAsked.emplace_back("close"); }

    std::map<std::string, UTF16String> mEnvironment;
    std::set<UTF16String> mFiles;
    std::string mThrowsOn;
    bool mHasKey = false;
    bool mBufferWasZero = false;
    std::optional<UTF16String> mStored;
    mutable std::vector<std::string> mAsked;
};

const std::string kSuffix = "\\Orvane\\Orvane Desktop Common\\IPCBox\\OrvaneIPCBroker.exe";
const std::string kFallback = "C:\\Program Files\\Common Files" + kSuffix;

UTF16String Wide(const std::string& inText) { return nuocore::string::StdToUTF16String(inText); }

TEST(BrokerLocation, AFileAtTheFirstLocationEndsTheSearch) {
    FakeSystem system;
    system.mEnvironment = {{"CommonProgramFiles(x86)", u"X"}, {"CommonProgramFiles", u"Y"}};
    system.mFiles = {Wide("X" + kSuffix), Wide("Y" + kSuffix)};
    EXPECT_EQ(LocateBroker(system), 0);
    EXPECT_THAT(system.mAsked, ElementsAre("CommonProgramFiles(x86)", "X" + kSuffix));
}

TEST(BrokerLocation, TheSecondLocationComesBeforeTheRegistry) {
    FakeSystem system;
    system.mEnvironment = {{"CommonProgramFiles(x86)", u"X"}, {"CommonProgramFiles", u"Y"}};
    system.mFiles = {Wide("Y" + kSuffix)};
    EXPECT_EQ(LocateBroker(system), 0);
    EXPECT_THAT(system.mAsked,
                ElementsAre("CommonProgramFiles(x86)", "X" + kSuffix, "CommonProgramFiles", "Y" + kSuffix));
}

TEST(BrokerLocation, WithoutVariablesTheFallbackIsAskedTwice) {
    FakeSystem system;
    EXPECT_EQ(LocateBroker(system), 6);
    EXPECT_THAT(system.mAsked,
                ElementsAre("CommonProgramFiles(x86)", kFallback, "CommonProgramFiles", kFallback, "open"));
}

TEST(BrokerLocation, TheBaseIsTakenAsItIs) {
    FakeSystem system;
    system.mEnvironment = {{"CommonProgramFiles(x86)", u"X\\"}, {"CommonProgramFiles", u""}};
    EXPECT_EQ(MakeBrokerPathCandidate(system, true), Wide("X\\" + kSuffix));
    EXPECT_EQ(MakeBrokerPathCandidate(system, false), Wide(kSuffix));
}

TEST(BrokerLocation, AnExceptionWhileMakingCandidatesGivesSeven) {
    for (const char* variable : {"CommonProgramFiles(x86)", "CommonProgramFiles"}) {
        FakeSystem system;
        system.mThrowsOn = variable;
        EXPECT_EQ(LocateBroker(system), 7);
        EXPECT_EQ(std::count(system.mAsked.begin(), system.mAsked.end(), "open"), 0);
    }
}

class StoredPath : public testing::Test {
  protected:
    PlexaMessageErrorCode Locate(const std::string& inPath, bool inExists = true) {
        mSystem.mHasKey = true;
        mSystem.mStored = Wide(inPath);
        if (inExists) {
            mSystem.mFiles = {Wide(inPath)};
        }
        mSystem.mAsked.clear();
        return LocateBroker(mSystem);
    }
    FakeSystem mSystem;
};

TEST_F(StoredPath, IsAskedWithABytecountOfTwoHundredAndSixtyAndTheKeyIsClosed) {
    EXPECT_EQ(Locate("D:\\x\\OrvaneIPCBroker.exe"), 0);
    const std::vector<std::string> tail(mSystem.mAsked.begin() + 4, mSystem.mAsked.end());
    EXPECT_THAT(tail, ElementsAre("open", "query 260", "close", "D:\\x\\OrvaneIPCBroker.exe"));
    EXPECT_TRUE(mSystem.mBufferWasZero);
}

TEST_F(StoredPath, CountsWhenItsLastComponentIsTheBroker) {
    EXPECT_EQ(Locate("D:\\x\\OrvaneIPCBroker.exe"), 0);
    EXPECT_EQ(Locate("/opt/x/OrvaneIPCBroker.exe"), 0);
    EXPECT_EQ(Locate("D:\\x/OrvaneIPCBroker.exe"), 0);
    EXPECT_EQ(Locate("D:/x\\OrvaneIPCBroker.exe"), 0);
}

TEST_F(StoredPath, IsRefusedWhenItNamesSomethingElse) {
    for (const char* path :
         {"D:\\x\\orvaneipcbroker.exe", "D:\\x\\Other.exe", "D:\\x\\", "D:\\x", "OrvaneIPCBroker.exe", "",
          "D:\\x\\OrvaneIPCBroker.exe ", "D:\\x\\XOrvaneIPCBroker.exe", "D:\\OrvaneIPCBroker.exe\\x",
          "D:\\OrvaneIPCBroker.exe/x"}) {
        EXPECT_EQ(Locate(path), 6) << path;
    }
}

TEST_F(StoredPath, IsRefusedWhenNothingIsThere) { EXPECT_EQ(Locate("D:\\x\\OrvaneIPCBroker.exe", false), 6); }

TEST_F(StoredPath, OfAHundredAndTwentyNineCharactersIsTheLongest) {
    const std::string name = "\\OrvaneIPCBroker.exe";
    const auto path = [&](std::size_t inLength) { return std::string(inLength - name.size(), 'x') + name; };
    EXPECT_EQ(Locate(path(129)), 0);
    EXPECT_EQ(Locate(path(130)), 6);
    EXPECT_EQ(Locate(path(200)), 6);
}

TEST_F(StoredPath, EndsAtItsFirstNul) {
    mSystem.mFiles = {Wide("D:\\x\\OrvaneIPCBroker.exe")};
    EXPECT_EQ(Locate(std::string("D:\\x\\OrvaneIPCBroker.exe\0rest", 29), false), 0);
}

TEST_F(StoredPath, ThatIsMissingGivesSixAndTheKeyIsClosed) {
    mSystem.mHasKey = true;
    EXPECT_EQ(LocateBroker(mSystem), 6);
    EXPECT_EQ(mSystem.mAsked.back(), "close");
}

}  // namespace
}  // namespace nuoplexasupport
