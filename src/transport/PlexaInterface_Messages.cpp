// Sending and receiving single messages.
#include <algorithm>
#include <cstring>
#include <string>

#include "nuocore/Assertion.h"
#include "transport/EnvelopeCache.h"
#include "transport/PlexaInterface.h"

namespace nuoplexasupport {

namespace api = orvane::plexa::api5;
using nuocore::thread::ScopedLock;

namespace {

constexpr std::uint32_t kLockTimeoutMilliseconds = 60000;

// One delivered message, in parts.
struct ReceivedPlexaMessage {
    std::string mText;
    std::shared_ptr<const ParsedEnvelope> mEnvelope;
    std::string mPayload;
    std::string mError;
    std::string mFault;
};

// Fetches a text whose size counts its terminator; a size of 0 means no text at all.
template <typename Message>
std::string FetchText(const Message& inMessage, std::size_t (Message::*inSize)() const,
                      void (Message::*inCopy)(char*) const) {
    const std::size_t size = (inMessage.*inSize)();
    if (size == 0) {
        return {};
    }
    std::string text(size, '\0');
    (inMessage.*inCopy)(text.data());
    // The last byte is the terminator's, whatever was put there.
    text.erase(std::min(text.find('\0'), size - 1));
    return text;
}

std::string FetchSenderAppId(const api::PlexaMessage& inMessage) {
    std::string buffer(inMessage.GetAppIdSize() + 1, '\0');
    inMessage.GetAppId(buffer.data());
    buffer.resize(std::strlen(buffer.c_str()));
    return buffer;
}

// The same buffer serves a whole walk over the end points.
bool HasAppId(const api::EndPoint& inEndPoint, const std::string& inAppId, std::string& ioBuffer) {
    ioBuffer.resize(inEndPoint.GetAppIdSize());
    inEndPoint.GetAppId(ioBuffer.data());
    return std::strcmp(ioBuffer.c_str(), inAppId.c_str()) == 0;
}

ReceivedPlexaMessage Unpack(const api::PlexaMessage& inMessage) {
    thread_local EnvelopeCache sEnvelopes;
    ReceivedPlexaMessage received;
    received.mText =
        FetchText(inMessage, &api::PlexaMessage::GetMessageTextSize, &api::PlexaMessage::GetMessageText);
    received.mEnvelope = sEnvelopes.Parse(received.mText);
    if (const auto* suite = dynamic_cast<const api::SuiteMessage*>(&inMessage)) {
        received.mPayload =
            FetchText(*suite, &api::SuiteMessage::GetPayloadSize, &api::SuiteMessage::GetPayload);
    } else if (const auto* error = dynamic_cast<const api::ErrorMessage*>(&inMessage)) {
        received.mError = FetchText(*error, &api::ErrorMessage::GetErrorSize, &api::ErrorMessage::GetError);
        received.mFault = FetchText(*error, &api::ErrorMessage::GetFaultSize, &api::ErrorMessage::GetFault);
    }
    return received;
}

}  // namespace

void PlexaInterface::Send(const std::string& inMessageType, const std::string& inPayload,
                          const std::string& inDestinationAppId) {
    api::IPlexaMessageDispatcher* dispatcher = nullptr;
    {
        const ScopedLock lock(mMutex, "nuoplexasupport::PlexaInterface::Send", kLockTimeoutMilliseconds);
        if (!mReady) {
            mPending.push_back({inMessageType, inPayload, inDestinationAppId});
            return;
        }
        dispatcher = mDispatcher;
    }
    if (dispatcher != nullptr) {
        DeliverSuiteMessage(*dispatcher, inMessageType, inPayload, FindEndPoint(inDestinationAppId));
    }
}

api::EndPoint PlexaInterface::FindEndPoint(std::string inAppId) const {
    api::EndPoint result = api::EndPoint::INVALID_ENDPOINT;
    // An empty app id, also one that begins with NUL, names nobody.
    if (*inAppId.c_str() == '\0') {
        return result;
    }
    const boost::shared_ptr<const EndPointList> endPoints = mEndPoints.load();
    std::string buffer;
    const auto found =
        std::find_if(endPoints->begin(), endPoints->end(),
                     [&](const api::EndPoint& inEndPoint) { return HasAppId(inEndPoint, inAppId, buffer); });
    if (found != endPoints->end()) {
        result = *found;
    }
    return result;
}

void PlexaInterface::DeliverSuiteMessage(api::IPlexaMessageDispatcher& inDispatcher,
                                         const std::string& inMessageType, const std::string& inPayload,
                                         const api::EndPoint& inDestination) {
    const api::EndPoint self = inDispatcher.GetSelfEndPoint();
    api::SuiteMessage message(inMessageType.c_str());
    message.SetPayload(inPayload.c_str());
    message.SetSource(self);
    if (inDestination != api::EndPoint::INVALID_ENDPOINT) {
        message.SetDestination(inDestination);
    }
    inDispatcher.SendMessage(message);
}

void PlexaInterface::Receive(const api::PlexaMessage& inMessage) {
    constexpr const char* kFunction = "nuoplexasupport::PlexaInterface::Receive";
    PlexaMessageCallback* callback = nullptr;
    {
        const ScopedLock lock(mMutex, kFunction, kLockTimeoutMilliseconds);
        callback = mCallback;
    }
    if (callback == nullptr) {
        nuocore::debug::RaiseAssertion({"PlexaInterface", 0, kFunction, "callback", {}});
        return;
    }
    // Nothing may escape into the dispatcher: a message that can't be read, or whose handling fails, is
    // dropped.
    try {
        const ReceivedPlexaMessage received = Unpack(inMessage);
        const std::string error =
            received.mError.empty() ? std::string() : received.mError + ":" + received.mFault;
        callback(received.mEnvelope->mType, received.mPayload, error, FetchSenderAppId(inMessage));
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

}  // namespace nuoplexasupport
