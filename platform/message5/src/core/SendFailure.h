/// Messages that cannot be delivered as promised, as the sender is told of them. Plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "wire/Limits.h"
#include "wire/Types.h"

namespace orvane::plexa::message5 {

/// What is known about a message that cannot be promised any more.
enum class FailureKind : std::uint8_t {
    /// The receiver did not get it and will not.
    kNotDelivered,
    /// The receiver may have handled it or may still do so; it is not sent again.
    kNotConfirmed,
};

/// Why a message failed.
enum class FailureReason : std::uint8_t {
    /// The receiver's process ended.
    kEnded,
    /// The receiver took leave.
    kLeft,
    /// The receiver's process joined anew.
    kReplaced,
    /// The receiver stayed away too long.
    kExpired,
    /// The receiver was no member any more when this process came back to the broker; why, nobody can say.
    kGone,
    /// The receiver made no progress while its sender's memory was full.
    kCutOff,
    /// This process stayed away from the broker too long and had to join anew.
    kSelfExpired,
    /// This process takes leave and cannot wait any longer.
    kLeaving,
    /// A bound was reached; `limit` names it.
    kLimit,
    /// No end point has that number.
    kUnknownReceiver,
};

/// One failed message for one receiver.
struct SendFailure {
    FailureKind kind = FailureKind::kNotDelivered;
    FailureReason reason = FailureReason::kEnded;
    wire::LimitName limit = wire::LimitName::kNone;
    /// The receiver; empty for a refused broadcast.
    wire::EndPointInfo receiver;
    std::string type;

    /// What it takes in memory.
    std::size_t Bytes() const noexcept { return sizeof(SendFailure) + receiver.appId.size() + type.size(); }
};

/// "Not delivered" or "Delivery not confirmed".
std::string_view ErrorText(FailureKind inKind) noexcept;
/// One line for a user: who, why, and the limit's name.
std::string FaultText(const SendFailure& inFailure);

}  // namespace orvane::plexa::message5
