#include "SendFailure.h"

namespace orvane::plexa::message5 {

namespace {

std::string Reason(const SendFailure& inFailure) {
    switch (inFailure.reason) {
        case FailureReason::kEnded:
            return "its process ended";
        case FailureReason::kLeft:
            return "it has left";
        case FailureReason::kReplaced:
            return "its process has joined anew";
        case FailureReason::kExpired:
            return "it stayed away too long";
        case FailureReason::kGone:
            return "it was no member any more when this process came back to the broker";
        case FailureReason::kCutOff:
            return "it was cut off because it made no progress while messages waited for it";
        case FailureReason::kSelfExpired:
            return "this process stayed away from the broker too long";
        case FailureReason::kLeaving:
            return "this process is leaving and cannot wait any longer";
        case FailureReason::kLimit:
            return "the limit \"" + std::string(wire::Text(inFailure.limit)) + "\" was reached";
        case FailureReason::kUnknownReceiver:
            return "no such end point is known";
    }
    return "unknown reason";
}

}  // namespace

std::string_view ErrorText(FailureKind inKind) noexcept {
    return inKind == FailureKind::kNotDelivered ? "Not delivered" : "Delivery not confirmed";
}

std::string FaultText(const SendFailure& inFailure) {
    const std::string& appId = inFailure.receiver.appId;
    return (appId.empty() ? std::string("every end point") : appId) + ": " + Reason(inFailure);
}

}  // namespace orvane::plexa::message5
