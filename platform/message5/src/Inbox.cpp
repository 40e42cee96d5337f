#include "Inbox.h"

#include "MessageAccess.h"

namespace orvane::plexa::message5 {

using api5::MessageAccess;

namespace {

/// Types and payloads are NUL-terminated texts to listeners, whatever a sender put into the frame.
std::string_view Text(std::string_view inBytes) { return inBytes.substr(0, inBytes.find('\0')); }

std::string_view Text(std::span<const std::byte> inBytes) {
    return Text(std::string_view(reinterpret_cast<const char*>(inBytes.data()), inBytes.size()));
}

}  // namespace

void Inbox::SetOrigin(std::string_view inType, const api5::EndPoint& inSource, wire::MemberId inMember) {
    MessageAccess::SetOrigin(mMessage, inType, inSource, mEnvelopes.Get(inType, inSource));
    mMember = inMember;
}

const api5::SuiteMessage& Inbox::Make(const Delivery& inDelivery) {
    const std::string_view type = Text(inDelivery.Type());
    const wire::MemberId member = inDelivery.origin->member;
    if (mMember != member || MessageAccess::Type(mMessage) != type) {
        const wire::EndPointInfo& source = inDelivery.Source();
        SetOrigin(type, {source.appId.c_str(), source.instance, static_cast<std::int32_t>(source.processId)},
                  member);
    }
    MessageAccess::SetReceivedPayload(mMessage, Text(inDelivery.Payload()));
    return mMessage;
}

const api5::SuiteMessage& Inbox::Make(const LocalMessage& inMessage, const api5::EndPoint& inSelf) {
    SetOrigin(inMessage.type, inSelf, 0);
    MessageAccess::SetReceivedPayload(mMessage, inMessage.payload);
    return mMessage;
}

std::unique_ptr<const api5::ErrorMessage> Inbox::Make(const SendFailure& inFailure,
                                                      const api5::EndPoint& inSelf) {
    auto error = std::make_unique<api5::ErrorMessage>(
        inFailure.type.c_str(), std::string(ErrorText(inFailure.kind)).c_str(), FaultText(inFailure).c_str());
    MessageAccess::SetOrigin(*error, inFailure.type, inSelf, mEnvelopes.Get(inFailure.type, inSelf));
    return error;
}

}  // namespace orvane::plexa::message5
