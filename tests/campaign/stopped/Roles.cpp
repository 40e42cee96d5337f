// The processes of the campaign with a receiver that stands still.
#include <algorithm>
#include <charconv>
#include <csignal>
#include <optional>
#include <thread>

#include "Ledger.h"
#include "Presence.h"
#include "Roles.h"
#include "support/Texts.h"

namespace campaign::stopped {

namespace api = orvane::plexa::api5;

namespace {

constexpr std::string_view kTypePrefix = "campaign.message.";
constexpr std::size_t kTypeDigits = 7;

std::optional<std::size_t> NumberBehind(std::string_view inPrefix, std::string_view inText) {
    if (!inText.starts_with(inPrefix)) return std::nullopt;
    inText.remove_prefix(inPrefix.size());
    std::size_t number = 0;
    const auto result = std::from_chars(inText.data(), inText.data() + inText.size(), number);
    return result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

std::size_t IndexOf(std::span<char* const> inWords) { return NumberBehind("", inWords[1]).value(); }

/// A message that failed: at its receiver, or at all when the fault names none.
void NoteFailure(SenderPage& ioPage, const Ledger& inLedger, const api::ErrorMessage& inError) {
    std::string text(inError.GetErrorSize(), '\0');
    inError.GetError(text.data());
    std::string fault(inError.GetFaultSize(), '\0');
    inError.GetFault(fault.data());
    const auto number = NumberBehind(kTypePrefix, api::TypeOf(inError));
    const auto receiver = NumberBehind("RX", fault);
    const bool toAll = fault.starts_with("every end point");
    if (!number || *number >= ioPage.mBegun || (!receiver && !toAll)) {
        ++ioPage.mUnaccountable;
        return;
    }
    Entry& message = ioPage.mMessages[*number];
    for (std::size_t i = 0; i != inLedger.mReceiverCount; ++i) {
        Fate& fate = message.mFates[i];
        if (message.IsFor(i) && (!receiver || i == *receiver))
            ++(text.starts_with("Not delivered") ? fate.mNotDelivered : fate.mNotConfirmed);
    }
}

void SendOne(SenderPage& ioPage, const Presence& inPresence, std::size_t inSender, Part inPart,
             std::uint8_t inTo, const api::EndPoint& inEndPoint) {
    const std::uint32_t number = ioPage.mBegun;
    if (number == kMostMessages) return;
    ioPage.mMessages[number].mTo = inTo;
    ioPage.mMessages[number].mPart = inPart;
    ioPage.mBegun = number + 1;
    const std::uint64_t begin = NowNanoseconds();
    std::string text =
        std::to_string(inSender) + ' ' + std::to_string(number) + ' ' + std::to_string(begin) + ' ';
    text.resize(std::max<std::size_t>(text.size(), ioPage.mPlan.mPayload), 'x');
    if (!inPresence.Send(TypeOf(number), text, inEndPoint)) ++ioPage.mRefused;
    const std::uint64_t took = NowNanoseconds() - begin;
    if (took > ioPage.mLongestCall[inPart]) ioPage.mLongestCall[inPart] = took;
    ioPage.mSent = number + 1;
}

}  // namespace

std::string ReceiverName(std::size_t inReceiver) { return "RX" + std::to_string(inReceiver); }

std::string TypeOf(std::uint32_t inNumber) {
    const std::string digits = std::to_string(inNumber);
    return std::string(kTypePrefix) + std::string(kTypeDigits - digits.size(), '0') + digits;
}

std::size_t FrameBytes(const Plan& inPlan) {
    constexpr std::size_t kHeader = 32;
    return (kHeader + TypeOf(0).size() + inPlan.mPayload + 7) / 8 * 8;
}

int RunSender(std::span<char* const> inWords) {
    const SharedLedger ledger(inWords[0]);
    const std::size_t self = IndexOf(inWords);
    SenderPage& page = ledger->mSenders[self];
    // It hears of its own failures only.
    const char* nothing = "nothing";
    api::SetInterest(&nothing, 1);
    const Presence presence("TX" + std::to_string(self), [&](const api::PlexaMessage& inMessage) {
        if (const auto* error = dynamic_cast<const api::ErrorMessage*>(&inMessage))
            NoteFailure(page, *ledger, *error);
    });
    std::vector<std::string> names;
    for (std::size_t i = 0; i != ledger->mReceiverCount; ++i) names.push_back(ReceiverName(i));
    const std::vector<api::EndPoint> receivers = presence.Await(names);
    ++ledger->mReady;

    const Plan& plan = page.mPlan;
    const std::chrono::nanoseconds period(plan.mPeriod);
    auto next = std::chrono::steady_clock::now();
    for (std::uint32_t turn = 0;; ++turn) {
        const Part part = ledger->mPart;
        if (part == kEnd) return 0;
        if (part == kHold) {
            page.mHolding = true;
            WaitWhile(ledger->mPart, kHold);
            page.mHolding = false;
            continue;
        }
        // Who was held up goes on in its rhythm, and doesn't hurry to make up for it.
        next = std::max(next + period, std::chrono::steady_clock::now());
        std::this_thread::sleep_until(next);
        const std::uint32_t to = plan.mFirstReceiver + turn % plan.mReceivers;
        SendOne(page, presence, self, part, static_cast<std::uint8_t>(to), receivers[to]);
        if (plan.mBroadcastEvery != 0 && turn % plan.mBroadcastEvery == 0)
            SendOne(page, presence, self, part, Entry::kToAll, {});
    }
}

int RunReceiver(std::span<char* const> inWords) {
    const SharedLedger ledger(inWords[0]);
    const std::size_t self = IndexOf(inWords);
    ReceiverPage& page = ledger->mReceivers[self];
    std::array<std::int64_t, kMostSenders> last;
    last.fill(-1);
    const Presence presence(ReceiverName(self), [&](const api::PlexaMessage& inMessage) {
        const std::uint64_t now = NowNanoseconds();
        const auto* message = dynamic_cast<const api::SuiteMessage*>(&inMessage);
        const std::string payload = message == nullptr ? std::string() : PayloadOf(*message);
        std::string_view text = payload;
        const std::uint64_t sender = TakeNumber(text);
        const std::uint64_t number = TakeNumber(text);
        const std::uint64_t begin = TakeNumber(text);
        if (sender >= kMostSenders || number >= ledger->mSenders[sender].mBegun ||
            !ledger->mSenders[sender].mMessages[number].IsFor(self)) {
            ++page.mForeign;
            return;
        }
        if (static_cast<std::int64_t>(number) <= last[sender]) ++page.mDisordered;
        last[sender] = static_cast<std::int64_t>(number);
        Fate& fate = ledger->mSenders[sender].mMessages[number].mFates[self];
        fate.mLatency = static_cast<std::uint32_t>(std::min<std::uint64_t>(now - begin, UINT32_MAX));
        ++fate.mReceived;
        if (const std::uint32_t nap = page.mNap; nap != 0)
            std::this_thread::sleep_for(std::chrono::microseconds(nap));
    });
    presence.Await({ReceiverName(self)});
    ++ledger->mReady;
    for (Part part; (part = ledger->mPart) != kEnd;) WaitWhile(ledger->mPart, part);
    return 0;
}

}  // namespace campaign::stopped
