#include "xdg/ConfigurationFolders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvane::plexa::xdg {
namespace {

using testing::ElementsAre;

TEST(ConfigurationFolders, AreTheUsersAndThenTheSystems) {
    EXPECT_THAT(ConfigurationFolders("/cfg", "/home/me", "/a:/b"), ElementsAre("/cfg", "/a", "/b"));
}

TEST(ConfigurationFolders, OfAUserWhoNamesNoneStandInTheHome) {
    EXPECT_THAT(ConfigurationFolders("", "/home/me", "/a"), ElementsAre("/home/me/.config", "/a"));
}

TEST(ConfigurationFolders, OfAUserWithoutAHomeAreNone) {
    EXPECT_THAT(ConfigurationFolders("", "", "/a"), ElementsAre("/a"));
}

TEST(ConfigurationFolders, OfTheSystemHaveADefault) {
    EXPECT_THAT(ConfigurationFolders("", "", ""), ElementsAre("/etc/xdg"));
}

TEST(ConfigurationFolders, ThatAreRelativeAreIgnored) {
    EXPECT_THAT(ConfigurationFolders("cfg", "/home/me", ":a::/b:./c:"), ElementsAre("/b"));
    EXPECT_THAT(ConfigurationFolders("", "me", "/a"), ElementsAre("/a"));
}

TEST(ConfigurationFolders, OfTheUserIsOneWhateverItsName) {
    EXPECT_THAT(ConfigurationFolders("/a:/b", "", "/c"), ElementsAre("/a:/b", "/c"));
}

}  // namespace
}  // namespace orvane::plexa::xdg
