#include "MemoryWatch.h"

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <stdexcept>

#include <PlexaMessage5/BrokerStatus.h>
#include <boost/json.hpp>

namespace campaign::stopped {

namespace {

constexpr std::size_t kMebibyte = std::size_t{1} << 20U;
constexpr std::size_t kLog = 16 * kMebibyte;
/// What a process may need beyond its bound: the allocator's own needs, and buffers kept for the next time.
constexpr std::size_t kOverhead = 8 * kMebibyte;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kMemoryMeansSomething = false;  // sanitizers keep books of their own
#else
constexpr bool kMemoryMeansSomething = true;
#endif

/// Bytes of memory that a process has for itself alone.
std::size_t OwnMemory(pid_t inProcess) {
    std::ifstream status("/proc/" + std::to_string(inProcess) + "/status");
    for (std::string word; status >> word;) {
        std::size_t kibibytes = 0;
        if (word == "RssAnon:" && status >> kibibytes) return kibibytes << 10U;
    }
    throw std::runtime_error("process " + std::to_string(inProcess) + " is gone");
}

pid_t BrokerOf(const Crew& inCrew) {
    const auto broker = inCrew.Bus().BrokerId();
    if (!broker) throw std::runtime_error("the broker is gone");
    return *broker;
}

}  // namespace

MemoryWatch::MemoryWatch(const Crew& inCrew, std::size_t inArrears)
    : mCrew(inCrew),
      mArrears(inArrears),
      mBrokerAtFirst(OwnMemory(BrokerOf(inCrew))),
      mSettled(inCrew.Senders()) {
    for (std::size_t i = 0; i != inCrew.Senders(); ++i)
        mSendersAtFirst.push_back(OwnMemory(inCrew.SenderId(i)));
}

void MemoryWatch::Note(const std::string& inName, std::size_t inAmount, std::size_t inBound) {
    Peak& peak = mPeaks[inName];
    peak.mMost = std::max(peak.mMost, inAmount);
    peak.mBound = inBound;
}

void MemoryWatch::Look() {
    LookAtBroker();
    LookAtArrears();
    if (!kMemoryMeansSomething) return;
    for (std::size_t i = 0; i != mCrew.Senders(); ++i) {
        const std::size_t memory = OwnMemory(mCrew.SenderId(i));
        Note("a sender's growth", memory - std::min(memory, mSendersAtFirst[i]), kLog + kOverhead);
    }
}

void MemoryWatch::LookAtBroker() {
    std::string text;
    if (orvane::plexa::api5::QueryBrokerStatus(10000, text) !=
        orvane::plexa::api5::kPlexaMessageErrorCode_None)
        throw std::runtime_error("the broker tells no status: " + text);
    const boost::json::value status = boost::json::parse(text);
    std::size_t memory = 0;
    for (const auto& [name, bound] : status.at("bounds").as_object()) {
        const auto* const amount = bound.as_object().if_contains("in_use");
        if (amount == nullptr) continue;
        const auto limit = bound.at("limit").to_number<std::size_t>();
        Note("broker: " + std::string(name), amount->to_number<std::size_t>(), limit);
        if (name == "broker memory") memory = limit;
    }
    if (!kMemoryMeansSomething) return;
    const std::size_t now = OwnMemory(BrokerOf(mCrew));
    Note("the broker's growth", now - std::min(now, mBrokerAtFirst), memory + kOverhead);
}

/// Counts as owed what was sent and has no fate: a little less than the sender, who hears later of it.
void MemoryWatch::LookAtArrears() {
    const Ledger& book = mCrew.Book();
    for (std::size_t sender = 0; sender != mCrew.Senders(); ++sender) {
        const SenderPage& page = book.mSenders[sender];
        const std::size_t frame = FrameBytes(page.mPlan);
        const std::uint32_t sent = page.mSent;
        std::vector<std::size_t> owed(book.mReceiverCount);
        std::size_t kept = 0;
        for (std::uint32_t number = mSettled[sender]; number != sent; ++number) {
            const Entry& message = page.mMessages[number];
            bool settled = true;
            for (std::size_t receiver = 0; receiver != owed.size(); ++receiver) {
                if (!message.IsFor(receiver) || message.mFates[receiver].Settled()) continue;
                owed[receiver] += frame;
                settled = false;
            }
            kept += settled ? 0 : frame;
            if (kept == 0) mSettled[sender] = number + 1;
        }
        for (std::size_t receiver = 0; receiver != owed.size(); ++receiver) {
            std::size_t& excess = mExcess[{sender, receiver}];
            excess = std::max(excess, owed[receiver] > mArrears ? owed[receiver] : 0);
            Note("arrears of one receiver", std::min(owed[receiver], mArrears), mArrears);
        }
        Note("log of one sender", kept, kLog);
    }
}

bool MemoryWatch::Report() {
    // Who cuts a receiver off owes it nothing from then on, though the errors have yet to be told.
    for (const auto& [pair, excess] : mExcess)
        if (excess != 0 && TallyOf(mCrew.Book(), pair.first, pair.second).Told() == 0)
            Note("arrears of one receiver", excess, mArrears);
    bool within = true;
    for (const auto& [name, peak] : mPeaks) {
        const bool exceeded = peak.mMost > peak.mBound;
        within = within && !exceeded;
        std::cout << "    " << std::left << std::setw(26) << name << std::right << std::setw(12) << peak.mMost
                  << " of " << std::setw(9) << peak.mBound << (exceeded ? "  EXCEEDED" : "") << '\n';
    }
    if (!kMemoryMeansSomething) std::cout << "    (processes' memory isn't looked at under a sanitizer)\n";
    return within;
}

}  // namespace campaign::stopped
