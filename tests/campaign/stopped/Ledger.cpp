#include "Ledger.h"

namespace campaign::stopped {

namespace {

void Count(Tally& ioTally, const Fate& inFate) {
    const unsigned received = inFate.mReceived;
    const unsigned notDelivered = inFate.mNotDelivered;
    const unsigned notConfirmed = inFate.mNotConfirmed;
    ++ioTally.mMessages;
    ioTally.mReceived += received != 0 ? 1 : 0;
    ioTally.mNotDelivered += notDelivered != 0 ? 1 : 0;
    ioTally.mNotConfirmed += notConfirmed != 0 ? 1 : 0;
    ioTally.mLost += received + notDelivered + notConfirmed == 0 ? 1 : 0;
    ioTally.mDoubled += received > 1 || notDelivered + notConfirmed > 1 ? 1 : 0;
    ioTally.mDenied += received != 0 && notDelivered != 0 ? 1 : 0;
}

void Count(Tally& ioTally, const SenderPage& inPage, std::size_t inReceiver) {
    for (std::uint32_t number = 0; number != inPage.mSent; ++number) {
        const Entry& message = inPage.mMessages[number];
        if (message.IsFor(inReceiver)) Count(ioTally, message.mFates[inReceiver]);
    }
}

}  // namespace

Tally TallyOf(const Ledger& inLedger) {
    Tally tally;
    for (const SenderPage& sender : inLedger.mSenders) {
        for (std::size_t i = 0; i != inLedger.mReceiverCount; ++i) Count(tally, sender, i);
        tally.mOther += sender.mRefused + sender.mUnaccountable;
    }
    for (const ReceiverPage& receiver : inLedger.mReceivers)
        tally.mOther += receiver.mDisordered + receiver.mForeign;
    return tally;
}

Tally TallyOf(const Ledger& inLedger, std::size_t inSender, std::size_t inReceiver) {
    Tally tally;
    Count(tally, inLedger.mSenders[inSender], inReceiver);
    return tally;
}

}  // namespace campaign::stopped
