// What the core asks for: members are remembered and watched, connections closed, the status told.
#include <chrono>
#include <system_error>

#include "SwitchboardLine.h"

namespace orvane::plexa::broker {

namespace {

/// How long a connection that is to be closed may take to read the reason.
constexpr std::chrono::seconds kClosePatience{2};

}  // namespace

void Switchboard::PerformActions() {
    for (;;) {
        mCore.Settle(mNow);
        const std::vector<BrokerAction> actions = mCore.TakeActions();
        if (actions.empty()) return;
        for (const BrokerAction& action : actions) {
            std::visit([this](const auto& inAction) { Perform(inAction); }, action);
        }
    }
}

void Switchboard::Perform(const RecordMember& inAction) {
    const MemberRecord& record = inAction.record;
    try {
        mMembers.Write(record);
    } catch (const std::system_error& error) {
        // It can talk all the same; only a broker after this one would not know it.
        mLog.error("member {} cannot be remembered across a restart: {}", record.member, error.what());
    }
    const std::optional<ConnectionId> connection = mCore.ConnectionOf(record.member);
    Line* const line = connection ? Find(*connection) : nullptr;
    mLog.info("member {} joined: \"{}\" instance {}, process {}", record.member, Escaped(record.appId),
              record.instance, record.process.processId);
    if (line != nullptr) {
        WatchProcess(record.member, std::move(line->process.handle));
    } else if (std::optional<HeldProcess> process = HoldProcess(static_cast<pid_t>(record.process.processId));
               process && process->identity == record.process) {
        WatchProcess(record.member, std::move(process->handle));
    } else {
        mCore.OnProcessEnded(record.member, mNow);
    }
}

void Switchboard::Perform(const UpdateMember& inAction) {
    try {
        mMembers.Write(inAction.record);
    } catch (const std::system_error& error) {
        mLog.error("what changed of member {} cannot be remembered: {}", inAction.record.member,
                   error.what());
    }
}

void Switchboard::Perform(const EraseMember& inAction) {
    try {
        mMembers.Erase(inAction.member);
    } catch (const std::system_error& error) {
        mLog.error("member {} cannot be forgotten: {}", inAction.member, error.what());
    }
    const auto watched = mWatched.find(inAction.member);
    if (watched != mWatched.end()) {
        mPoller.Remove(watched->second.token);
        mWatched.erase(watched);
    }
    mLog.info("member {} is gone", inAction.member);
}

void Switchboard::Perform(const CloseConnection& inAction) {
    Line* const line = Find(inAction.connection);
    if (line == nullptr || line->closing) return;
    if (inAction.error != wire::WireError::kNone) {
        ReportFault(*line,
                    inAction.reason.empty() ? wire::Text(inAction.error) : std::string_view(inAction.reason));
    } else {
        mLog.debug("connection {} of process {} is closed: {}", line->id, line->process.identity.processId,
                   Escaped(inAction.reason));
    }
    if (!inAction.flushFirst) {
        Disconnect(inAction.connection);
        return;
    }
    line->closing = true;
    line->channel.StopReading();
    line->closeBy = mNow + kClosePatience;
    mClosing.push_back(line->id);
    Flush(*line);
}

void Switchboard::Perform(const StatusRequested& inAction) {
    if (Find(inAction.connection) != nullptr) mCore.SendStatus(inAction.connection, mStatusText());
}

void Switchboard::ReportFault(const Line& inLine, std::string_view inReason) {
    ++mTotals.faulty;
    mLog.warn("connection {} of process {} closed for a fault: {}", inLine.id,
              inLine.process.identity.processId, Escaped(inReason));
}

void Switchboard::RestoreMembers() {
    for (const MemberRecord& record : mMembers.Recorded()) {
        std::optional<HeldProcess> process = HoldProcess(static_cast<pid_t>(record.process.processId));
        if (process && process->identity == record.process) {
            mLog.info("member {} is expected back: \"{}\", process {}", record.member, Escaped(record.appId),
                      record.process.processId);
            mCore.Restore(record, mNow);
            WatchProcess(record.member, std::move(process->handle));
        } else {
            Perform(EraseMember{record.member});
        }
    }
}

void Switchboard::WatchProcess(wire::MemberId inMember, FileDescriptor inHandle) {
    const auto [place, added] = mWatched.try_emplace(inMember);
    if (!added) return;
    place->second.handle = std::move(inHandle);
    place->second.token = mPoller.Add(place->second.handle.Get(), EPOLLIN,
                                      [this, inMember](std::uint32_t) { OnProcessEnded(inMember); });
}

void Switchboard::OnProcessEnded(wire::MemberId inMember) {
    mPoller.Remove(mWatched.at(inMember).token);
    const std::optional<ConnectionId> connection = mCore.ConnectionOf(inMember);
    Line* const line = connection ? Find(*connection) : nullptr;
    if (line == nullptr) {
        mCore.OnProcessEnded(inMember, mNow);
        return;
    }
    line->endedMember = inMember;
    if (!line->ending) {
        line->ending = true;
        mEnding.push_back(line->id);
    }
}

}  // namespace orvane::plexa::broker
