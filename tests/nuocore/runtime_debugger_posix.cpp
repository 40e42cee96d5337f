// Breaking into a debugger: this process is one, of a child that breaks.
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "nuocore/Assertion.h"

namespace {

using namespace nuocore::debug;

const AssertionRecord kRecord{"File", 12, "ns::Function", "a == b", "message"};

/// Runs `inBody` in a child that this process traces, and returns how often a trap stopped it.
template <typename Body>
int CountTraps(const Body& inBody) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (IsDebuggerAttached() || ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            std::_Exit(2);
        }
        if (!IsDebuggerAttached()) {
            std::_Exit(3);
        }
        inBody();
        std::_Exit(0);
    }
    int traps = 0;
    int status = 0;
    while (::waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        EXPECT_EQ(WSTOPSIG(status), SIGTRAP);
        ++traps;
        ::ptrace(PTRACE_CONT, child, nullptr, nullptr);
    }
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    return traps;
}

void RaiseWithHandler(bool inWantsBreak) {
    SetAssertionHandler([inWantsBreak](const AssertionRecord&) { return inWantsBreak; });
    RaiseAssertion(kRecord);
}

TEST(BreakPolicy, StopsInTheDebuggerWhenTheHandlerAsksForIt) {
    EXPECT_EQ(CountTraps([] { RaiseWithHandler(true); }), 1);
}

TEST(BreakPolicy, DoesNotStopWhenTheHandlerDoesNotAsk) {
    EXPECT_EQ(CountTraps([] { RaiseWithHandler(false); }), 0);
}

TEST(BreakPolicy, DoesNotStopWhenThePolicyIsNever) {
    EXPECT_EQ(CountTraps([] {
                  SetBreakPolicy(BreakPolicy::kNever);
                  RaiseWithHandler(true);
              }),
              0);
}

}  // namespace
