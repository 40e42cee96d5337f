#include "nuocore/Singleton.h"

#include <exception>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "KeepLoaded.h"
#include "nuocore/Assertion.h"

namespace nuocore::singleton {

namespace {

struct Termination {
    std::string mName;
    std::function<void()> mRun;
};

struct Terminations {
    std::mutex mLock;
    std::vector<Termination> mPending;
};

// Never destroyed: other libraries may add to it while the process ends.
Terminations& Table() {
    static auto* const sTable = new Terminations;
    return *sTable;
}

bool TakeLast(Termination& outTermination) {
    Terminations& table = Table();
    const std::lock_guard lock(table.mLock);
    if (table.mPending.empty()) {
        return false;
    }
    outTermination = std::move(table.mPending.back());
    table.mPending.pop_back();
    return true;
}

void Report(const Termination& inTermination, const char* inWhat) {
    debug::RaiseAssertion(
        {"Singleton", 0, "nuocore::singleton::RunSingletonTerminations", "false",
         "Exception caught from the termination of " + inTermination.mName + ": " + inWhat});
}

void Run(const Termination& inTermination) {
    try {
        inTermination.mRun();
    } catch (const std::exception& error) {
        Report(inTermination, error.what());
    } catch (...) {
        Report(inTermination, "of an unknown type");
    }
}

struct RunAtExit {
    ~RunAtExit() { RunSingletonTerminations(); }
} sRunAtExit;

}  // namespace

void AddTerminationForSingleton(const char* inName, std::function<void()> inTermination) {
    // Unloading the caller would leave the table with a function that isn't there.
    runtime::KeepLoaded(__builtin_return_address(0));
    Termination termination{inName != nullptr ? inName : "(unnamed)", std::move(inTermination)};
    Terminations& table = Table();
    const std::lock_guard lock(table.mLock);
    table.mPending.push_back(std::move(termination));
}

void RunSingletonTerminations() {
    for (Termination termination; TakeLast(termination);) {
        Run(termination);
    }
}

}  // namespace nuocore::singleton
