/// A double of the message library: records every call in order and answers as a test says.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "PlexaMessage5/PlexaMessage5.h"

namespace doubles {

namespace api = orvane::plexa::api5;

/// The one dispatcher of the double. Calls are recorded as texts such as "AddListener" or
/// "SendMessage type=T payload=P source=S destination=D" (without " destination=…" when none was set).
class Message5Double final : public api::IPlexaMessageDispatcher {
  public:
    static Message5Double& Get();

    /// The calls so far.
    std::vector<std::string> Calls() const;
    void ClearCalls();

    // What the operations answer.
    api::PlexaMessageErrorCode mSetConfigResult = api::kPlexaMessageErrorCode_None;
    api::PlexaMessageErrorCode mGetInstanceResult = api::kPlexaMessageErrorCode_None;
    api::PlexaMessageErrorCode mGetEndPointListResult = api::kPlexaMessageErrorCode_None;
    bool mGivesDispatcher = true;
    bool mGivesNullArray = false;
    std::vector<bool> mReadyAnswers;  ///< answers of IsDispatcherReady in turn; the last one stays
    std::vector<api::EndPoint> mEndPoints;
    api::EndPoint mSelf{"SELF-1", 1, 10};
    /// What size queries of texts answer in place of the truth; so many bytes are then copied.
    std::optional<std::size_t> mSizeAnswer;
    std::function<void()> mOnGetInstance;  ///< runs inside GetInstance
    std::function<void()> mOnSend;         ///< runs inside SendMessage
    std::function<void()> mOnCall;         ///< runs inside every operation

    /// How many arrays have been given out and not given back.
    [[nodiscard]] std::size_t ArraysOut() const { return mArrays.size(); }
    [[nodiscard]] api::IPlexaMessageListener* Listener() const { return mListener; }
    /// Tells the registered callback that end points were refreshed; `inContext` in place of the registered
    /// one unless null.
    void Refresh(void* inContext = nullptr);
    /// Delivers a message to the listener.
    void Deliver(const api::PlexaMessage& inMessage);
    void Record(std::string inCall);

    void Reserved0() override;
    api::PlexaMessageErrorCode SendMessage(const api::SuiteMessage& inMessage) override;
    api::PlexaMessageErrorCode AddListener(api::IPlexaMessageListener* inListener) override;
    api::PlexaMessageErrorCode RemoveListener(api::IPlexaMessageListener* inListener) override;
    api::PlexaMessageErrorCode EnableListener(api::IPlexaMessageListener* inListener) override;
    api::PlexaMessageErrorCode DisableListener(api::IPlexaMessageListener* inListener) override;
    api::PlexaMessageErrorCode RegisterEndPointRefreshCallback(api::EndPointRefreshCallback inCallback,
                                                               void* inContext) override;
    api::PlexaMessageErrorCode UnregisterEndPointRefreshCallback(api::EndPointRefreshCallback inCallback,
                                                                 void* inContext) override;
    void Reserved8() override;
    void Reserved9() override;
    api::EndPoint GetSelfEndPoint() override;
    bool IsDispatcherReady() override;
    api::PlexaMessageErrorCode GetEndPointList(api::EndPoint** outEndPoints, std::size_t* outCount) override;
    void ReleaseEndPointList(api::EndPoint* inEndPoints) override;

  private:
    friend class api::IPlexaMessageDispatcher;

    mutable std::mutex mMutex;
    std::vector<std::string> mCalls;
    api::IPlexaMessageListener* mListener = nullptr;
    api::EndPointRefreshCallback mCallback = nullptr;
    void* mContext = nullptr;
    std::vector<std::unique_ptr<api::EndPoint[]>> mArrays;
};

/// The app id of an end point.
std::string AppId(const api::EndPoint& inEndPoint);

}  // namespace doubles
