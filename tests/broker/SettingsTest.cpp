// The broker's bounds as files and environment set them.
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <boost/json.hpp>

#include "BrokerProcess.h"
#include "Settings.h"
#include "WireClient.h"

using namespace orvane::plexa::broker;
using namespace std::chrono_literals;

namespace {

using Environment = std::map<std::string, std::string>;

EnvironmentLookup Lookup(const Environment& inEnvironment) {
    return [&inEnvironment](const std::string& inName) {
        const auto found = inEnvironment.find(inName);
        return found == inEnvironment.end() ? std::nullopt : std::optional<std::string>(found->second);
    };
}

Settings Read(const std::string& inFile, const Environment& inEnvironment = {}) {
    return ReadSettings(ConfigurationFile{"broker.conf", inFile}, Lookup(inEnvironment));
}

TEST(Settings, AreTheDefaultsWhenNobodySaysOtherwise) {
    const Settings settings = ReadSettings(std::nullopt, Lookup({}));
    const wire::Limits defaults;
    for (const BoundSetting& setting : BoundSettings()) {
        EXPECT_EQ(ValueOf(setting, settings.limits), ValueOf(setting, defaults)) << setting.name;
    }
    EXPECT_TRUE(settings.complaints.empty());
}

TEST(Settings, EachSetsABoundOfItsOwnFromTheFileAndFromTheEnvironment) {
    std::set<std::string> names;
    for (const BoundSetting& setting : BoundSettings()) {
        names.insert(EnvironmentName(setting));
        const std::string unit = setting.range.kind == wire::SettingRange::Kind::kTime ? "ms" : "";
        const std::string least = std::to_string(setting.range.least) + unit;
        const std::string most = std::to_string(setting.range.most) + unit;
        for (const Settings& settings : {Read(std::string(setting.name) + " = " + least),
                                         Read("", {{EnvironmentName(setting), least}})}) {
            EXPECT_TRUE(settings.complaints.empty());
            for (const BoundSetting& other : BoundSettings()) {
                EXPECT_EQ(ValueOf(other, settings.limits),
                          other.name == setting.name ? setting.range.least : ValueOf(other, wire::Limits{}))
                    << setting.name << " and " << other.name;
            }
        }
        EXPECT_EQ(
            ValueOf(setting,
                    Read(std::string(setting.name) + "=" + least, {{EnvironmentName(setting), most}}).limits),
            setting.range.most)
            << "the environment counts more";
    }
    EXPECT_EQ(names.size(), BoundSettings().size());
    EXPECT_TRUE(names.contains("PLEXA_LIMIT_BROKER_MEMORY"));
}

TEST(Settings, OfAFileMayHaveBlanksAndRemarksAroundThem) {
    const Settings settings = Read("# bounds\n\n  members =  7 \r\n\tbroker memory=16M\nhalf frame = 2s");
    EXPECT_TRUE(settings.complaints.empty());
    EXPECT_EQ(settings.limits.members, 7U);
    EXPECT_EQ(settings.limits.brokerMemory, std::size_t{16} << 20U);
    EXPECT_EQ(settings.limits.halfFrame, 2s);
}

TEST(Settings, ThatCannotBeUsedAreNamedAndLeftOut) {
    const Settings settings =
        Read("members = many\nmember = 5\nmembers\naway = 1h\n", {{"PLEXA_LIMIT_HANDSHAKE", "5"}});
    const std::vector<std::string> expected = {
        "broker.conf:1: \"many\" is not a number from 1 to 8192; it is left out",
        "broker.conf:2: there is no bound \"member\"; it is left out",
        "broker.conf:3: a line has the form \"name = value\"; it is left out",
        "broker.conf:4: \"1h\" is not a time from 100ms to 3600s; it is left out",
        "PLEXA_LIMIT_HANDSHAKE: \"5\" is not a time from 100ms to 3600s; it is left out",
    };
    EXPECT_EQ(settings.complaints, expected);
    EXPECT_EQ(settings.limits.members, wire::Limits{}.members);
    EXPECT_EQ(settings.limits.away, wire::Limits{}.away);
}

TEST(Settings, OfAFileFullOfNonsenseMakeABoundedNumberOfComplaints) {
    std::string text;
    for (int i = 0; i != 5000; ++i) text += "nonsense\n";
    EXPECT_LE(Read(text).complaints.size(), 20U);
}

TEST(SettingsFile, IsTheFirstInTheConfigurationFolders) {
    const TemporaryDirectory directory;
    const Environment environment = {{"XDG_CONFIG_HOME", directory / "own"},
                                     {"XDG_CONFIG_DIRS", (directory / "one") + ":" + (directory / "two")}};
    EXPECT_FALSE(ReadConfigurationFile("", Lookup(environment)));
    const auto write = [&](const std::string& inFolder, const std::string& inText) {
        std::filesystem::create_directories(directory / inFolder + "/orvane/plexa");
        std::ofstream(directory / inFolder + "/orvane/plexa/broker.conf") << inText;
    };
    write("two", "two");
    EXPECT_EQ(ReadConfigurationFile("", Lookup(environment))->text, "two");
    write("own", "own");
    EXPECT_EQ(ReadConfigurationFile("", Lookup(environment))->text, "own");
    EXPECT_EQ(ReadConfigurationFile(directory / "two/orvane/plexa/broker.conf", Lookup(environment))->text,
              "two");
}

TEST(SettingsFile, ThatIsNamedAndNotThereOrNoFileOrTooLongIsAnError) {
    const TemporaryDirectory directory;
    EXPECT_THROW(ReadConfigurationFile(directory / "none", Lookup({})), std::runtime_error);
    ASSERT_EQ(::mkfifo((directory / "pipe").c_str(), 0600), 0);
    EXPECT_THROW(ReadConfigurationFile(directory / "pipe", Lookup({})), std::runtime_error);
    std::ofstream(directory / "long") << std::string(70000, '#');
    EXPECT_THROW(ReadConfigurationFile(directory / "long", Lookup({})), std::runtime_error);
    const RunResult result =
        RunBrokerProgram({"--runtime-dir", directory / "r", "--config", directory / "none"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.errors.find("cannot read the configuration file"), std::string::npos) << result.errors;
}

TEST(SettingsFile, BoundsTheBrokerWhichTellsThemInItsStatus) {
    const TemporaryDirectory directory;
    std::ofstream(directory / "conf") << "members = 2\naway = 7s\nnonsense\n";
    BrokerProcess::Setup setup;
    setup.arguments = {"--config", directory / "conf"};
    setup.prepare = [] { ::setenv("PLEXA_LIMIT_MEMBERS", "1", 1); };
    const BrokerProcess broker(directory.Path(), setup);
    EXPECT_TRUE(broker.Logs("conf:3: a line has the form"));
    WireClient first(broker.SocketPath());
    first.Join("first-1");
    const boost::json::value status = boost::json::parse(first.Status());
    EXPECT_EQ(status.at_pointer("/bounds/members/limit"), 1);
    EXPECT_EQ(status.at_pointer("/bounds/members/in_use"), 1);
    EXPECT_EQ(status.at_pointer("/bounds/away/limit_ms"), 7000);
    WireClient second(broker.SocketPath());
    EXPECT_THROW(second.Join("second-1"), std::runtime_error);
    EXPECT_TRUE(broker.Logs("there are too many members"));
}

}  // namespace
