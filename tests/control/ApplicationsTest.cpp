// The six functions: what they ask of the control library, in which order, and what they answer.
#include "nuoplexasupport/Applications.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "doubles/PlexaControlDouble.h"

namespace nuoplexasupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The retained reference is there before the calls that are looked at.
class Applications : public testing::Test {
  protected:
    Applications() { (void)IsAppInstalledEx("first"); }

    std::vector<std::string> Calls() const {
        auto calls = mControl.Calls();
        calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(kCallsBefore));
        return calls;
    }

    doubles::ControlDouble& mControl = doubles::ControlDouble::Get();

  private:
    static constexpr std::size_t kCallsBefore = 4;
};

TEST_F(Applications, GetInstalledAppPathConvertsThePathAndGivesItBack) {
    mControl.mPath = "/opt/Größe/\xF0\x9F\x9A\x80";
    EXPECT_EQ(GetInstalledAppPath("A-1"), u"/opt/Größe/\U0001F680");
    EXPECT_THAT(Calls(), ElementsAre("GetInstance", "GetAppPath A-1", "ReleaseAppPath", "ReleaseInstance"));
}

TEST_F(Applications, GetInstalledAppPathIsEmptyWhenThereIsNone) {
    mControl.mAnswer = false;
    EXPECT_EQ(GetInstalledAppPath("A-1"), u"");
    EXPECT_THAT(Calls(), ElementsAre("GetInstance", "GetAppPath A-1", "ReleaseInstance"));
}

TEST_F(Applications, GetInstalledAppPathGivesNothingBackWhenItGotNothing) {
    mControl.mPath = nullptr;
    EXPECT_EQ(GetInstalledAppPath("A-1"), u"");
    EXPECT_THAT(Calls(), ElementsAre("GetInstance", "GetAppPath A-1", "ReleaseInstance"));
}

TEST_F(Applications, GetProcessIdExPassesTheProcessOn) {
    EXPECT_EQ(GetProcessIdEx("A-1"), 4711);
    EXPECT_THAT(Calls(), ElementsAre("GetInstance", "GetProcessId A-1", "ReleaseInstance"));
}

TEST_F(Applications, GetTargetSpecifiersTakesTheListInItsOrderAndGivesItBack) {
    mControl.mSpecifiers = {"B-2", "A-1", ""};
    TargetSpecifiers specifiers{"old"};
    GetTargetSpecifiers(specifiers);
    EXPECT_THAT(specifiers, ElementsAre("B-2", "A-1", ""));
    EXPECT_THAT(Calls(), ElementsAre("GetInstance", "GetTargetSpecifierList ", "ReleaseTargetSpecifierList 3",
                                     "ReleaseInstance"));
}

TEST_F(Applications, GetTargetSpecifiersGivesAnEmptyListBackToo) {
    TargetSpecifiers specifiers;
    GetTargetSpecifiers(specifiers);
    EXPECT_THAT(Calls(), ElementsAre("GetInstance", "GetTargetSpecifierList ", "ReleaseTargetSpecifierList 0",
                                     "ReleaseInstance"));
}

TEST_F(Applications, GetTargetSpecifiersTakesAndGivesBackNothingWhenThereIsNoList) {
    mControl.mSpecifiers = {"A-1"};
    mControl.mAnswer = false;
    TargetSpecifiers specifiers{"old"};
    GetTargetSpecifiers(specifiers);
    EXPECT_THAT(specifiers, IsEmpty());
    EXPECT_THAT(Calls(), ElementsAre("GetInstance", "GetTargetSpecifierList ", "ReleaseInstance"));
}

TEST_F(Applications, GetTargetSpecifiersEmptiesTheVectorFirstOfAll) {
    TargetSpecifiers specifiers{"old"};
    std::vector<std::size_t> sizes;
    mControl.mOnCall = [&](const std::string&) { sizes.push_back(specifiers.size()); };
    GetTargetSpecifiers(specifiers);
    EXPECT_THAT(sizes, testing::AllOf(testing::Not(IsEmpty()), testing::Each(0U)));
}

TEST_F(Applications, IsAppInstalledPassesTheAnswerOn) {
    EXPECT_TRUE(IsAppInstalled("A-1"));
    EXPECT_TRUE(IsAppInstalledEx("B-2"));
    mControl.mAnswer = false;
    EXPECT_FALSE(IsAppInstalled("A-1"));
    EXPECT_FALSE(IsAppInstalledEx("B-2"));
    EXPECT_THAT(Calls(), ElementsAre("GetInstance", "CheckAppInstalled A-1", "ReleaseInstance", "GetInstance",
                                     "CheckAppInstalled B-2", "ReleaseInstance", "GetInstance",
                                     "CheckAppInstalled A-1", "ReleaseInstance", "GetInstance",
                                     "CheckAppInstalled B-2", "ReleaseInstance"));
}

TEST_F(Applications, LaunchAppExPassesFlagAndTextOnAsTheyAre) {
    EXPECT_TRUE(LaunchAppEx("A-1", true, "--file 'a b'"));
    EXPECT_TRUE(LaunchAppEx("A-1", false, std::string("up to\0its zero", 14)));
    mControl.mAnswer = false;
    EXPECT_FALSE(LaunchAppEx("A-1", false, ""));
    EXPECT_THAT(Calls(), ElementsAre("GetInstance", "LaunchApp A-1 true --file 'a b'", "ReleaseInstance",
                                     "GetInstance", "LaunchApp A-1 false up to", "ReleaseInstance",
                                     "GetInstance", "LaunchApp A-1 false ", "ReleaseInstance"));
}

// Calls everything, and expects what is answered when there is no controller.
void ExpectDefaults() {
    TargetSpecifiers specifiers{"old"};
    GetTargetSpecifiers(specifiers);
    EXPECT_THAT(specifiers, IsEmpty());
    EXPECT_EQ(GetInstalledAppPath("A-1"), u"");
    EXPECT_EQ(GetProcessIdEx("A-1"), 0);
    EXPECT_FALSE(IsAppInstalled("A-1"));
    EXPECT_FALSE(IsAppInstalledEx("A-1"));
    EXPECT_FALSE(LaunchAppEx("A-1", true, ""));
}

TEST_F(Applications, AnswerDefaultsAndReleaseNothingWhenTheControllerIsRefused) {
    mControl.mSpecifiers = {"A-1"};
    // Only the code counts.
    mControl.mGetInstanceResult = orvane::plexa::api5::kPlexaControlErrorCode_InvalidParameter;
    ExpectDefaults();
    EXPECT_THAT(Calls(), testing::AllOf(testing::SizeIs(6), testing::Each("GetInstance")));
}

TEST_F(Applications, AnswerDefaultsAndReleaseOnceWhenSuccessGivesNoController) {
    mControl.mSpecifiers = {"A-1"};
    mControl.mGivesController = false;
    ExpectDefaults();
    std::vector<std::string> expected;
    for (int i = 0; i != 6; ++i) expected.insert(expected.end(), {"GetInstance", "ReleaseInstance"});
    EXPECT_EQ(Calls(), expected);
}

}  // namespace
}  // namespace nuoplexasupport
