#include "program/Options.h"

#include <gmock/gmock.h>

#include <map>
#include <sstream>

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using testing::ElementsAre;

namespace {

ParsedOptions Parse(const std::map<std::string, std::string>& inEnvironment,
                    std::vector<const char*> inArguments = {}) {
    inArguments.insert(inArguments.begin(), "zarnd");
    std::ostringstream output;
    return ParseOptions(
        inArguments,
        [&](const char* inName) {
            const auto found = inEnvironment.find(inName);
            return found == inEnvironment.end() ? std::string() : found->second;
        },
        output, output);
}

}  // namespace

TEST(Options, FindCataloguesInTheConfigurationFolders) {
    EXPECT_THAT(Parse({{"HOME", "/home/ada"}}).mOptions->mCatalogues,
                ElementsAre("/home/ada/.config/orvane/zarnd/catalogues", "/etc/xdg/orvane/zarnd/catalogues"));
    std::map<std::string, std::string> environment = {
        {"HOME", "/home/ada"}, {"XDG_CONFIG_HOME", "/config"}, {"XDG_CONFIG_DIRS", "/one:relative:/two"}};
    EXPECT_THAT(Parse(environment).mOptions->mCatalogues,
                ElementsAre("/config/orvane/zarnd/catalogues", "/one/orvane/zarnd/catalogues",
                            "/two/orvane/zarnd/catalogues"));
    environment["ZARND_CATALOGUE_DIR"] = "/variable";
    EXPECT_THAT(Parse(environment).mOptions->mCatalogues, ElementsAre("/variable"));
    EXPECT_THAT(Parse(environment, {"--catalogue-dir", "/option"}).mOptions->mCatalogues,
                ElementsAre("/option"));
}

TEST(Options, FindTheDataFolder) {
    std::map<std::string, std::string> environment = {{"HOME", "/home/ada"}};
    EXPECT_EQ(Parse(environment).mOptions->mData, "/home/ada/.local/share/orvane/zarnd");
    environment["XDG_DATA_HOME"] = "relative";
    EXPECT_EQ(Parse(environment).mOptions->mData, "/home/ada/.local/share/orvane/zarnd");
    environment["XDG_DATA_HOME"] = "/data";
    EXPECT_EQ(Parse(environment).mOptions->mData, "/data/orvane/zarnd");
    EXPECT_EQ(Parse(environment, {"--data-dir", "/option"}).mOptions->mData, "/option");
    EXPECT_EQ(Parse({}).mExitCode, kExitUsage);
}

TEST(Options, FindTheAuthoritiesToTrust) {
    std::map<std::string, std::string> environment = {{"HOME", "/home/ada"}};
    EXPECT_EQ(Parse(environment).mOptions->mAuthorities, "");
    environment["ZARND_CA_FILE"] = "/variable.pem";
    EXPECT_EQ(Parse(environment).mOptions->mAuthorities, "/variable.pem");
    EXPECT_EQ(Parse(environment, {"--ca-file", "/option.pem"}).mOptions->mAuthorities, "/option.pem");
    EXPECT_EQ(Parse(environment, {"--ca-file", ""}).mExitCode, kExitUsage);
}

TEST(Options, StayForAWhileOnDemandAndForEverOtherwise) {
    const std::map<std::string, std::string> environment = {{"HOME", "/home/ada"}};
    EXPECT_EQ(Parse(environment).mOptions->mIdleExit.count(), 0);
    EXPECT_EQ(Parse(environment, {"--on-demand"}).mOptions->mIdleExit.count(), 300);
    EXPECT_EQ(Parse(environment, {"--on-demand", "--idle-exit", "7"}).mOptions->mIdleExit.count(), 7);
}

}  // namespace zarnd_test
