// What each step does.
#include "Inspector.h"
#include "Model.h"

namespace orvane::plexa::test {

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

/// The socket takes the first frames. False if nothing is left to wait.
bool Model::FlushFrames(Node& ioNode, std::size_t inFrames) {
    const std::string& pipe = Inspector::ToBroker(ioNode);
    ioNode.Write(0);
    for (std::size_t i = 0; i != inFrames && !ioNode.Core().Output().Empty(); ++i) {
        const std::size_t at = pipe.size();
        ioNode.Write(wire::kHeaderBytes);
        ioNode.Write(HeaderAt(pipe, at).length() - wire::kHeaderBytes);
    }
    Handle(ioNode, pipe.size());
    return !ioNode.Core().Output().Empty();
}

/// The first frames arrive. The rest waits, or, if nobody may come between, is lost with what follows: of no
/// interest unless somebody counts on it.
bool Model::FlushPart(std::size_t inClient, std::size_t inFrames) {
    Node& node = At(inClient);
    if (mSetup.splitWrites) {
        return FlushFrames(node, inFrames);
    }
    std::string& pipe = Inspector::ToBroker(node);
    node.Write();
    std::size_t first = 0;
    for (std::size_t i = 0; i != inFrames && first != pipe.size(); ++i) {
        first += HeaderAt(pipe, first).length();
    }
    bool matters = false;
    for (std::size_t at = first; at != pipe.size(); at += HeaderAt(pipe, at).length()) {
        const wire::FrameKind kind = HeaderAt(pipe, at).kind();
        matters |= kind == wire::FrameKind::Data || kind == wire::FrameKind::Leave;
    }
    if (!matters) {
        return false;
    }
    Handle(node, first);
    pipe.clear();
    mStuck |= 1U << inClient;
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
}  // namespace orvane::plexa::test
