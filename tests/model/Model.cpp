// What each step does, and what is owed for it.
#include "Model.h"

#include <charconv>

#include "Inspector.h"

namespace orvane::plexa::test {
namespace {

/// The broker grants no smaller window than this.
constexpr std::size_t kWindow = 4096;

std::size_t PayloadBytes(const Setup& inSetup) {
    return inSetup.window == 0 ? 1 : kWindow / inSetup.window - wire::kHeaderBytes * 2;
}

std::size_t NumberAfter(const std::string& inText, std::size_t inBegin) {
    std::size_t number = 0;
    std::from_chars(inText.data() + inBegin, inText.data() + inText.size(), number);
    return number;
}

}  // namespace

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

bool Model::Take(const Step& inStep) {
    const bool possible = inStep.Progress() ? TakeProgress(inStep) : TakeFault(inStep);
    for (const auto& node : mWorld.Nodes()) {
        mWorld.BrokerWrite(*node);
        if (!Inspector::HasLine(mWorld, *node)) {
            Inspector::ToBroker(*node).clear();
        }
    }
    NoteGone();
    Account();
    return possible;
}

bool Model::TakeProgress(const Step& inStep) {
    Node& node = At(inStep.client);
    switch (inStep.action) {
        case Action::kConnect:
            return Connect(node);
        case Action::kSend:
            return Send(inStep.client);
        case Action::kFlush:
            return Flush(inStep.client);
        case Action::kHandleRest:
            Handle(node, Inspector::ToBroker(node).size());
            return true;
        case Action::kRead:
            return ReadThroughNotice(node);
        case Action::kBeginDelivery:
            return BeginDelivery(node);
        case Action::kEndDelivery:
            return node.EndDelivery();
        case Action::kTick:
            mWorld.Elapse(mWorld.limits.reportDelay);
            return true;
        case Action::kExit:
            mWorld.Kill(node);
            return true;
        case Action::kBrokerNotices:
            mWorld.BreakAtBroker(node);
            return true;
        case Action::kClientNotices:
            ReadTaken(inStep);
            mWorld.BreakAtClient(node);
            return true;
        default:
            return false;
    }
}

bool Model::TakeFault(const Step& inStep) {
    Node& node = At(inStep.client);
    const unsigned bit = 1U << inStep.client;
    ReadTaken(inStep);
    switch (inStep.action) {
        case Action::kFlushPart:
            return FlushPart(inStep.client, inStep.count);
        case Action::kKill:
            --mKills;
            mStuck = 0;
            mDeaf = 0;
            mWorld.KillBroker();
            mWorld.StartBroker();
            return true;
        case Action::kBreak:
        case Action::kBreakAtClient:
        case Action::kBreakAtBroker:
            --mBreaks;
            mStuck &= ~bit;
            if (inStep.action != Action::kBreakAtClient) {
                mWorld.BreakAtBroker(node);
            }
            if (inStep.action != Action::kBreakAtBroker) {
                mWorld.BreakAtClient(node);
            } else {
                mDeaf |= bit;
            }
            return true;
        case Action::kExpire:
            --mExpiries;
            mWorld.Elapse(mWorld.limits.away);
            return true;
        case Action::kStall:
            --mStalls;
            mWorld.Elapse(mWorld.limits.stall);
            return true;
        case Action::kWithdraw:
            mWithdrawn |= bit;
            node.Core().StopReceiving();
            node.Core().Sender().HurryReports();
            mLedger.OnGone(inStep.client);
            return true;
        case Action::kLeave:
            Leave(inStep.client);
            return true;
        case Action::kEnd:
            mGone |= bit;
            mStuck &= ~bit;
            mLedger.OnEnded(inStep.client);
            mLedger.OnGone(inStep.client);
            mWorld.Kill(node);
            return true;
        case Action::kChoose:
            mChosen |= bit;
            node.Core().SetInterest(mSetup.choice);
            return true;
        default:
            return false;
    }
}

bool Model::Connect(Node& ioNode) {
    if (!ioNode.Connect()) {
        return false;
    }
    mDeaf &= ~(1U << IndexOf(ioNode.Name()));
    ioNode.Write();
    mWorld.BrokerRead(ioNode);
    mWorld.BrokerWrite(ioNode);
    ioNode.Read();
    ioNode.Write();
    mWorld.BrokerRead(ioNode);
    return true;
}

bool Model::Send(std::size_t inClient) {
    const auto number = NextMessage(inClient);
    const Setup::Message& message = mSetup.messages[*number];
    std::optional<wire::MemberId> receiver;
    if (message.receiver != kAll) {
        receiver = Find(inClient, message.receiver);
        if (!receiver) {
            return false;
        }
    }
    std::string text = std::to_string(*number);
    text.resize(PayloadBytes(mSetup), ' ');
    const auto verdict = At(inClient).SendTo(receiver, text, "m" + std::to_string(*number));
    if (verdict == message5::Admission::Verdict::kWait) {
        return true;  // and is tried again
    }
    unsigned ready = 0;
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        ready |= Ready(i) ? 1U << i : 0U;
    }
    mLedger.OnSent(*number, ready, verdict == message5::Admission::Verdict::kAccept);
    return true;
}

