#include "Ledger.h"

#include <algorithm>

namespace orvane::plexa::test {

void Ledger::Break(const char* inWhat, std::size_t inReceiver, std::size_t inMessage) {
    if (mBroken == nullptr) {
        mBroken = inWhat;
        mReceiver = inReceiver;
        mMessage = inMessage;
    }
}

/// Types that are wanted from the start and after the change must arrive, those that never are must not.
bool Ledger::Wanted(std::size_t inReceiver, std::size_t inMessage) const {
    const std::string type = "m" + std::to_string(inMessage);
    const auto has = [&](const wire::Interest& inInterest) {
        return !inInterest || std::find(inInterest->begin(), inInterest->end(), type) != inInterest->end();
    };
    const bool chooses = (mSetup.choosers >> inReceiver & 1U) != 0;
    return has(mSetup.clients[inReceiver].interest) && (!chooses || has(mSetup.choice));
}

void Ledger::OnSent(std::size_t inMessage, unsigned inReady, bool inAccepted) {
    mSent[inMessage] = true;
    const Setup::Message& message = mSetup.messages[inMessage];
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        mEntries[inMessage][i].owed =
            inAccepted && (message.receiver == i || (message.receiver == kAll && i != message.sender &&
                                                     (inReady >> i & 1U) != 0 && Wanted(i, inMessage)));
    }
}

void Ledger::OnReceived(std::size_t inReceiver, std::size_t inMessage) {
    const Setup::Message& message = mSetup.messages[inMessage];
    Entry& entry = mEntries[inMessage][inReceiver];
    if (message.receiver != kAll && message.receiver != inReceiver) {
        Break("a message reached somebody else", inReceiver, inMessage);
    }
    if (entry.received) {
        Break("a message arrived twice", inReceiver, inMessage);
    }
    if (entry.failedForCertain && !Ambiguous(inReceiver, inMessage)) {
        Break("a message arrived after it was called not delivered", inReceiver, inMessage);
    }
    entry.received = true;
    for (std::size_t later = inMessage + 1; later < mSetup.messages.size(); ++later) {
        if (mSetup.messages[later].sender == message.sender && mEntries[later][inReceiver].received) {
            Break("a message arrived after a younger one", inReceiver, inMessage);
        }
    }
}

void Ledger::OnFailed(std::size_t inReceiver, std::size_t inMessage, message5::FailureKind inKind) {
    Entry& entry = mEntries[inMessage][inReceiver];
    const bool certain = inKind == message5::FailureKind::kNotDelivered;
    if (mSetup.NobodyGoes()) {
        Break("a message was reported though both live", inReceiver, inMessage);
    }
    if (entry.failed) {
        Break("a message was reported twice", inReceiver, inMessage);
    }
    if (entry.received && certain && !Ambiguous(inReceiver, inMessage)) {
        Break("a message was called not delivered after it had arrived", inReceiver, inMessage);
    }
    entry.failed = true;
    entry.failedForCertain = certain;
}

void Ledger::OnFailedForAll(std::size_t inMessage, message5::FailureKind inKind) {
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        if (mEntries[inMessage][i].owed && !mEntries[inMessage][i].failed) {
            OnFailed(i, inMessage, inKind);
        }
    }
}

void Ledger::OnGone(std::size_t inReceiver) {
    for (std::size_t i = 0; i != mSetup.messages.size(); ++i) {
        mEntries[i][inReceiver].owed = mEntries[i][inReceiver].owed && mSetup.messages[i].receiver != kAll;
    }
}

void Ledger::OnForgotten(std::size_t inReceiver) {
    OnGone(inReceiver);
    mForgotten[inReceiver] = true;
}

bool Ledger::Ambiguous(std::size_t inReceiver, std::size_t inMessage) const {
    return mForgotten[inReceiver] && mSetup.messages[inMessage].receiver == kAll;
}

void Ledger::OnEnded(std::size_t inSender) {
    for (std::size_t i = 0; i != mSetup.messages.size(); ++i) {
        for (Entry& entry : mEntries[i]) {
            entry.owed = entry.owed && mSetup.messages[i].sender != inSender;
        }
    }
}

std::string Ledger::Missing() const {
    for (std::size_t i = 0; i != mSetup.messages.size(); ++i) {
        for (std::size_t k = 0; k != mSetup.clients.size(); ++k) {
            const Entry& entry = mEntries[i][k];
            if (entry.owed && !entry.received && !entry.failed) {
                return "m" + std::to_string(i) + " never reached " + mSetup.clients[k].name;
            }
        }
    }
    return {};
}

std::string Ledger::Place() const {
    return "m" + std::to_string(mMessage) + " to " + mSetup.clients[mReceiver].name;
}

void Ledger::AddTo(Hash& ioHash) const {
    for (std::size_t i = 0; i != mSetup.messages.size(); ++i) {
        std::uint64_t word = mSent[i] ? 1 : 0;
        for (std::size_t k = 0; k != mSetup.clients.size(); ++k) {
            const Entry& entry = mEntries[i][k];
            word = word << 4U | (entry.owed ? 1U : 0U) | (entry.received ? 2U : 0U) |
                   (entry.failed ? 4U : 0U) | (entry.failedForCertain ? 8U : 0U);
        }
        ioHash.Add(word);
    }
    for (const bool forgotten : mForgotten) {
        ioHash.Add(forgotten ? 1U : 0U);
    }
}

}  // namespace orvane::plexa::test
