#include <gmock/gmock.h>

#include "processes/RunningPrograms.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

TEST(RunningPrograms, AreThoseOfThisUserByTheirExecutable) {
    const ScratchFolder scratch;
    fs::copy_file("/bin/sleep", scratch.Path() / "zarnd-test-editor");
    EXPECT_THAT(RunningPrograms({"zarnd-test-editor"}), IsEmpty());
    support::ChildProcess editor({{(scratch.Path() / "zarnd-test-editor").string(), "100"}});
    EXPECT_THAT(RunningPrograms({"none", "zarnd-test-editor", "nothing"}), ElementsAre("zarnd-test-editor"));
    fs::remove(scratch.Path() / "zarnd-test-editor");
    EXPECT_THAT(RunningPrograms({"zarnd-test-editor"}), ElementsAre("zarnd-test-editor"));
}

}  // namespace zarnd_test
