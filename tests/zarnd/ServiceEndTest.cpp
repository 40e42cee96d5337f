// How the service ends: everybody is told, and once.
#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "install/FileList.h"
#include "support/ServiceFixture.h"

namespace zarnd_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace fs = std::filesystem;

using ServiceEnd = ServiceParts;

TEST_F(ServiceEnd, RefusesWhatComesWhileItEndsAndAfterwards) {
    Start();
    Take(Install(kAnna, "A"));
    mDoor.AwaitComer();
    mInputs.Put(EndAsked{});
    Take(Install(kBert, "A"));
    Take(Ask(kBert, kListType));
    mThread.join();  // though the work still stands
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("progress 0", "error 361"));
    EXPECT_THAT(mPort.To(kBert), ElementsAre("error 361", "error 361"));
    const Asker late{"LATE-1", 3, 33};
    Take(Install(late, "A"));
    Take(Ask(late, kCancelType));
    EXPECT_THAT(mPort.To(late), ElementsAre("error 361", "error 361"));
}

TEST_F(ServiceEnd, KeepsAnObserverThatComesAtTheVeryEnd) {
    Start();
    End();
    Take({kAnna, kObserverType,
          "<NEMessage action=\"RegisterObserver\"><type>mail</type><sub-type>new</sub-type>"
          "<observer-namespace>x.y</observer-namespace></NEMessage>"});
    EXPECT_THAT(Read(mScratch.Path() / "observers.json"), HasSubstr("\"x.y\""));
}

TEST_F(ServiceEnd, StopsALongCheckThatKeptNothingElseWaiting) {
    constexpr std::uintmax_t kHours = std::uintmax_t{1} << 43U;  // to read it
    const ModuleStore store(mScratch.Path() / "modules");
    StagedModule staged = store.Stage("QRTX", "A");
    Write(staged.Files() / "large", "");
    fs::resize_file(staged.Files() / "large", kHours);
    FileListWriter list(staged.List());
    list.Add({"large", kHours, DigestOf("other"), false, {}});
    ModuleStore::Complete(staged, {"QRTX", "A", "1", DigestOf(""), {}, {}, list.Finish()});
    store.Switch(std::move(staged), "QRTX", "A");
    Start();
    Take(Ask(kAnna, kCheckType));
    const auto isOpen = [&] {
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (fs::read_symlink(entry.path(), gone).filename() == "large") return true;
        }
        return false;
    };
    const auto until = std::chrono::steady_clock::now() + support::kPatience;
    while (!isOpen()) {
        ASSERT_LT(std::chrono::steady_clock::now(), until);
        ASSERT_THAT(mPort.To(kAnna), IsEmpty()) << "it is not so long a check";
    }
    Take(Ask(kBert, kListType));  // doesn't wait behind it
    mPort.Await(kBert, "\"done\"");
    Take(Ask(kBert, kCheckType));  // does
    End();
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("error 361"));
    EXPECT_THAT(mPort.To(kBert), ElementsAre("done ", "error 361"));
}

TEST_F(ServiceEnd, OwesARequestThatWasRepeatedOneEnd) {
    Take(Install(kAnna, "A"));
    mInputs.Put(EndAsked{});
    Take(Install(kAnna, "A"));
    Start();
    mThread.join();
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("progress 0", "error 361"));
}

TEST_F(ServiceEnd, SaysSoOfWorkThatWasDoneInTime) {
    Take(Install(kAnna, "A"));
    mInputs.Put(EndAsked{});
    mInputs.Put(WorkDone{{"QRTX", "A"}, Completed{}});
    Start();
    mThread.join();
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("progress 0", "progress 100", "completed "));
}

TEST_F(ServiceEnd, TellsEverybodyAlsoWhenSomethingUnheardOfEndsIt) {
    Take(Install(kAnna, "A"));
    mPort.mFailsFor = kBert;
    Take(Install(kBert, "A"));
    EXPECT_THROW(TheService().Run(), std::runtime_error);
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("progress 0", "error 361"));
    Take(Install(kAnna, "B"));
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("progress 0", "error 361", "error 361"));
}

}  // namespace zarnd_test
