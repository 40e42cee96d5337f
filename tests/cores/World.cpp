#include "World.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace orvane::plexa::test {

namespace {

std::span<const std::byte> Bytes(const std::string& inText) { return std::as_bytes(std::span(inText)); }

/// Takes up to inMost bytes out of a queue, in pieces as a socket would.
bool Drain(wire::OutputQueue& ioQueue, std::string& outPipe, std::size_t inMost) {
    bool moved = false;
    iovec piece{};
    while (inMost != 0 && ioQueue.Gather({&piece, 1}) != 0) {
        const std::size_t part = std::min(inMost, piece.iov_len);
        outPipe.append(static_cast<const char*>(piece.iov_base), part);
        ioQueue.Consume(part);
        inMost -= part;
        moved = true;
    }
    return moved;
}

/// Moves bytes from a pipe into a reader; returns how many.
std::size_t Feed(std::string& ioPipe, wire::FrameReader& ioReader, std::size_t inMost) {
    const auto space = ioReader.Space();
    const std::size_t part = std::min({inMost, ioPipe.size(), space.size()});
    std::memcpy(space.data(), ioPipe.data(), part);
    ioReader.Commit(part);
    ioPipe.erase(0, part);
    return part;
}

}  // namespace

Node::Node(World& inWorld, std::string inName, bool inReceives, wire::Interest inInterest)
    : mWorld(inWorld),
      mName(std::move(inName)),
      mProcess{inWorld.mNextProcess, inWorld.mNextProcess * 7ULL},
      mPool(inWorld.mBlock),
      mReadPool(inWorld.mBlock),
      mReader(mReadPool, inWorld.limits, wire::Direction::kToClient) {
    const wire::Nonce nonce{inWorld.mNextProcess, 1};
    mCore = std::make_unique<ClientCore>(
        inWorld.limits, mPool, message5::ClientSettings{mName, inReceives, std::move(inInterest), nonce});
    ++inWorld.mNextProcess;
}

message5::Admission::Verdict Node::Send(const std::string& inText, Node* inReceiver,
                                        const std::string& inType) {
    std::optional<wire::MemberId> receiver;
    if (inReceiver != nullptr) {
        receiver = inReceiver->Core().Member();
    }
    return SendTo(receiver, inText, inType);
}

message5::Admission::Verdict Node::SendTo(std::optional<wire::MemberId> inReceiver, const std::string& inText,
                                          const std::string& inType) {
    auto& sender = mCore->Sender();
    const auto admission = sender.Admit(inReceiver, inType.size(), inText.size(), true, mWorld.now);
    if (admission.verdict == message5::Admission::Verdict::kAccept) {
        sender.Send(inReceiver, inType, Bytes(inText));
    } else if (admission.verdict == message5::Admission::Verdict::kRefuse) {
        sender.Refuse(inReceiver, inType, admission);
    }
    Collect();
    return admission.verdict;
}

bool Node::Connect() {
    if (!alive || offline || mConnection != 0 || !mWorld.HasBroker() ||
        mCore->GetState() != ClientCore::State::kDisconnected) {
        return false;
    }
    mConnection = mWorld.mNextConnection++;
    mClosedByBroker = false;
    mReader.Reset();
    mWorld.mLines[mConnection] = {
        this, std::make_unique<wire::FrameReader>(mWorld.mPool, mWorld.limits, wire::Direction::kToBroker)};
    mWorld.mBroker->OnConnected(mConnection, mProcess, mWorld.now);
    mCore->OnConnected(mWorld.now);
    return true;
}

bool Node::Write(std::size_t inMost) {
    if (!alive || mConnection == 0) {
        return false;
    }
    mCore->Flush(mWorld.now);
    return Drain(mCore->Output(), mToBroker, inMost);
}

bool Node::Read(std::size_t inMost) {
    if (!alive || mConnection == 0) {
        return false;
    }
    const std::size_t part = Feed(mToClient, mReader, inMost);
    wire::Frame frame;
    while (mReader.Next(frame)) {
        const auto error = mCore->OnFrame(frame, mWorld.now);
        if (error != wire::WireError::kNone) {
            if (error != wire::WireError::kRefused) {
                mWorld.troubles.push_back(mName + " met an error: " + std::string(wire::Text(error)));
            }
            mWorld.Break(*this);
            return true;
        }
    }
    if (mReader.Error() != wire::WireError::kNone) {
        mWorld.troubles.push_back(mName + " cannot read: " + std::string(wire::Text(mReader.Error())));
    }
    Collect();
    if (part == 0 && mClosedByBroker) {
        Lost();
        return true;
    }
    return part != 0;
}