void Model::Handle(Node& ioNode, std::size_t inBytes) {
    std::string& pipe = Inspector::ToBroker(ioNode);
    while (inBytes != 0 && !pipe.empty()) {
        const std::size_t before = pipe.size();
        mWorld.BrokerRead(ioNode, inBytes);
        inBytes -= std::min(inBytes, before - pipe.size());
    }
}

bool Model::Flush(std::size_t inClient) {
    Node& node = At(inClient);
    std::string& pipe = Inspector::ToBroker(node);
    node.Write();
    if ((mStuck >> inClient & 1U) != 0 || !Inspector::HasLine(mWorld, node)) {
        pipe.clear();
        return true;
    }
    const bool any = !pipe.empty();
    Handle(node, pipe.size());
    return any;
}

/// The first frames arrive. The rest waits, or, if nobody may come between, is lost with what follows: of no
/// interest unless somebody counts on it.
bool Model::FlushPart(std::size_t inClient, std::size_t inFrames) {
    Node& node = At(inClient);
    std::string& pipe = Inspector::ToBroker(node);
    node.Write();
    std::size_t first = 0;
    for (std::size_t i = 0; i != inFrames && first != pipe.size(); ++i) {
        first += HeaderAt(pipe, first).length();
    }
    bool matters = mSetup.splitWrites && first != pipe.size();
    for (std::size_t at = first; at != pipe.size(); at += HeaderAt(pipe, at).length()) {
        const wire::FrameKind kind = HeaderAt(pipe, at).kind();
        matters |= kind == wire::FrameKind::Data || kind == wire::FrameKind::Leave;
    }
    if (!matters) {
        return false;
    }
    Handle(node, first);
    if (!mSetup.splitWrites) {
        pipe.clear();
        mStuck |= 1U << inClient;
    }
    return true;
}

void Model::ReadFrame(Node& ioNode) {
    const std::string& pipe = Inspector::ToClient(ioNode);
    const std::size_t rest = pipe.size() - HeaderAt(pipe, 0).length();
    while (ioNode.Connected() && pipe.size() > rest) {
        ioNode.Read(pipe.size() - rest);
    }
}

void Model::ReadTaken(const Step& inStep) {
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        for (unsigned left = inStep.taken[i]; left != 0; --left) {
            ReadFrame(At(i));
        }
    }
}

bool Model::ReadThroughNotice(Node& ioNode) {
    const std::string& pipe = Inspector::ToClient(ioNode);
    while (!pipe.empty()) {
        const bool notice = HeaderAt(pipe, 0).kind() != wire::FrameKind::Data;
        const bool snapshot =
            ioNode.Core().GetState() == ClientCore::State::kJoining && !mSetup.slowSnapshots;
        ReadFrame(ioNode);
        if (notice && (!snapshot || ioNode.Core().GetState() != ClientCore::State::kJoining)) {
            return true;
        }
    }
    return Inspector::ClosedByBroker(ioNode) && ioNode.Read();
}

bool Model::BeginDelivery(Node& ioNode) {
    const std::string& pipe = Inspector::ToClient(ioNode);
    bool any = false;
    while (!ioNode.Core().Receiver().HasInbound() && LeadingMessages(pipe) != 0) {
        ReadFrame(ioNode);
        any = true;
    }
    any |= ioNode.BeginDelivery();
    if (!mSetup.slowListeners) {
        ioNode.EndDelivery();
    }
    return any;
}

void Model::Leave(std::size_t inClient) {
    Node& node = At(inClient);
    mLeft |= 1U << inClient;
    mGone |= 1U << inClient;
    node.Core().Leave();
    Flush(inClient);
    mStuck &= ~(1U << inClient);
    mWorld.Break(node);
}

/// Who was forgotten by the broker has left, as far as broadcasts are concerned.
void Model::NoteGone() {
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        const wire::MemberId member = At(i).Core().Member();
        if (member != 0 && !mWorld.Records().contains(member)) {
            mLedger.OnGone(i);
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
    for (std::size_t i = 0; left.empty() && i != mSetup.clients.size(); ++i) {
        if ((mGone >> i & 1U) == 0) {
            left = Left(i);
        }
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
