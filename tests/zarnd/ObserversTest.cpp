// Who observes what: by hand-made end points and processes.
#include "notifications/Observers.h"

#include <gmock/gmock.h>

#include "notifications/ObserverFile.h"
#include "support/ScratchFolder.h"

#include <unistd.h>

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Outcome = Observers::Outcome;

namespace {

const Asker kPhoto{"PHOTO-1.0", 1, 100};
const Asker kWords{"WORDS-1.0", 1, 200};

class Observing : public testing::Test {
  protected:
    std::map<std::int32_t, std::uint64_t> mRunning{{100, 11}, {200, 22}};
    Observers mObservers{[this](std::int32_t inId) { return mRunning.contains(inId) ? mRunning[inId] : 0; }};
};

}  // namespace

TEST_F(Observing, ConcernsThoseThatRegisteredForTheVeryKind) {
    EXPECT_EQ(mObservers.Register(kPhoto, {"mail", "new", "a"}), Outcome::kDone);
    EXPECT_EQ(mObservers.Register(kPhoto, {"mail", "new", "b"}), Outcome::kDone);
    EXPECT_EQ(mObservers.Register(kPhoto, {"mail", "gone", "c"}), Outcome::kDone);
    EXPECT_EQ(mObservers.Register(kWords, {"mail", "new", "a"}), Outcome::kDone);
    EXPECT_THAT(mObservers.For("mail", "new"),
                ElementsAre(Pair(kPhoto, "a"), Pair(kPhoto, "b"), Pair(kWords, "a")));
    EXPECT_THAT(mObservers.For("mail", ""), IsEmpty());
    EXPECT_EQ(mObservers.Count(kPhoto, "mail", "new"), 2U);
}

TEST_F(Observing, OneTakesBackItsOwnOnly) {
    mObservers.Register(kPhoto, {"mail", "new", "a"});
    mObservers.Register(kWords, {"mail", "new", "a"});
    EXPECT_EQ(mObservers.Unregister(kPhoto, "a"), Outcome::kDone);
    EXPECT_EQ(mObservers.Unregister(kPhoto, "a"), Outcome::kNothingToDo);
    EXPECT_THAT(mObservers.For("mail", "new"), ElementsAre(Pair(kWords, "a")));
}

TEST_F(Observing, TheSameNamespaceTwiceIsOneObserver) {
    mObservers.Register(kPhoto, {"mail", "new", "a"});
    EXPECT_EQ(mObservers.Register(kPhoto, {"mail", "new", "a"}), Outcome::kNothingToDo);
    EXPECT_EQ(mObservers.Register(kPhoto, {"news", "", "a"}), Outcome::kDone);
    EXPECT_THAT(mObservers.For("mail", "new"), IsEmpty());
    EXPECT_THAT(mObservers.For("news", ""), ElementsAre(Pair(kPhoto, "a")));
}

TEST_F(Observing, AnEndPointThatHasLeftWithItsProcessIsForgotten) {
    mObservers.Register(kPhoto, {"mail", "new", "a"});
    mObservers.Register(kWords, {"mail", "new", "b"});
    mRunning.erase(100);
    EXPECT_TRUE(mObservers.OnEndPoints({kWords}));
    EXPECT_THAT(mObservers.For("mail", "new"), ElementsAre(Pair(kWords, "b")));
    EXPECT_EQ(mObservers.All().size(), 1U);
}

TEST_F(Observing, AProcessThatWasCutOffIsKnownAgainUnderItsNewEndPoint) {
    mObservers.Register(kPhoto, {"mail", "new", "a"});
    EXPECT_FALSE(mObservers.OnEndPoints({}));
    EXPECT_FALSE(mObservers.HasPresent());
    EXPECT_THAT(mObservers.For("mail", "new"), IsEmpty()) << "nothing is sent to who isn't there";
    const Asker back{"PHOTO-1.0", 7, 100};
    EXPECT_FALSE(mObservers.OnEndPoints({kWords, back}));
    EXPECT_THAT(mObservers.For("mail", "new"), ElementsAre(Pair(back, "a")));
}

TEST_F(Observing, AnotherProcessWithTheSameIdInheritsNothing) {
    mObservers.Register(kPhoto, {"mail", "new", "a"});
    mRunning[100] = 33;
    EXPECT_TRUE(mObservers.OnEndPoints({{"PHOTO-1.0", 2, 100}}));
    EXPECT_THAT(mObservers.For("mail", "new"), IsEmpty());
    // Nor when its registration comes before the news that the first one has gone.
    mObservers.Register(kWords, {"mail", "new", "b"});
    mRunning[200] = 44;
    mObservers.Register(kWords, {"mail", "new", "c"});
    EXPECT_THAT(mObservers.For("mail", "new"), ElementsAre(Pair(kWords, "c")));
}

