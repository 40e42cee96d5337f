/// What a sender knows of one receiver. Part of SenderCore.
#pragma once

#include "SenderCore.h"

namespace orvane::plexa::message5 {

/// A lane owes every kept broadcast above its floor, and the unicasts listed. Of these, all up to Written()
/// went out under its present slot, and all up to `highest` went out at some time.
struct SenderCore::Lane {
    LaneIndex index = 0;
    wire::MemberId member = 0;
    wire::EndPointInfo endPoint;
    wire::Slot slot = wire::kNoSlot;
    LaneState state = LaneState::kUnattached;
    bool seen = false;  // in the snapshot being received
    bool detachPending =
        false;  // the broker thinks it attached, and must hear otherwise before the next broadcast
    bool withdrawn = false;  // messages were given up: the next one to it says so

    wire::Sequence floor = 0;
    wire::Sequence written = 0;    // while not live; a live lane is written to up to the stream's place
    wire::Sequence highest = 0;    // while not live, likewise
    wire::Sequence confirmed = 0;  // when it was cut off: how far it had come
    wire::Sequence scanned = 0;    // no broadcast lies between `written` and here
    SequenceRanges unicasts;
    std::size_t unicastBytes = 0;     // of all of `unicasts`
    std::size_t unicastInFlight = 0;  // of those up to Written()
    std::uint64_t floorBytes = 0;     // broadcast bytes up to the floor
    std::uint64_t writtenBytes = 0;   // broadcast bytes up to `written`
    std::size_t window = 0;

    wire::TimePoint lastProgress{};
    std::optional<wire::TimePoint> fullSince;  // its arrears are full
    std::optional<wire::TimePoint> pinsSince;  // the log is full, partly of what it owes
    wire::TimePoint reprieve{};                // it is not cut off before this
};

}  // namespace orvane::plexa::message5
