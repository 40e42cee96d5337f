/// Makes what listeners see of what arrived. Delivery thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Envelope.h"
#include "PlexaMessage5/Message.h"
#include "ReceiverCore.h"
#include "SendFailure.h"

namespace orvane::plexa::message5 {

/// A message that this process sent to itself.
struct LocalMessage {
    std::string type;
    std::string payload;
};

class Inbox {
  public:
    /// One message object is used again and again, because most messages come from the same few senders with
    /// the same few types: the answer is valid until the next call, and as long as what it is made of.
    const api5::SuiteMessage& Make(const Delivery& inDelivery);
    const api5::SuiteMessage& Make(const LocalMessage& inMessage, const api5::EndPoint& inSelf);
    std::unique_ptr<const api5::ErrorMessage> Make(const SendFailure& inFailure,
                                                   const api5::EndPoint& inSelf);

  private:
    void SetOrigin(std::string_view inType, const api5::EndPoint& inSource, wire::MemberId inMember);

    EnvelopeCache mEnvelopes;
    api5::SuiteMessage mMessage{nullptr};
    wire::MemberId mMember = 0;  // whom mMessage comes from; 0: not another member
};

}  // namespace orvane::plexa::message5
