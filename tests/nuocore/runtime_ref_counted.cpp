#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "nuocore/RefCounted.h"

namespace {

using nuocore::RefPtr;
using nuocore::WeakPtr;

class Counted : public nuocore::RefCountedObjectWithWeakPtr {
  public:
    explicit Counted(std::atomic<int>& ioAlive) : mAlive(ioAlive) { ++mAlive; }

  protected:
    ~Counted() override { --mAlive; }

  private:
    std::atomic<int>& mAlive;
};

}  // namespace

TEST(RefCounted, TheObjectEndsWithItsLastReference) {
    std::atomic<int> alive = 0;
    RefPtr<Counted> first(new Counted(alive));
    RefPtr<Counted> second = first;
    first.reset();
    EXPECT_EQ(alive, 1);
    second.reset();
    EXPECT_EQ(alive, 0);
}

TEST(RefCounted, AWeakPointerFindsTheObjectWhileItLivesAndNothingAfterwards) {
    std::atomic<int> alive = 0;
    RefPtr<Counted> object(new Counted(alive));
    const WeakPtr<Counted> weak(object);
    const WeakPtr<Counted> copy = weak;
    EXPECT_EQ(weak.Lock(), object);
    object.reset();
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(weak.Lock(), nullptr);
    EXPECT_EQ(copy.Lock(), nullptr);
    EXPECT_EQ(WeakPtr<Counted>().Lock(), nullptr);
}

TEST(RefCounted, ALockedReferenceKeepsTheObject) {
    std::atomic<int> alive = 0;
    RefPtr<Counted> object(new Counted(alive));
    WeakPtr<Counted> weak(object);
    RefPtr<Counted> locked = weak.Lock();
    object.reset();
    EXPECT_EQ(alive, 1);
    locked.reset();
    EXPECT_EQ(alive, 0);
}

TEST(RefCounted, TheLastReferenceMayRaceWithWeakPointers) {
    for (int round = 0; round < 200; ++round) {
        std::atomic<int> alive = 0;
        RefPtr<Counted> object(new Counted(alive));
        WeakPtr<Counted> weak(object);
        std::thread other([copy = weak] {
            for (int i = 0; i < 100; ++i) static_cast<void>(copy.Lock());
        });
        object.reset();
        other.join();
        EXPECT_EQ(alive, 0);
        EXPECT_EQ(weak.Lock(), nullptr);
    }
}
