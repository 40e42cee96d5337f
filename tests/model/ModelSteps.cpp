// Which steps are possible.
#include <bit>

#include "Inspector.h"
#include "Model.h"
#include "StateInspector.h"

namespace orvane::plexa::test {

namespace {

/// Frames of one write that can arrive before the rest is lost.
constexpr std::uint8_t kMostParts = 4;

}  // namespace

void Model::Steps(std::vector<Step>& outSteps) {
    outSteps.clear();
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        if (At(i).alive) {
            ClientSteps(i, outSteps);
        }
    }
    const auto deadline = mWorld.Broker().NextDeadline();
    if (deadline && *deadline <= mWorld.now + mWorld.limits.reportDelay) {
        outSteps.push_back({Action::kTick, 0, 0, {}});
    }
    FaultSteps(outSteps);
}

void Model::ClientSteps(std::size_t inClient, std::vector<Step>& outSteps) {
    Node& node = At(inClient);
    const auto client = static_cast<std::uint8_t>(inClient);
    const auto add = [&](Action inAction) { outSteps.push_back({inAction, client, 0, {}}); };
    const std::string& inbound = Inspector::ToClient(node);
    if (Inspector::InHand(node)) {
        add(Action::kEndDelivery);
    } else if (node.Core().Receiver().HasInbound() || LeadingMessages(inbound) != 0) {
        add(Action::kBeginDelivery);
    }
    if (NextMessage(inClient) && ((mWithdrawn | mLeft) >> inClient & 1U) == 0) {
        add(Action::kSend);
    }
    if (Inspector::HasStaleLine(mWorld, node)) {
        add(Action::kBrokerNotices);
    }
    if (!node.Connected()) {
        add((mLeft >> inClient & 1U) == 0 ? Action::kConnect : Action::kExit);
        return;
    }
    if (!inbound.empty() || Inspector::ClosedByBroker(node)) {
        add(Action::kRead);
    }
    if ((mDeaf >> inClient & 1U) != 0) {
        WithTaken({Action::kClientNotices, client, 0, {}}, inClient, inClient + 1, outSteps);
    }
    if (mSetup.window != 0 || message5::StateInspector::MayWrite(node.Core())) {
        add(Action::kFlush);
    }
}

bool Model::MayBreak() const { return mKills != 0 || mBreaks > static_cast<unsigned>(std::popcount(mStuck)); }

/// inStep with every number of messages that the clients from inFirst on may have read before.
void Model::WithTaken(const Step& inStep, std::size_t inFirst, std::size_t inEnd,
                      std::vector<Step>& outSteps) {
    if (inFirst == inEnd || inFirst == kMostClients) {
        outSteps.push_back(inStep);
        return;
    }
    const std::size_t most = At(inFirst).alive ? LeadingMessages(Inspector::ToClient(At(inFirst))) : 0;
    Step step = inStep;
    for (std::size_t count = 0; count <= most; ++count) {
        step.taken[inFirst] = static_cast<std::uint8_t>(count);
        WithTaken(step, inFirst + 1, inEnd, outSteps);
    }
}

void Model::FaultSteps(std::vector<Step>& outSteps) {
    if (mKills != 0) {
        WithTaken({Action::kKill, 0, 0, {}}, 0, mSetup.clients.size(), outSteps);
    }
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        const auto client = static_cast<std::uint8_t>(i);
        const bool stuck = (mStuck >> i & 1U) != 0;
        if (!At(i).alive) {
            continue;
        }
        LeavingSteps(i, outSteps);
        if (!At(i).Connected() || !Inspector::HasLine(mWorld, At(i))) {
            continue;
        }
        if (!stuck && (mSetup.splitWrites || MayBreak()) &&
            message5::StateInspector::MayWrite(At(i).Core())) {
            for (std::uint8_t parts = 0; parts != kMostParts; ++parts) {
                outSteps.push_back({Action::kFlushPart, client, parts, {}});
            }
        }
        if (mBreaks != 0 && (stuck || MayBreak())) {
            WithTaken({Action::kBreak, client, 0, {}}, i, i + 1, outSteps);
            if (mSetup.unevenBreaks) {
                WithTaken({Action::kBreakAtClient, client, 0, {}}, i, i + 1, outSteps);
                outSteps.push_back({Action::kBreakAtBroker, client, 0, {}});
            }
        }
    }
    if (mExpiries != 0 && Away()) {
        outSteps.push_back({Action::kExpire, 0, 0, {}});
    }
    if (mStalls != 0) {
        outSteps.push_back({Action::kStall, 0, 0, {}});
    }
}

bool Model::Away() {
    for (const auto& member : mWorld.Broker().Status().members) {
        if (!member.connected) {
            return true;
        }
    }
    return false;
}

void Model::LeavingSteps(std::size_t inClient, std::vector<Step>& outSteps) {
    const auto add = [&](Action inAction) {
        outSteps.push_back({inAction, static_cast<std::uint8_t>(inClient), 0, {}});
    };
    const auto in = [&](unsigned inSet) { return (inSet >> inClient & 1U) != 0; };
    ClientCore& core = At(inClient).Core();
    if (in(mSetup.leavers) && !in(mWithdrawn)) {
        add(Action::kWithdraw);
    }
    if (in(mWithdrawn) && !in(mLeft) && !core.Receiver().InHand() &&
        (mSetup.impatient ||
         (core.Sender().NothingOwed() && core.GetState() == ClientCore::State::kJoined))) {
        add(Action::kLeave);
    }
    if (in(mSetup.enders)) {
        add(Action::kEnd);
    }
    if (in(mSetup.choosers) && !in(mChosen)) {
        add(Action::kChoose);
    }
}

std::string Model::Text(const Step& inStep) const {
    static constexpr std::array<const char*, 21> kTexts = {
        "connects",
        "sends",
        "writes, and all of it arrives",
        "reads on through the next notice",
        "is called with a message",
        "returns from its listener",
        "",
        "is known to the broker to have lost its connection",
        "learns that its connection is lost",
        "has left, and its process ends",
        "writes only in part; frames: ",
        "",
        "loses its connection",
        "loses its connection, and the broker does not know",
        "is disconnected by the broker, and does not know",
        "",
        "",
        "withdraws as a receiver",
        "leaves",
        "ends",
        "chooses its interest",
    };
    std::string text;
    switch (inStep.action) {
        case Action::kTick:
            text = "reports are due";
            break;
        case Action::kKill:
            text = "the broker is killed";
            break;
        case Action::kExpire:
            text = "those away expire";
            break;
        case Action::kStall:
            text = "nothing moves for too long";
            break;
        default:
            text = mSetup.clients[inStep.client].name + ' ' + kTexts[static_cast<std::size_t>(inStep.action)];
            break;
    }
    if (inStep.action == Action::kFlushPart) {
        text += std::to_string(inStep.count);
    }
    for (std::size_t i = 0; i != mSetup.clients.size(); ++i) {
        if (inStep.taken[i] != 0) {
            text += "; " + mSetup.clients[i].name + " has read " + std::to_string(inStep.taken[i]);
        }
    }
    return text;
}

}  // namespace orvane::plexa::test
