#include "Crew.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace campaign::stopped {

namespace {

std::string LedgerPath(const support::PrivateBus& inBus) { return inBus.Folder() / "ledger"; }

}  // namespace

std::unique_ptr<support::ChildProcess> StartRole(const support::PrivateBus& inBus,
                                                 std::vector<std::string> inWords,
                                                 const Environment& inEnvironment) {
    support::Command command;
    command.mArguments = {"/proc/self/exe", "role"};
    command.mArguments.insert(command.mArguments.end(), inWords.begin(), inWords.end());
    command.mEnvironment = inEnvironment;
    command.mEnvironment["PLEXA_RUNTIME_DIR"] = inBus.Folder();
    command.mEnvironment["PLEXA_BROKER"] = NUOPLEXA_BROKER_PROGRAM;
    return std::make_unique<support::ChildProcess>(std::move(command));
}

void Await(const char* inWhat, const std::function<bool()>& inHasHappened,
           const std::function<std::string()>& inAccount) {
    const auto deadline = std::chrono::steady_clock::now() + support::kPatience;
    while (!inHasHappened()) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("in vain it was waited until " + std::string(inWhat) +
                                     (inAccount ? ": " + inAccount() : ""));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

Crew::Crew(std::size_t inReceivers, const std::vector<Plan>& inPlans, const Environment& inEnvironment)
    : mLedger(LedgerPath(mBus)) {
    // For questions to the broker.
    ::setenv("PLEXA_RUNTIME_DIR", mBus.Folder().c_str(),
             1);  // NOLINT(concurrency-mt-unsafe): the only thread
    mLedger->mReceiverCount = static_cast<std::uint32_t>(inReceivers);
    for (std::size_t i = 0; i != inPlans.size(); ++i) mLedger->mSenders[i].mPlan = inPlans[i];
    for (std::size_t i = 0; i != inReceivers; ++i)
        mReceivers.push_back(
            StartRole(mBus, {"stopped-receiver", LedgerPath(mBus), std::to_string(i)}, inEnvironment));
    for (std::size_t i = 0; i != inPlans.size(); ++i)
        mSenders.push_back(
            StartRole(mBus, {"stopped-sender", LedgerPath(mBus), std::to_string(i)}, inEnvironment));
    Await("everybody is on the bus", [&] { return mLedger->mReady == mReceivers.size() + mSenders.size(); });
    Hold();
}

void Crew::Hold() const {
    SetAndWake(mLedger->mPart, kHold);
    Await("the senders hold", [&] {
        return std::all_of(mLedger->mSenders.begin(), mLedger->mSenders.begin() + std::ssize(mSenders),
                           [](const SenderPage& inPage) { return inPage.mHolding.load(); });
    });
}

void Crew::Stop(std::size_t inReceiver) const { mReceivers[inReceiver]->Signal(SIGSTOP); }

void Crew::Continue(std::size_t inReceiver) const { mReceivers[inReceiver]->Signal(SIGCONT); }

void Crew::AwaitFates() const {
    Await(
        "every message has arrived or its sender has been told", [&] { return TallyOf(*mLedger).mLost == 0; },
        [&] {
            const Tally tally = TallyOf(*mLedger);
            return std::to_string(tally.mLost) + " of " + std::to_string(tally.mMessages) +
                   " deliveries were neither made nor told";
        });
}

void Crew::End() {
    SetAndWake(mLedger->mPart, kEnd);
    for (auto* group : {&mSenders, &mReceivers}) {
        for (const auto& process : *group) {
            const auto code = process->Wait();
            if (code != 0)
                throw std::runtime_error("a process ended with " +
                                         (code ? std::to_string(*code) : "nothing") + "\n" +
                                         process->Errors());
        }
    }
}

}  // namespace campaign::stopped
