#include "Switchboard.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include <sys/epoll.h>

#include "SwitchboardLine.h"

namespace orvane::plexa::broker {

namespace {

constexpr std::size_t kReadBytes = std::size_t{256} << 10U;
/// How much may still be read from a process that has ended; more than a socket holds.
constexpr std::size_t kLastInputBytes = std::size_t{16} << 20U;

/// Grows from broker to broker also when no file tells what the last one gave out. This clock cannot be set
/// back, and whoever might mistake a number for an older one has been started since it began.
wire::MemberId FirstMember(const MembersFile& inMembers) {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    const auto clock = std::chrono::duration_cast<std::chrono::nanoseconds>(sinceStart).count();
    return std::max(inMembers.NextMember(), static_cast<wire::MemberId>(clock));
}

}  // namespace

Switchboard::Switchboard(const wire::Limits& inLimits, Poller& inPoller, MembersFile& inMembers, Log& inLog,
                         StatusText inStatusText)
    : mLimits(inLimits),
      mPoller(inPoller),
      mMembers(inMembers),
      mLog(inLog),
      mStatusText(std::move(inStatusText)),
      mPool(kReadBytes),
      mCore(inLimits, mPool, FirstMember(inMembers)),
      mNow(std::chrono::steady_clock::now()),
      mCompactAbove(inLimits.brokerMemory / 4) {
    RestoreMembers();
    mDeadline = ComputeDeadline();
}

Switchboard::~Switchboard() {
    for (const auto& [id, line] : mLines) mPoller.Remove(line->token);
    for (const auto& [member, watched] : mWatched) mPoller.Remove(watched.token);
}

Switchboard::Line* Switchboard::Find(ConnectionId inConnection) const {
    const auto found = mLines.find(inConnection);
    return found != mLines.end() ? found->second.get() : nullptr;
}

void Switchboard::Admit(FileDescriptor inSocket) {
    const std::optional<Credentials> peer = PeerCredentials(inSocket.Get());
    if (!peer) return;  // not a socket with a process at its other end: nobody to answer
    if (peer->user != ::geteuid()) {
        TurnAway(std::move(inSocket), *peer, wire::RefuseCode::User, "this broker serves another user");
        return;
    }
    std::optional<HeldProcess> process;
    if (peer->process > 0) process = HoldProcess(peer->process);
    if (!process) {
        const bool exhausted = errno == EMFILE || errno == ENFILE;
        TurnAway(std::move(inSocket), *peer,
                 exhausted ? wire::RefuseCode::Connections : wire::RefuseCode::User,
                 exhausted ? "no file descriptor is left" : "the broker cannot identify the process");
        return;
    }
    const ConnectionId id = ++mLastConnection;
    const ProcessIdentity identity = process->identity;
    auto line = std::make_unique<Line>(id, Channel(std::move(inSocket), mPool, mLimits), std::move(*process));
    line->token = mPoller.Add(line->channel.Descriptor(), EPOLLIN,
                              [this, id](std::uint32_t inEvents) { OnEvents(id, inEvents); });
    mLines.emplace(id, std::move(line));
    ++mTotals.accepted;
    mLog.debug("connection {} of process {} accepted", id, identity.processId);
    mCore.OnConnected(id, identity, mNow);
}

void Switchboard::TurnAway(FileDescriptor inSocket, const Credentials& inPeer, wire::RefuseCode inCode,
                           const std::string& inReason) {
    ++mTotals.refused;
    mLog.warn("connection of user {} process {} refused: {}", inPeer.user, inPeer.process, inReason);
    wire::OutputQueue answer;
    wire::Write(answer, mPool, wire::Refusal{inCode, inReason});
    Channel(std::move(inSocket), mPool, mLimits).Write(answer);
}

void Switchboard::OnEvents(ConnectionId inConnection, std::uint32_t inEvents) {
    Line* const line = Find(inConnection);
    if ((inEvents & EPOLLOUT) != 0) {
        line->blocked = false;
        mUnblocked.push_back(inConnection);
    }
    if ((inEvents & ~std::uint32_t{EPOLLOUT}) == 0) return;
    // With reading switched off, all that is left to happen is the peer's end.
    if (line->closing || mWindingUp || ReadOnce(*line) == ReadResult::kEnd) Disconnect(inConnection);
}

ReadResult Switchboard::ReadOnce(Line& inLine) {
    const ReadResult result = inLine.channel.Read();
    wire::FrameReader& reader = inLine.channel.Reader();
    wire::Frame frame;
    bool progress = false;
    while (reader.Next(frame)) {
        mCore.OnFrame(inLine.id, frame, mNow);
        progress = true;
    }
    inLine.channel.Rest();
    if (reader.Error() != wire::WireError::kNone) {
        mCore.OnReaderError(inLine.id, reader.Error(), mNow);
    } else if (result == ReadResult::kEnd && reader.Incomplete()) {
        ReportFault(inLine, wire::Text(wire::WireError::kEndInsideFrame));
    } else if (result != ReadResult::kFull) {
        // A stream may end inside a frame at every single read; only the same frame may not take for ever.
        if (progress) mCore.OnInputSettled(inLine.id, 0, mNow);
        mCore.OnInputSettled(inLine.id, reader.HeldBytes(), mNow);
    }
    return result;
}

void Switchboard::Flush(Line& inLine) {
    wire::OutputQueue& output = mCore.Output(inLine.id);
    const WriteResult result = inLine.broken ? WriteResult::kBroken : inLine.channel.Write(output);
    inLine.blocked = result == WriteResult::kBlocked;
    if (result == WriteResult::kBroken) {
        inLine.broken = true;
        output.Clear();
        // It may have written its last messages before it stopped reading.
        if (!inLine.ending && !inLine.closing) {
            inLine.ending = true;
            mEnding.push_back(inLine.id);
        }
    }
    if (inLine.closing && !inLine.blocked) {
        Disconnect(inLine.id);
    } else {
        UpdateInterest(inLine);
    }
}

void Switchboard::UpdateInterest(Line& inLine) {
    const bool reading = !inLine.closing && !mWindingUp;
    const std::uint32_t interest = (reading ? EPOLLIN : 0U) | (inLine.blocked ? EPOLLOUT : 0U);
    if (interest == inLine.interest) return;
    inLine.interest = interest;
    mPoller.Change(inLine.token, interest);
}

void Switchboard::Disconnect(ConnectionId inConnection) {
    const auto found = mLines.find(inConnection);
    if (found == mLines.end()) return;
    mPoller.Remove(found->second->token);
    mLog.debug("connection {} of process {} closed", inConnection, found->second->process.identity.processId);
    // Whoever holds the socket of an ended process may have closed it before the end was dealt with.
    if (found->second->endedMember) mCore.OnProcessEnded(*found->second->endedMember, mNow);
    mCore.OnDisconnected(inConnection, mNow);
    mLines.erase(found);
}

void Switchboard::ReadLastInput() {
    for (const ConnectionId id : std::exchange(mEnding, {})) {
        Line* line = Find(id);
        if (line == nullptr || line->closing) continue;
        for (std::size_t left = kLastInputBytes; left >= kReadBytes; left -= kReadBytes) {
            const ReadResult result = ReadOnce(*line);
            if (result == ReadResult::kNothing || result == ReadResult::kEnd ||
                line->channel.Reader().Error() != wire::WireError::kNone) {
                break;
            }
        }
        Disconnect(id);
    }
}

void Switchboard::CloseOverdue() {
    for (const ConnectionId id : std::exchange(mClosing, {})) {
        const Line* line = Find(id);
        if (line == nullptr) continue;
        if (line->closeBy <= mNow) {
            Disconnect(id);
        } else {
            mClosing.push_back(id);
        }
    }
}

void Switchboard::CompactBlocked() {
    if (mPool.BytesInUse() <= mCompactAbove) return;
    for (const auto& [id, line] : mLines) {
        if (line->blocked) mCore.OnWriteBlocked(id);
    }
    // What is really needed stays: no new attempt before it has grown again.
    mCompactAbove = std::max(mLimits.brokerMemory / 4, mPool.BytesInUse() + mLimits.brokerMemory / 8);
}

void Switchboard::FinishRound() {
    ReadLastInput();
    CloseOverdue();
    if (mDeadline && *mDeadline <= mNow) mCore.Tick(mNow);
    CompactBlocked();
    for (;;) {
        PerformActions();
        std::vector<ConnectionId> writable = mCore.TakeWritable();
        writable.insert(writable.end(), mUnblocked.begin(), mUnblocked.end());
        mUnblocked.clear();
        if (writable.empty()) break;
        for (const ConnectionId id : writable) {
            Line* line = Find(id);
            // A blocked one is written when the socket says so.
            if (line != nullptr && !line->blocked) Flush(*line);
        }
    }
    mDeadline = ComputeDeadline();
}

std::optional<wire::TimePoint> Switchboard::ComputeDeadline() const {
    std::optional<wire::TimePoint> deadline = mCore.NextDeadline();
    const auto consider = [&deadline](wire::TimePoint inTime) { deadline = wire::Earlier(deadline, inTime); };
    if (!mEnding.empty()) consider(mNow);
    for (const ConnectionId id : mClosing) {
        if (const Line* line = Find(id)) consider(line->closeBy);
    }
    return deadline;
}

void Switchboard::WindUp() {
    mWindingUp = true;
    mCore.StopAdmitting();
    for (const auto& [id, line] : mLines) UpdateInterest(*line);
}

bool Switchboard::AllWritten() const {
    return std::none_of(mLines.begin(), mLines.end(),
                        [](const auto& inEntry) { return inEntry.second->blocked; });
}

}  // namespace orvane::plexa::broker
