// How the service ends: everybody is told, and once.
#include <gmock/gmock.h>

#include <stdexcept>

#include "support/LargeModule.h"
#include "support/ServiceFixture.h"

namespace zarnd_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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
    InstallZeros(ModuleStore(mScratch.Path() / "modules"), "A", "1", "large", kHours);
    Start();
    Take(Ask(kAnna, kCheckType));
    AwaitOpen("large", 1);
    ASSERT_THAT(mPort.To(kAnna), IsEmpty()) << "it is not so long a check";
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
