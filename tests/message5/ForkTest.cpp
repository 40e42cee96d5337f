// A host that forks: connection and threads stay with the first process.
#include <gtest/gtest.h>

#include <atomic>

#include <sys/wait.h>
#include <unistd.h>

#include "Bus.h"
#include "Eventually.h"
#include "Member.h"
#include "Peer.h"

using namespace orvane::plexa::api5;

namespace {

constexpr int kMessages = 2000;

std::atomic<bool> isCopy{false};

/// The exit code of a copy; -1 when it hangs or crashes.
int CodeOf(pid_t inCopy) {
    int status = 0;
    if (!Eventually([&] { return ::waitpid(inCopy, &status, WNOHANG) == inCopy; })) {
        ::kill(inCopy, SIGKILL);
        ::waitpid(inCopy, &status, 0);
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class Forks : public testing::Test {
  protected:
    Forks() { other.Join("B-1"); }

    Bus bus;
    Peer other;
};

}  // namespace

#ifdef __SANITIZE_ADDRESS__
// In a copy whose first thread is not there, all that this thread held counts as lost.
extern "C" __attribute__((visibility("default"))) int
__lsan_is_turned_off() {  // NOLINT: the sanitizer's name
    return isCopy ? 1 : 0;
}
#endif

TEST_F(Forks, ACopyHasNoInstanceAndLeavesTheConnectionAlone) {
    Member member;
    other.AwaitEndPoints(2);
    const pid_t copy = ::fork();
    if (copy == 0) {
        const auto sent = member.Send("from the copy", EndPoint());
        const bool ready = member.dispatcher->IsDispatcherReady();
        IPlexaMessageDispatcher::ReleaseInstance();
        ::_exit(sent == kPlexaMessageErrorCode_NotConfigured && !ready ? 0 : 1);
    }
    EXPECT_EQ(CodeOf(copy), 0);
    member.Send("from the first", EndPoint());
    EXPECT_EQ(other.Await("got"), "got Test-1 t from the first");
}

// The thread sanitizer lets no copy of a process of several threads start threads, and crashes itself when a
// copy ends with another thread than the first.
#ifndef __SANITIZE_THREAD__

TEST_F(Forks, ACopyThatReturnsFromItsCallTakesNoMessages) {
    std::atomic<pid_t> copy{-1};
    std::atomic<int> counted{0};
    Member member([&](const std::string& inText) {
        if (inText == "fork") {
            copy = ::fork();
            isCopy = copy == 0;
        } else {
            ++counted;
        }
    });
    other.AwaitEndPoints(2);
    other.Tell("send Test-1 t fork");
    EXPECT_TRUE(Eventually([&] { return copy > 0; }));
    EXPECT_EQ(CodeOf(copy), 0);
    other.Tell("burst Test-1 t " + std::to_string(kMessages));
    EXPECT_TRUE(Eventually([&] { return counted == kMessages; })) << counted;
}

TEST_F(Forks, ACopyMayJoinOnItsOwn) {
    Member member;
    other.AwaitEndPoints(2);
    const pid_t copy = ::fork();
    if (copy == 0) {
        IPlexaMessageDispatcher* dispatcher = nullptr;
        const auto got = IPlexaMessageDispatcher::GetInstance(&dispatcher);
        const SuiteMessage message("copied");
        const auto sent = dispatcher->SendMessage(message);
        IPlexaMessageDispatcher::ReleaseInstance();
        ::_exit(got == kPlexaMessageErrorCode_None && sent == kPlexaMessageErrorCode_None ? 0 : 1);
    }
    EXPECT_EQ(other.Await("got"), "got Test-1 copied ");
    EXPECT_EQ(CodeOf(copy), 0);
    member.Send("from the first", EndPoint());
    EXPECT_EQ(other.Await("got"), "got Test-1 t from the first");
}
#endif
