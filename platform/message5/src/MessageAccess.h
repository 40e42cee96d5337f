/// The message library's own way to what messages hold.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "PlexaMessage5/Message.h"

namespace orvane::plexa::api5 {

class MessageAccess {
  public:
    static const std::string& Type(const PlexaMessage& inMessage) { return inMessage.mType; }
    /// The bytes up to the terminator, wherever they are. Valid while inMessage is and doesn't change.
    static std::string_view Payload(const SuiteMessage& inMessage) {
        return inMessage.mReceivedPayload.data() != nullptr ? inMessage.mReceivedPayload : inMessage.mPayload;
    }

    /// Makes ioMessage one of that type from that sender. inEnvelope is the envelope of just these.
    static void SetOrigin(PlexaMessage& ioMessage, std::string_view inType, const EndPoint& inSource,
                          std::shared_ptr<const std::string> inEnvelope) {
        ioMessage.mType = inType;
        ioMessage.mSource = inSource;
        ioMessage.SetEnvelope(std::move(inEnvelope));
    }
    /// inPayload isn't copied and contains no NUL; a null view takes it back.
    static void SetReceivedPayload(SuiteMessage& ioMessage, std::string_view inPayload) {
        ioMessage.mReceivedPayload = inPayload;
    }
};

}  // namespace orvane::plexa::api5