bool Node::Deliver() { return BeginDelivery() && EndDelivery(); }

bool Node::BeginDelivery() {
    if (!alive || stopped || mInHand) {
        return false;
    }
    mInHand = mCore->Receiver().Next();
    if (!mInHand) {
        return false;
    }
    const auto payload = mInHand->Payload();
    received.push_back(mInHand->Source().appId + ":" +
                       std::string(reinterpret_cast<const char*>(payload.data()), payload.size()));
    copies += mInHand->frame.Has(wire::FrameFlag::BroadcastCopy) ? 1 : 0;
    return true;
}

bool Node::EndDelivery() {
    if (!alive || !mInHand) {
        return false;
    }
    mCore->Receiver().Consumed(*mInHand, mWorld.now);
    mInHand.reset();
    return true;
}

void Node::Lost() {
    mConnection = 0;
    mToBroker.clear();
    mToClient.clear();
    mCore->OnConnectionLost(mWorld.now);
    Collect();
}

void Node::Collect() {
    for (auto& failure : mCore->Sender().TakeFailures()) {
        failures.push_back(std::move(failure));
    }
}

std::vector<std::string> Node::FailureTexts() const {
    std::vector<std::string> texts;
    for (const SendFailure& failure : failures) {
        texts.push_back(std::string(message5::ErrorText(failure.kind)) + "|" + message5::FaultText(failure));
    }
    return texts;
}

World::World(const wire::Limits& inLimits, std::size_t inBlock)
    : limits(inLimits), mBlock(inBlock), mPool(inBlock * 2) {
    StartBroker();
}

World::~World() {
    for (const std::string& trouble : troubles) {
        ADD_FAILURE() << trouble;
    }
}

Node& World::Add(const std::string& inName, bool inReceives, wire::Interest inInterest) {
    mNodes.push_back(std::make_unique<Node>(*this, inName, inReceives, std::move(inInterest)));
    return *mNodes.back();
}

Node& World::Join(const std::string& inName, bool inReceives, wire::Interest inInterest) {
    Node& node = Add(inName, inReceives, std::move(inInterest));
    Run();
    if (node.Core().GetState() != ClientCore::State::kJoined) {
        troubles.push_back(inName + " does not become a member");
    }
    return node;
}

bool World::BrokerRead(Node& ioNode, std::size_t inMost) {
    const auto found = mLines.find(ioNode.mConnection);
    if (!mBroker || found == mLines.end()) {
        return false;
    }
    wire::FrameReader& reader = *found->second.reader;
    const std::size_t part = Feed(ioNode.mToBroker, reader, inMost);
    wire::Frame frame;
    while (reader.Next(frame)) {
        mBroker->OnFrame(ioNode.mConnection, frame, now);
    }
    if (reader.Error() != wire::WireError::kNone) {
        mBroker->OnReaderError(ioNode.mConnection, reader.Error(), now);
    }
    if (part != 0) {
        mBroker->OnInputSettled(ioNode.mConnection, reader.Incomplete(), now);
        BrokerSettle();
    }
    return part != 0;
}

bool World::BrokerWrite(Node& ioNode, std::size_t inMost) {
    if (!mBroker || !mLines.contains(ioNode.mConnection)) {
        return false;
    }
    return Drain(mBroker->Output(ioNode.mConnection), ioNode.mToClient, inMost);
}

void World::BrokerSettle() {
    for (bool more = true; more;) {
        mBroker->Settle(now);
        const auto actions = mBroker->TakeActions();
        more = !actions.empty();
        for (const auto& action : actions) {
            if (const auto* record = std::get_if<broker::RecordMember>(&action)) {
                mRecords[record->record.member] = record->record;
            } else if (const auto* update = std::get_if<broker::UpdateMember>(&action)) {
                mRecords.at(update->record.member) = update->record;
            } else if (const auto* erase = std::get_if<broker::EraseMember>(&action)) {
                mRecords.erase(erase->member);
            } else if (const auto* close = std::get_if<broker::CloseConnection>(&action)) {
                Node& node = *mLines.at(close->connection).node;
                if (close->error != wire::WireError::kNone) {
                    closed.push_back(close->reason);
                }
                if (node.mConnection == close->connection) {
                    if (close->flushFirst) {
                        Drain(mBroker->Output(close->connection), node.mToClient, SIZE_MAX);
                    }
                    node.mClosedByBroker = true;
                    node.mToBroker.clear();
                }
                mBroker->OnDisconnected(close->connection, now);
                mLines.erase(close->connection);
            }
        }
    }
    mBroker->TakeWritable();
}

