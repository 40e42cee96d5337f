// What diagnostics call the termination: the program stands in the place of the core library's function.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "doubles/PlexaControlDouble.h"
#include "nuocore/Singleton.h"
#include "nuoplexasupport/Applications.h"

namespace {

std::vector<std::string>& Names() {
    static std::vector<std::string> sNames;
    return sNames;
}

}  // namespace

void nuocore::singleton::AddTerminationForSingleton(const char* inName,
                                                    std::function<void()> /*inTermination*/) {
    Names().emplace_back(inName);
}

TEST(Retain, DiagnosticsNameTheTermination) {
    (void)nuoplexasupport::IsAppInstalledEx("A-1");
    (void)nuoplexasupport::IsAppInstalledEx("A-1");
    EXPECT_THAT(Names(), testing::ElementsAre("PlexaControllerRetainRef"));
}
