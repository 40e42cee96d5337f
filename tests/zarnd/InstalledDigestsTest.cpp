#include "deployment/InstalledDigests.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <thread>

#include "support/Archives.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;

TEST(InstalledDigests, AreNotForgottenForAManifestThatCouldNotBeReadOnce) {
    const ScratchFolder scratch;
    const ModuleStore store(scratch.Path());
    StagedModule staged = store.Stage("QRTX", "A");
    ModuleStore::Complete(staged, {"QRTX", "A", "1", DigestOf("archive"), {}, {}, {}});
    store.Switch(std::move(staged), "QRTX", "A");
    const auto isSettled = [&] {
        struct stat status {};
        return ::stat(store.ManifestPath("QRTX", "A").c_str(), &status) == 0 &&
               FileIdentity(status).IsSettled();
    };
    while (!isSettled()) std::this_thread::sleep_for(std::chrono::milliseconds(50));

    InstalledDigests digests(store);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    ::setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(digests.Of("QRTX", "A"), std::nullopt);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(digests.Of("QRTX", "A"), DigestOf("archive"));
    ::setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(digests.Of("QRTX", "A"), DigestOf("archive"));  // from memory
    ::setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace zarnd_test
