// Lanes: routing, acknowledgements, reports.
#include "BrokerState.h"
#include "wire/Rules.h"

namespace orvane::plexa::broker {

using wire::FrameFlag;
using wire::LaneStart;
using wire::Sequence;
using wire::TimePoint;
using wire::WireError;

namespace {

/// However scarce memory is, a window of this size is granted; a frame alone may be larger.
constexpr std::size_t kLeastWindow = 4096;
constexpr std::size_t kReportsPerWindow = 4;

}  // namespace

BrokerCore::Lane& BrokerCore::AddLane(Connection& ioSender, Connection& ioReceiver,
                                      const wire::PeerNotice& inNotice) {
    auto added = std::make_unique<Lane>();
    Lane& lane = *added;
    lane.sender = &ioSender;
    lane.receiver = &ioReceiver;
    lane.window = mLimits.firstWindow;
    ioSender.lanes[ioReceiver.slot] = std::move(added);
    if (inNotice.lane == LaneStart::Open) {
        // Not what was routed last: a sender that expired may still bring older messages.
        lane.queued = inNotice.receiveFrom - 1;
        lane.consumed = lane.queued;
        SetAttached(lane, true);
    } else {
        lane.awaitsPosition = true;
        if (!wire::Holds(wire::Rule::kReturnedLanesWait)) {
            SetAttached(lane, true);
        }
    }
    return lane;
}

/// The senders hear last how far the receiver came.
void BrokerCore::RemoveLanesTo(Connection& ioReceiver) {
    for (const auto& [slot, sender] : mBySlot) {
        Lane* lane = sender->LaneTo(ioReceiver.slot);
        if (lane == nullptr) {
            continue;
        }
        if (lane->reporting) {
            WriteReport(*sender);
        }
        SetAttached(*lane, false);
        sender->lastLane = nullptr;
        sender->lanes.erase(ioReceiver.slot);
    }
    ioReceiver.activeLanes = 0;
}

void BrokerCore::SetAttached(Lane& ioLane, bool inAttached) {
    std::erase(ioLane.sender->plain, &ioLane);
    std::erase(ioLane.sender->choosing, &ioLane);
    ioLane.attached = inAttached;
    if (inAttached) {
        (ioLane.receiver->interest ? ioLane.sender->choosing : ioLane.sender->plain).push_back(&ioLane);
    }
}

void BrokerCore::SwitchLane(Connection& ioSender, wire::Slot inReceiver, bool inAttached) {
    if (Lane* lane = ioSender.LaneTo(inReceiver)) {
        SetAttached(*lane, inAttached);
    }
}

WireError BrokerCore::Route(Connection& ioSender, const wire::Frame& inFrame, TimePoint inNow) {
    wire::FrameHeader& header = inFrame.Header();
    const wire::Slot destination = header.destination();
    if (destination == wire::kNoSlot || destination == ioSender.slot) {
        return WireError::kBadAddress;
    }
    header.mutate_source(ioSender.slot);
    const Sequence sequence = header.sequence();
    if (destination == wire::kEveryone) {
        if (sequence <= ioSender.routed) {
            return WireError::kBadSequence;
        }
        RouteBroadcast(ioSender, inFrame, inNow);
        ioSender.routed = sequence;
        MarkReport(ioSender, nullptr, inNow);
    } else if (Lane* lane = ioSender.LaneTo(destination)) {
        if (inFrame.Has(FrameFlag::BroadcastCopy) && !lane->receiver->Wants(inFrame.Type())) {
            FlushRun();
            Filter(*lane, sequence, inNow);
        } else {
            ExtendRun(ioSender, lane, inFrame);
        }
    } else {
        ++mMessagesDropped;
    }
    ioSender.highest = std::max(ioSender.highest, sequence);
    if (inFrame.Has(FrameFlag::ReportSoon)) {
        ioSender.reportSoon = true;
    }
    ++mMessagesRouted;
    mBytesRouted += header.length();
    return WireError::kNone;
}

void BrokerCore::RouteBroadcast(Connection& ioSender, const wire::Frame& inFrame, TimePoint inNow) {
    if (!ioSender.plain.empty()) {
        ExtendRun(ioSender, nullptr, inFrame);
    }
    if (ioSender.choosing.empty()) {
        return;
    }
    // What was held together for one of these goes before.
    if (mRun->lane != nullptr) {
        FlushRun();
    }
    const Sequence sequence = inFrame.Header().sequence();
    for (Lane* lane : ioSender.choosing) {
        if (lane->receiver->Wants(inFrame.Type())) {
            Queue(*lane, *inFrame.buffer, inFrame.data, inFrame.Length(), sequence);
        } else {
            Filter(*lane, sequence, inNow);
        }
    }
}

void BrokerCore::ExtendRun(Connection& ioSender, Lane* inLane, const wire::Frame& inFrame) {
    Run& run = *mRun;
    if (run.sender != &ioSender || run.lane != inLane || run.buffer.get() != inFrame.buffer ||
        run.begin + run.length != inFrame.data) {
        FlushRun();
        run.sender = &ioSender;
        run.lane = inLane;
        run.buffer = wire::BufferRef(inFrame.buffer);
        run.begin = inFrame.data;
    }
    run.length += inFrame.Length();
    run.last = inFrame.Header().sequence();
}

void BrokerCore::FlushRun() {
    Run& run = *mRun;
    if (run.length == 0) {
        return;
    }
    if (run.lane != nullptr) {
        Queue(*run.lane, *run.buffer, run.begin, run.length, run.last);
    } else {
        for (Lane* lane : run.sender->plain) {
            Queue(*lane, *run.buffer, run.begin, run.length, run.last);
        }
    }
    run = Run{};
}

void BrokerCore::Queue(Lane& ioLane, wire::Buffer& inBuffer, const std::byte* inBytes, std::size_t inLength,
                       Sequence inLast) {
    Connection& receiver = *ioLane.receiver;
    receiver.output.Append(inBuffer, inBytes, inLength);
    MarkWritable(receiver);
    if (!wire::Holds(wire::Rule::kMessagesAreAcknowledged)) {
        return;
    }
    receiver.activeLanes += ioLane.inFlight == 0 ? 1 : 0;
    ioLane.inFlight += inLength;
    ioLane.queued = inLast;
    if (ioLane.inFlight > mLimits.laneOverrun && !ioLane.sender->overrunning) {
        ioLane.sender->overrunning = true;
        mOverrunning.push_back(ioLane.sender->id);
    }
}

/// A broadcast that the receiver does not want counts as consumed, but never before older ones that are on
/// the way.
void BrokerCore::Filter(Lane& ioLane, Sequence inSequence, TimePoint inNow) {
    ioLane.filtered = inSequence;
    if (ioLane.consumed >= ioLane.queued) {
        ioLane.consumed = std::max(ioLane.consumed, inSequence);
        MarkReport(*ioLane.sender, &ioLane, inNow);
    }
}

WireError BrokerCore::OnAck(Connection& ioReceiver, const wire::Frame& inFrame, TimePoint inNow) {
    std::span<const wire::AckEntry> entries;
    const WireError error = wire::Read(inFrame, entries);
    if (error != WireError::kNone) {
        return error;
    }
    for (const wire::AckEntry& entry : entries) {
        Connection* sender = FindSlot(entry.sender());
        Lane* lane = sender == nullptr ? nullptr : sender->LaneTo(ioReceiver.slot);
        if (lane == nullptr) {
            continue;
        }
        if (entry.consumed() > sender->highest) {
            return WireError::kBadPosition;
        }
        lane->consumed = std::max(lane->consumed, entry.consumed());
        std::size_t bytes = std::min<std::size_t>(entry.bytes(), lane->inFlight);
        if (lane->consumed >= lane->queued) {
            lane->consumed = std::max(lane->consumed, lane->filtered);
            bytes = lane->inFlight;
        }
        ioReceiver.activeLanes -= bytes != 0 && bytes == lane->inFlight ? 1 : 0;
        lane->inFlight -= bytes;
        sender->unreported += bytes;
        lane->unreported += bytes;
        // The sender hears in time, before a small window is used up.
        if (lane->unreported >= lane->window / kReportsPerWindow) {
            sender->reportSoon = true;
        }
        MarkReport(*sender, lane, inNow);
    }
    return WireError::kNone;
}

WireError BrokerCore::OnPosition(Connection& ioReceiver, const wire::Frame& inFrame) {
    wire::Position position;
    const WireError error = wire::Read(inFrame, position);
    if (error != WireError::kNone) {
        return error;
    }
    const wire::Slot destination = inFrame.Header().destination();
    Connection* sender = FindSlot(destination);
    Lane* lane = sender == nullptr ? nullptr : sender->LaneTo(ioReceiver.slot);
    if (lane == nullptr) {
        return WireError::kNone;
    }
    if (!lane->awaitsPosition) {
        return WireError::kOutOfOrder;
    }
    if (position.taken > sender->highest) {
        return WireError::kBadPosition;
    }
    lane->awaitsPosition = false;
    lane->queued = std::max(lane->queued, position.taken);
    lane->consumed = std::max(lane->consumed, position.consumed);
    wire::WritePosition(sender->output, mPool, ioReceiver.slot, destination, position);
    MarkWritable(*sender);
    return WireError::kNone;
}

void BrokerCore::MarkReport(Connection& ioSender, Lane* inLane, TimePoint inNow) {
    if (!wire::Holds(wire::Rule::kMessagesAreAcknowledged)) {
        return;
    }
    if (inLane != nullptr && !inLane->reporting) {
        inLane->reporting = true;
        ioSender.report.push_back(inLane);
    }
    if (!ioSender.reporting) {
        ioSender.reporting = true;
        ioSender.reportSince = inNow;
        mReporting.push_back(ioSender.id);
    }
}

void BrokerCore::WriteReport(Connection& ioSender) {
    std::vector<wire::ReportEntry> entries;
    entries.reserve(ioSender.report.size());
    for (Lane* lane : ioSender.report) {
        const std::uint32_t window = Window(*lane->receiver);
        entries.emplace_back(lane->receiver->slot, window, lane->consumed);
        lane->reporting = false;
        lane->unreported = 0;
        lane->window = window;
    }
    wire::WriteReport(ioSender.output, mPool, ioSender.routed, entries);
    ioSender.report.clear();
    ioSender.reportSoon = false;
    ioSender.unreported = 0;
    ioSender.reporting = false;
    std::erase(mReporting, ioSender.id);
    MarkWritable(ioSender);
}

void BrokerCore::WriteDueReports(TimePoint inNow) {
    const std::vector<ConnectionId> reporting = mReporting;
    for (const ConnectionId id : reporting) {
        Connection& sender = *Find(id);
        const std::size_t waiting = sender.output.ControlBytes();
        const bool ridesAlong = !sender.output.Empty();
        const bool due = ridesAlong || sender.reportSoon || sender.unreported >= mLimits.reportBytes ||
                         inNow >= sender.reportSince + mLimits.reportDelay;
        // A client that does not read gets no pile of reports: the next one says all that the missed ones
        // would have.
        if (due && sender.Joined() && waiting < mLimits.controlQueue / 4) {
            WriteReport(sender);
        }
    }
}

std::uint32_t BrokerCore::Window(const Connection& inReceiver) const {
    const std::size_t share = mLimits.receiverWindows / std::max<std::size_t>(inReceiver.activeLanes, 1);
    std::size_t window = std::min(share, mLimits.maxWindow);
    const std::size_t used = mPool.BytesInUse();
    if (used > mLimits.brokerMemory / 2) {
        const std::size_t left = mLimits.brokerMemory - std::min(used, mLimits.brokerMemory);
        window = std::min(window, window * left / (mLimits.brokerMemory / 2));
    }
    return static_cast<std::uint32_t>(std::max(window, kLeastWindow));
}

}  // namespace orvane::plexa::broker
