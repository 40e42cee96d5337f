// Who is called, and who waits for whom.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "CallRegistry.h"
#include "Eventually.h"

namespace {

using Registry = orvane::plexa::message5::CallRegistry<int>;
using Change = Registry::Change;

std::vector<int> Called(Registry& ioRegistry, bool inOnce = false) {
    std::vector<int> called;
    ioRegistry.CallActive(inOnce, [&](int inCallee) { called.push_back(inCallee); });
    return called;
}

}  // namespace

TEST(CallRegistries, CallWhoIsActiveInOrder) {
    Registry registry;
    EXPECT_TRUE(registry.Add(1, true));
    EXPECT_TRUE(registry.Add(2, false));
    EXPECT_TRUE(registry.Add(3, true));
    EXPECT_FALSE(registry.Add(1, true));
    EXPECT_EQ(Called(registry), (std::vector{1, 3}));
    EXPECT_EQ(registry.SetActive(2, true), Change::kDone);
    EXPECT_EQ(registry.SetActive(2, true), Change::kNone);
    EXPECT_EQ(registry.SetActive(4, true), Change::kUnknown);
    EXPECT_EQ(Called(registry), (std::vector{1, 2, 3}));
    EXPECT_TRUE(registry.Remove(1));
    EXPECT_FALSE(registry.Remove(1));
    EXPECT_EQ(Called(registry), (std::vector{2, 3}));
}

TEST(CallRegistries, CallOnceWhoIsToBeToldOnce) {
    Registry registry;
    registry.Add(1, true);
    EXPECT_EQ(Called(registry, true), std::vector{1});
    EXPECT_EQ(Called(registry, true), std::vector<int>());
    registry.Add(2, false);
    registry.ActivateAll();
    EXPECT_EQ(Called(registry, true), (std::vector{1, 2}));
}

TEST(CallRegistries, MayBeChangedInsideACall) {
    Registry registry;
    registry.SetCaller();
    for (const int callee : {1, 2, 3}) registry.Add(callee, true);
    std::vector<int> called;
    registry.CallActive(false, [&](int inCallee) {
        called.push_back(inCallee);
        if (inCallee == 1) {
            registry.Remove(1);  // its own call: doesn't wait
            registry.Remove(2);
            registry.Add(4, true);
        }
    });
    EXPECT_EQ(called, (std::vector{1, 3}));
}

TEST(CallRegistries, TakingBackWaitsForTheCallThatRunsAndForNoOther) {
    Registry registry;
    registry.Add(1, true);
    registry.Add(2, true);
    std::promise<void> running;
    std::promise<void> go;
    std::atomic<bool> removed{false};
    bool removedInside = false;
    std::thread caller([&] {
        registry.SetCaller();
        registry.CallActive(false, [&](int inCallee) {
            if (inCallee != 1) return;
            running.set_value();
            go.get_future().wait();
            removedInside = Eventually([&] { return removed.load(); }, std::chrono::milliseconds(100));
        });
    });
    running.get_future().wait();
    EXPECT_TRUE(registry.Remove(2));     // not being called
    EXPECT_TRUE(registry.Add(3, true));  // never waits
    std::thread remover([&] {
        registry.Remove(1);
        removed = true;
    });
    go.set_value();
    caller.join();
    remover.join();
    EXPECT_FALSE(removedInside);
}

TEST(CallRegistries, LeaveWhoIsAddedInsideACallForTheNextTime) {
    Registry registry;
    registry.SetCaller();
    registry.Add(1, true);
    std::vector<int> called;
    registry.CallActive(false, [&](int inCallee) {
        called.push_back(inCallee);
        registry.Remove(1);
        registry.Add(1, true);
        registry.Add(2, true);
    });
    EXPECT_EQ(called, std::vector{1});
    EXPECT_EQ(Called(registry), (std::vector{1, 2}));
}
