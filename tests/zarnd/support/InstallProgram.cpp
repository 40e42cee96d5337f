// Installs one module, and kills itself at a step: ROOT ADDRESS SHA256 SIZE STEP.
#include <csignal>
#include <cstdlib>
#include <string>

#include "install/Install.h"

using namespace orvane::plexa::zarnd;

int main(int inCount, char** inArguments) {
    if (inCount != 6) return 2;
    ModuleSpec module;
    module.mId = "KQ7L";
    module.mVersion = "2.0";
    module.mArchive = inArguments[2];
    module.mSha256 = inArguments[3];
    module.mSize = std::strtoull(inArguments[4], nullptr, 10);
    module.mUnpackedSize = std::uint64_t{64} << 20U;
    const std::string last = inArguments[5];
    InstallWatch watch;
    watch.mOnStep = [&](InstallStep inStep) {
        static const char* const names[] = {"fetching", "completing", "switching", "installed"};
        if (last == names[static_cast<int>(inStep)]) std::raise(SIGKILL);
    };
    watch.mOnShare = [&](double inShare) {
        if (last == "middle" && inShare > 0.3) std::raise(SIGKILL);
    };
    Install("QRTX", module, ModuleStore(inArguments[1]), {},
            [](const std::vector<std::string>&) { return std::vector<std::string>(); }, watch, {});
    return 0;
}