TEST_F(Observing, AProcessHasSoManyObserversAndNoMore) {
    for (std::size_t i = 0; i < Observers::kMaxOfProcess; ++i) {
        EXPECT_EQ(mObservers.Register(kPhoto, {"mail", "new", std::to_string(i)}), Outcome::kDone);
    }
    EXPECT_EQ(mObservers.Register(kPhoto, {"mail", "new", "more"}), Outcome::kTooManyOfProcess);
    EXPECT_EQ(mObservers.Register(kWords, {"mail", "new", "other"}), Outcome::kDone);
    mObservers.Unregister(kPhoto, "5");
    EXPECT_EQ(mObservers.Register(kPhoto, {"mail", "new", "more"}), Outcome::kDone);
}

TEST_F(Observing, ThereAreSoManyObserversAndNoMoreAndWhoIsAwayMakesRoom) {
    std::vector<Asker> all;
    for (std::int32_t process = 1; all.size() * Observers::kMaxOfProcess < Observers::kMaxInAll; ++process) {
        mRunning[process] = 5;
        all.push_back({"MANY", 1, process});
        for (std::size_t i = 0; i < Observers::kMaxOfProcess; ++i) {
            ASSERT_EQ(mObservers.Register(all.back(), {"t", "s", std::to_string(i)}), Outcome::kDone);
        }
    }
    EXPECT_EQ(mObservers.Register(kPhoto, {"mail", "new", "a"}), Outcome::kTooManyInAll);
    all.pop_back();
    mObservers.OnEndPoints(all);
    EXPECT_EQ(mObservers.Register(kPhoto, {"mail", "new", "a"}), Outcome::kDone);
}

TEST_F(Observing, WhatWasKeptCountsForProcessesThatStillRun) {
    mObservers.Register(kPhoto, {"mail", "new", "a"});
    mObservers.Register(kWords, {"mail", "new", "b"});
    const ScratchFolder folder;
    const ObserverFile file(folder.Path() / "below" / "observers.json");
    file.Save(mObservers.All());

    mRunning[200] = 44;
    Observers next{[this](std::int32_t inId) { return mRunning[inId]; }};
    const auto [ended, tooMany] = next.Restore(file.Load());
    EXPECT_EQ(ended, 1U);
    EXPECT_EQ(tooMany, 0U);
    EXPECT_FALSE(next.HasPresent()) << "not before they are seen on the bus";
    next.OnEndPoints({kPhoto, kWords});
    EXPECT_THAT(next.For("mail", "new"), ElementsAre(Pair(kPhoto, "a")));
}

TEST_F(Observing, MoreThanThereMayBeIsNotTakenOver) {
    mRunning[1] = mRunning[2] = 7;
    Observers::Table kept;
    for (const std::int32_t process : {1, 2}) {
        auto& [start, place, observers] = kept[{"MANY-1", process}];
        start = 7;
        const std::size_t count = Observers::kMaxOfProcess + (process == 2 ? 1 : 0);
        for (std::size_t i = 0; i != count; ++i) observers.push_back({"mail", "new", std::to_string(i)});
    }
    EXPECT_EQ(mObservers.Restore(kept).mTooMany, Observers::kMaxOfProcess + 1);
    EXPECT_EQ(mObservers.Count({"MANY-1", 1, 1}, "mail", "new"), Observers::kMaxOfProcess);
    EXPECT_EQ(mObservers.Count({"MANY-1", 1, 2}, "mail", "new"), 0U);
}

TEST_F(Observing, AFileThatCannotBeUnderstoodKeepsNothing) {
    mObservers.Register(kPhoto, {"mail", "new", "a"});
    const ScratchFolder folder;
    const ObserverFile file(folder.Path() / "observers.json");
    EXPECT_THAT(file.Load(), IsEmpty());
    file.Save(mObservers.All());
    const std::string good = Read(folder.Path() / "observers.json");
    ASSERT_EQ(file.Load().size(), 1U);
    const auto loaded = [&](const std::string& inText) {
        Write(folder.Path() / "observers.json", inText);
        return file.Load();
    };
    for (const char* const text : {"", "{", "[]", "7", "{\"boot\":1}", "{\"processes\":[]}"}) {
        EXPECT_THAT(loaded(text), IsEmpty()) << text;
    }
    EXPECT_THAT(loaded(good.substr(0, good.size() / 2)), IsEmpty());
    std::string otherBoot = good;
    otherBoot[otherBoot.find("\"boot\":\"") + 9] ^= 1;
    EXPECT_THAT(loaded(otherBoot), IsEmpty());
    std::string noList = good;
    noList.replace(noList.find("\"observers\":["), 13, "\"observes\":[");
    EXPECT_THAT(loaded(noList), IsEmpty());
}

TEST(SystemProcesses, AreKnownByTheTimeOfTheirStart) {
    EXPECT_NE(StartOfSystemProcess(::getpid()), 0U);
    EXPECT_EQ(StartOfSystemProcess(::getpid()), StartOfSystemProcess(::getpid()));
    EXPECT_NE(StartOfSystemProcess(::getpid()), StartOfSystemProcess(1));
    EXPECT_EQ(StartOfSystemProcess(0), 0U);
    EXPECT_EQ(StartOfSystemProcess(-1), 0U);
}

}  // namespace zarnd_test
