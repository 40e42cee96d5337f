/// A client that records what it receives.
#pragma once

#include <boost/smart_ptr/make_shared.hpp>
#include <functional>
#include <string>
#include <vector>

#include "nuocore/JSON.h"
#include "nuoplexasupport/IPlexaClient.h"

namespace nuoplexasupport {

/// Writes "name: call" lines into a list of the test's.
class RecordingClient : public IPlexaClient {
  public:
    RecordingClient(std::string inName, std::vector<std::string>& ioCalls)
        : mName(std::move(inName)), mCalls(ioCalls) {}
    ~RecordingClient() override {
        if (mOnDestruction) {
            mOnDestruction();
        }
    }

    void ReceiveResponse(const ImmutableString& inMessageType, const Guid& inRequestId,
                         const VariantObject& inPayload, const UTF8String& inErrorText) override {
        Record("response " + Text(inMessageType) + " " + std::string(inRequestId.AsUTF8String()) + " " +
               JSON(inPayload) + " '" + std::string(inErrorText) + "'");
    }
    void ReceiveSubscribedMessage(const ImmutableString& inMessageType,
                                  const VariantObject& inPayload) override {
        Record("object " + Text(inMessageType) + " " + JSON(inPayload));
    }
    void ReceiveRawSubscribedMessage(const ImmutableString& inMessageType, const UTF8String& inPayloadText,
                                     const char* inSenderAppId) override {
        Record("raw " + Text(inMessageType) + " '" + std::string(inPayloadText) + "' from " + inSenderAppId);
    }
    void ReceiveTaviNotification(const ImmutableString& inNotificationType,
                                 const ImmutableString& inNotificationSubType,
                                 const VariantObject& inPayload) override {
        Record("notification " + Text(inNotificationType) + "/" + Text(inNotificationSubType) + " " +
               JSON(inPayload));
    }

    std::function<void()> mOnReceive;      ///< runs inside every receive operation
    std::function<void()> mOnDestruction;  ///< runs inside the destructor

  private:
    static std::string Text(const ImmutableString& inText) { return std::string(inText.View()); }
    static std::string JSON(const VariantObject& inObject) {
        return std::string(nuocore::serialization::GetJSONUTF8String(inObject, false));
    }
    void Record(const std::string& inCall) {
        mCalls.push_back(mName + ": " + inCall);
        if (mOnReceive) {
            mOnReceive();
        }
    }

    std::string mName;
    std::vector<std::string>& mCalls;
};

}  // namespace nuoplexasupport
