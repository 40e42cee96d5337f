// Checks of modules that are replaced or removed meanwhile.
#include "service/Inventory.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <functional>
#include <future>

#include "support/LargeModule.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using testing::IsEmpty;

namespace {

class Checking : public testing::Test {
  protected:
    /// What a check finds during which something is done.
    std::vector<CheckedModule> CheckWhile(const std::function<void()>& inDo) {
        InstallZeros(mStore, "A", "1", "large", kHours);
        const int large = ::open((mStore.Files("QRTX", "A") / "large").c_str(), O_WRONLY | O_CLOEXEC);
        auto check = std::async(std::launch::async, [this] { return mInventory.Check("QRTX", "", {}); });
        AwaitOpen("large", 2);
        inDo();
        EXPECT_EQ(::ftruncate(large, 0), 0);  // so that it is read to its end soon
        ::close(large);
        return check.get();
    }

    ScratchFolder mScratch;
    ModuleStore mStore{mScratch.Path()};
    CatalogueFolders mCatalogues{{}};
    Inventory mInventory{mCatalogues, mStore, {}};
};

}  // namespace

TEST_F(Checking, FindsWhatHasReplacedAModuleMeanwhile) {
    const auto checked = CheckWhile([this] { InstallZeros(mStore, "A", "2", "small", 0); });
    ASSERT_EQ(checked.size(), 1U);
    EXPECT_EQ(checked.front().mVersion, "2");
    EXPECT_THAT(checked.front().mDamages, IsEmpty());
}

TEST_F(Checking, FindsNothingOfModulesThatWereRemovedMeanwhile) {
    InstallZeros(mStore, "B", "1", "small", 0);  // its turn comes after that
    const auto checked = CheckWhile([this] {
        for (const char* const module : {"A", "B"}) mStore.Remove("QRTX", module);
    });
    EXPECT_TRUE(checked.empty());
}

}  // namespace zarnd_test