bool World::Advance() {
    bool moved = false;
    for (const auto& node : mNodes) {
        moved |= node->Connect();
        moved |= node->Write();
        moved |= BrokerRead(*node);
    }
    for (const auto& node : mNodes) {
        moved |= BrokerWrite(*node);
        moved |= node->Read();
        moved |= node->Deliver();
    }
    return moved;
}

void World::Run() {
    int rounds = 0;
    while (Advance()) {
        if (++rounds > 100'000) {
            troubles.emplace_back("the world does not come to rest");
            return;
        }
    }
}

void World::Elapse(wire::Duration inTime) {
    now += inTime;
    if (mBroker) {
        mBroker->Tick(now);
        BrokerSettle();
        NoteOverdue(mBroker->NextDeadline(), "the broker");
    }
    for (const auto& node : mNodes) {
        node->Core().Tick(now);
        node->Collect();
        NoteOverdue(node->Core().NextTick(), "a client");
    }
}

/// A driver would turn in circles, waiting for a moment that has passed.
void World::NoteOverdue(std::optional<wire::TimePoint> inNext, std::string_view inWho) {
    if (inNext && *inNext <= now) {
        troubles.push_back(std::string(inWho) + " asks for what was just done");
    }
}

void World::Pass(wire::Duration inTime) {
    Elapse(inTime);
    Run();
}

void World::Hand(Node& ioNode) {
    while (ioNode.Write() || BrokerRead(ioNode)) {
    }
}

void World::Exchange(Node& ioNode) {
    bool moved = true;
    while (moved) {
        moved = ioNode.Connect();
        moved |= ioNode.Write();
        moved |= BrokerRead(ioNode);
        moved |= BrokerWrite(ioNode);
        moved |= ioNode.Read();
    }
}

void World::KillBroker(bool inRestIsRead) {
    mLines.clear();
    mBroker.reset();
    for (const auto& node : mNodes) {
        while (inRestIsRead && node->Read()) {
        }
        if (node->mConnection != 0) {
            node->Lost();
        }
    }
}

void World::StartBroker() {
    mFirstMember += 1000;
    mBroker = std::make_unique<BrokerCore>(limits, mPool, mFirstMember);
    std::erase_if(mRecords, [&](const auto& inEntry) {
        return std::none_of(mNodes.begin(), mNodes.end(), [&](const auto& inNode) {
            return inNode->alive && inNode->mProcess == inEntry.second.process;
        });
    });
    for (const auto& [member, record] : mRecords) {
        mBroker->Restore(record, now);
    }
}

void World::Break(Node& ioNode) {
    BreakAtBroker(ioNode);
    BreakAtClient(ioNode);
}

void World::BreakAtClient(Node& ioNode) { ioNode.Lost(); }

void World::BreakAtBroker(Node& ioNode) {
    const auto line = std::find_if(mLines.begin(), mLines.end(),
                                   [&](const auto& inLine) { return inLine.second.node == &ioNode; });
    if (mBroker && line != mLines.end()) {
        const ConnectionId connection = line->first;
        ioNode.mClosedByBroker = connection == ioNode.mConnection;
        mLines.erase(line);
        mBroker->OnDisconnected(connection, now);
        BrokerSettle();
    }
}

void World::Kill(Node& ioNode) {
    while (BrokerRead(ioNode)) {
    }
    ioNode.alive = false;
    const auto record = std::find_if(mRecords.begin(), mRecords.end(), [&](const auto& inEntry) {
        return inEntry.second.process == ioNode.mProcess;
    });
    if (mBroker && record != mRecords.end()) {
        mBroker->OnProcessEnded(record->first, now);
        BrokerSettle();
    } else if (ioNode.mConnection != 0) {
        Break(ioNode);
    }
}

}  // namespace orvane::plexa::test
