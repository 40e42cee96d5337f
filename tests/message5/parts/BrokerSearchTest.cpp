// Finding the broker's program, on a machine that the test makes up.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "BrokerSearch.h"

using orvane::plexa::message5::FindBroker;
using orvane::plexa::message5::IBrokerSearchSystem;

namespace {

const std::string kBelow = "/Orvane/Orvane Desktop Common/IPCBox/OrvaneIPCBroker.exe";

class Machine final : public IBrokerSearchSystem {
  public:
    std::optional<std::string> Environment(const char* inName) const override {
        const auto found = environment.find(inName);
        return found == environment.end() ? std::nullopt : std::optional(found->second);
    }
    std::string FallbackBase() const override { return "/usr/lib"; }
    bool Exists(const std::string& inPath) const override { return files.contains(inPath); }
    std::optional<std::string> ReadFile(const std::string& inPath) const override {
        const auto found = texts.find(inPath);
        return found == texts.end() ? std::nullopt : std::optional(found->second);
    }

    std::map<std::string, std::string> environment{{"HOME", "/home/u"}};
    std::set<std::string> files;
    std::map<std::string, std::string> texts;
};

}  // namespace

TEST(BrokerSearch, FindsNothingOnABareMachine) { EXPECT_EQ(FindBroker(Machine()), std::nullopt); }

TEST(BrokerSearch, AnExplicitPathDecidesAlone) {
    Machine machine;
    machine.files = {"/opt/broker", "/usr/lib" + kBelow};
    machine.environment["PLEXA_BROKER"] = "/opt/broker";
    EXPECT_EQ(FindBroker(machine), "/opt/broker");
    machine.environment["PLEXA_BROKER"] = "/opt/missing";
    EXPECT_EQ(FindBroker(machine), std::nullopt);
    machine.environment["PLEXA_BROKER"] = "";
    EXPECT_EQ(FindBroker(machine), "/usr/lib" + kBelow);
}

TEST(BrokerSearch, AsksTheTwoPlacesInOrder) {
    Machine machine;
    machine.environment["CommonProgramFiles(x86)"] = "/one";
    machine.environment["CommonProgramFiles"] = "/two";
    machine.files = {"/two" + kBelow};
    EXPECT_EQ(FindBroker(machine), "/two" + kBelow);
    machine.files.insert("/one" + kBelow);
    EXPECT_EQ(FindBroker(machine), "/one" + kBelow);
}

TEST(BrokerSearch, EachVariableHasItsOwnFallback) {
    Machine machine;
    machine.environment["CommonProgramFiles(x86)"] = "/one";
    machine.files = {"/usr/lib" + kBelow};
    EXPECT_EQ(FindBroker(machine), "/usr/lib" + kBelow);
    machine.environment["CommonProgramFiles"] = "/two";
    EXPECT_EQ(FindBroker(machine), std::nullopt);
}

TEST(BrokerSearch, ReadsTheKeyFileLast) {
    Machine machine;
    machine.texts["/home/u/.config/orvane/plexa/5.0"] = "# a note\nOrvaneIPCBroker=/x/OrvaneIPCBroker.exe\n";
    EXPECT_EQ(FindBroker(machine), std::nullopt);  // it has to exist
    machine.files = {"/x/OrvaneIPCBroker.exe"};
    EXPECT_EQ(FindBroker(machine), "/x/OrvaneIPCBroker.exe");
    machine.files.insert("/usr/lib" + kBelow);
    EXPECT_EQ(FindBroker(machine), "/usr/lib" + kBelow);
}

TEST(BrokerSearch, TheFirstKeyFileCounts) {
    Machine machine;
    machine.files = {"/user/OrvaneIPCBroker.exe", "/shared/OrvaneIPCBroker.exe"};
    machine.texts["/etc/xdg/orvane/plexa/5.0"] = "OrvaneIPCBroker=/shared/OrvaneIPCBroker.exe";
    EXPECT_EQ(FindBroker(machine), "/shared/OrvaneIPCBroker.exe");
    machine.environment["XDG_CONFIG_HOME"] = "/cfg";
    machine.texts["/cfg/orvane/plexa/5.0"] = "OrvaneIPCBroker=/user/OrvaneIPCBroker.exe";
    EXPECT_EQ(FindBroker(machine), "/user/OrvaneIPCBroker.exe");
    machine.texts["/cfg/orvane/plexa/5.0"] = "";
    EXPECT_EQ(FindBroker(machine), std::nullopt);
}

TEST(BrokerSearch, RelativeConfigurationDirectoriesAreIgnored) {
    Machine machine;
    machine.files = {"/x/OrvaneIPCBroker.exe"};
    machine.environment["XDG_CONFIG_HOME"] = "relative";
    machine.environment["XDG_CONFIG_DIRS"] = "also/relative::/last";
    machine.texts["relative/orvane/plexa/5.0"] = "OrvaneIPCBroker=/y/OrvaneIPCBroker.exe";
    machine.texts["/last/orvane/plexa/5.0"] = "OrvaneIPCBroker=/x/OrvaneIPCBroker.exe";
    EXPECT_EQ(FindBroker(machine), "/x/OrvaneIPCBroker.exe");
}

TEST(BrokerSearch, StoredPathsHaveTheBrokersNameAndALimitedLength) {
    Machine machine;
    const auto store = [&](const std::string& inPath) {
        machine.files = {inPath};
        machine.texts["/etc/xdg/orvane/plexa/5.0"] = "OrvaneIPCBroker=" + inPath + "\n";
        return FindBroker(machine);
    };
    const std::string name = "/OrvaneIPCBroker.exe";
    EXPECT_EQ(store("/x/other.exe"), std::nullopt);
    EXPECT_EQ(store("OrvaneIPCBroker.exe"), std::nullopt);
    EXPECT_EQ(store("x/OrvaneIPCBroker.exe"), std::nullopt);
    const std::string longest = "/" + std::string(129 - 1 - name.size(), 'd') + name;
    ASSERT_EQ(longest.size(), 129U);
    EXPECT_EQ(store(longest), longest);
    EXPECT_EQ(store("/d" + longest.substr(1)), std::nullopt);
    // Counted in UTF-16 units, not in bytes.
    std::string umlauts = "/";
    for (int i = 0; i != 100; ++i) umlauts += "\xC3\xBC";
    EXPECT_EQ(store(umlauts + name), umlauts + name);
}
