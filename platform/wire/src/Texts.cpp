#include "wire/Limits.h"
#include "wire/WireError.h"

namespace orvane::plexa::wire {

std::string_view Text(WireError inError) noexcept {
    switch (inError) {
        case WireError::kNone:
            return "no error";
        case WireError::kFrameTooShort:
            return "a frame is shorter than its header";
        case WireError::kFrameTooLong:
            return "a frame is longer than allowed";
        case WireError::kFrameUnaligned:
            return "a frame's length is no multiple of 8";
        case WireError::kLengthsDisagree:
            return "a frame's lengths contradict each other";
        case WireError::kUnknownKind:
            return "a frame is of an unknown kind";
        case WireError::kWrongDirection:
            return "a frame's kind goes the other way";
        case WireError::kOutOfOrder:
            return "a frame came at a moment where its kind may not come";
        case WireError::kBadFlags:
            return "a frame has flags that its kind or the agreed features do not allow";
        case WireError::kBadBody:
            return "a frame's body has the wrong size or an impossible value";
        case WireError::kBadTable:
            return "a frame's table does not verify";
        case WireError::kBadMagic:
            return "the first frame is not a greeting of this protocol";
        case WireError::kNoCommonVersion:
            return "there is no protocol version that both sides speak";
        case WireError::kBadAppId:
            return "the application id is empty, too long, or contains a zero byte";
        case WireError::kBadInterest:
            return "the list of wanted message types is too long";
        case WireError::kBadSequence:
            return "a message has an impossible sequence number";
        case WireError::kBadAddress:
            return "a message has an impossible source or destination";
        case WireError::kWindowOverrun:
            return "more bytes were sent to one receiver than any window allows";
        case WireError::kBadPosition:
            return "an acknowledgement is beyond what was sent";
        case WireError::kSmallPayload:
            return "the broker takes smaller messages than this library promises its users to send";
        case WireError::kBadIdentity:
            return "a number belongs to another member";
        case WireError::kEndInsideFrame:
            return "the connection ended inside a frame";
        case WireError::kTooSlow:
            return "the greeting or the rest of a frame did not come in time";
        case WireError::kControlOverflow:
            return "too many control bytes waited to be read";
        case WireError::kMemoryPressure:
            return "the broker's memory was full, mostly of what waited for this client or came from it";
        case WireError::kRefused:
            return "the broker refused the connection";
    }
    return "an unknown error";
}

std::string_view Text(LimitName inName) noexcept {
    switch (inName) {
        case LimitName::kNone:
            return "none";
        case LimitName::kPayload:
            return "payload size";
        case LimitName::kTypeText:
            return "message type length";
        case LimitName::kLog:
            return "log";
        case LimitName::kLogReserve:
            return "log reserve";
        case LimitName::kArrears:
            return "arrears of one receiver";
    }
    return "an unknown limit";
}

}  // namespace orvane::plexa::wire
