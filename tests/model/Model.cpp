// Making the world of a set-up, and keeping the books on it.
#include "Model.h"

#include <charconv>

#include "Inspector.h"

namespace orvane::plexa::test {
namespace {

/// The broker grants no smaller window than this.
constexpr std::size_t kWindow = 4096;

std::size_t NumberAfter(const std::string& inText, std::size_t inBegin) {
    std::size_t number = 0;
    std::from_chars(inText.data() + inBegin, inText.data() + inText.size(), number);
    return number;
}

}  // namespace

std::size_t Model::PayloadBytes(const Setup& inSetup) {
    return inSetup.window == 0 ? 1 : kWindow / inSetup.window - wire::kHeaderBytes * 2;
}

wire::Limits Model::LimitsFor(const Setup& inSetup) {
    wire::Limits limits;
    limits.ackDelay = {};
    limits.broadcastWait = {};
    if (inSetup.eagerReports) {
        limits.reportDelay = {};
    }
    if (inSetup.window != 0) {
        limits.firstWindow = kWindow;
        limits.maxWindow = kWindow;
    }
    if (inSetup.arrears != 0) {
        limits.arrears = inSetup.arrears * wire::FrameBytes(2, PayloadBytes(inSetup));
    }
    return limits;
}

Model::Model(const Setup& inSetup)
    : mSetup(inSetup),
      mWorld(LimitsFor(inSetup), inSetup.window == 0 ? 256 : PayloadBytes(inSetup) + wire::kHeaderBytes * 2),
      mLedger(inSetup),
      mKills(inSetup.kills),
      mBreaks(inSetup.breaks),
      mExpiries(inSetup.expiries),
      mStalls(inSetup.stalls) {
    for (const Setup::Client& client : inSetup.clients) {
        Node& node = mWorld.Add(client.name, client.receives, client.interest);
        node.offline = client.joinsLater;
        mWorld.Run();
        node.offline = false;
    }
}

std::size_t Model::IndexOf(const std::string& inName) const {
    std::size_t index = 0;
    while (mSetup.clients[index].name != inName) {
        ++index;
    }
    return index;
}

std::optional<std::size_t> Model::NextMessage(std::size_t inClient) const {
    for (std::size_t i = 0; i != mSetup.messages.size(); ++i) {
        if (mSetup.messages[i].sender == inClient && !mLedger.Sent(i)) {
            return i;
        }
    }
    return std::nullopt;
}

/// The receiver as the sender knows it.
std::optional<wire::MemberId> Model::Find(std::size_t inClient, std::size_t inReceiver) {
    for (const auto& listed : At(inClient).Core().Peers().Receivers()) {
        if (listed.endPoint.appId == mSetup.clients[inReceiver].name) {
            return listed.member;
        }
    }
    return std::nullopt;
}

/// Counts on broadcasts from now on.
bool Model::Ready(std::size_t inClient) {
    Node& node = At(inClient);
    return node.alive && mSetup.clients[inClient].receives && ((mWithdrawn | mLeft) >> inClient & 1U) == 0 &&
           mWorld.Records().contains(node.Core().Member());
}
void Model::NoteGone() {
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        const wire::MemberId member = At(i).Core().Member();
        if (member != 0 && !mWorld.Records().contains(member)) {
            mLedger.OnForgotten(i);
        }
    }
}

void Model::Account() {
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        Node& node = At(i);
        for (auto& failure : node.Core().Sender().TakeFailures()) {
            node.failures.push_back(std::move(failure));
        }
        for (const std::string& text : node.received) {
            mLedger.OnReceived(i, NumberAfter(text, text.find(':') + 1));
        }
        for (const auto& failure : node.failures) {
            const std::size_t number = NumberAfter(failure.type, 1);
            if (failure.receiver.appId.empty()) {
                mLedger.OnFailedForAll(number, failure.kind);
            } else {
                mLedger.OnFailed(IndexOf(failure.receiver.appId), number, failure.kind);
            }
        }
        node.received.clear();
        node.failures.clear();
    }
}

std::uint64_t Model::Fingerprint() {
    Hash hash;
    AddWorld(hash, mWorld, mSetup);
    mLedger.AddTo(hash);
    hash.Add(std::uint64_t{mKills} << 24U | std::uint64_t{mBreaks} << 16U | std::uint64_t{mExpiries} << 8U |
             mStalls);
    hash.Add(std::uint64_t{mWithdrawn} << 40U | std::uint64_t{mDeaf} << 32U | mLeft << 24U | mChosen << 16U |
             mGone << 8U | mStuck);
    return hash.Value();
}

std::string Model::Broken() const {
    if (mLedger.Broken() != nullptr) {
        return std::string(mLedger.Broken()) + ": " + mLedger.Place();
    }
    return mWorld.troubles.empty() ? std::string() : mWorld.troubles.front();
}

std::string Model::LeftOver() {
    if (mStuck != 0) {
        return {};  // a fault is still to come
    }
    std::string left = mLedger.Missing();
    std::size_t staying = 0;
    for (std::size_t i = 0; left.empty() && i != mSetup.clients.size(); ++i) {
        if ((mGone >> i & 1U) == 0) {
            left = Left(i);
            ++staying;
        }
    }
    if (left.empty() && (mWorld.Broker().MemberCount() != staying || mWorld.Records().size() != staying ||
                         mWorld.Broker().Status().connections != staying)) {
        left = "a member or a connection is left over";
    }
    return left;
}

/// What a client that stays, or the broker for it, still has at the end.
std::string Model::Left(std::size_t inClient) {
    ClientCore& core = At(inClient).Core();
    const std::string& name = mSetup.clients[inClient].name;
    if (core.GetState() != ClientCore::State::kJoined) {
        return name + " is not back";
    }
    if (!core.Sender().NothingOwed()) {
        return name + " still keeps a message";
    }
    if (core.Receiver().HasInbound() || core.Receiver().InHand()) {
        return name + " still has a message to consume";
    }
    for (const auto& member : mWorld.Broker().Status().members) {
        if (member.member == core.Member() && (!member.connected || !member.busyLanes.empty())) {
            return "a lane of " + name + " is not at rest";
        }
    }
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        if (i != inClient && Ready(i) != Find(inClient, i).has_value()) {
            return name + " is wrong about the presence of " + mSetup.clients[i].name;
        }
    }
    return {};
}

}  // namespace orvane::plexa::test
