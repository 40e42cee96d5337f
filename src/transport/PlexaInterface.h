/// The process's one connection to the broker.
#pragma once

#include <atomic>
#include <boost/smart_ptr/atomic_shared_ptr.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>
#include <vector>

#include "PlexaMessage5/Dispatcher.h"
#include "nuocore/RecursiveMutex.h"
#include "transport/BrokerLocation.h"

namespace nuoplexasupport {

/// Takes a received message: type, payload, error text, sender's app id. Called on the dispatcher's delivery
/// thread, with no lock held.
using PlexaMessageCallback = void(const std::string& inMessageType, const std::string& inPayload,
                                  const std::string& inErrorText, const std::string& inSenderAppId);

/// A message sent before the dispatcher was ready.
struct PendingPlexaMessage {
    std::string mMessageType;
    std::string mPayload;
    std::string mDestinationAppId;
};

/// Locates the broker, configures and holds the dispatcher, listens, queues what is sent too early, sends and
/// receives. Any thread.
///
/// The mutex guards callback, dispatcher, ready flag and pending queue, for reading and writing them only: no
/// dispatcher operation and no callback runs under it. The end points are an immutable snapshot that the
/// refresh handling swaps.
///
/// Ready is set by the first end point refresh that finds the dispatcher ready, and never cleared: after
/// `Terminate` messages are dropped, and a second `Initialize` goes straight to connected and ready.
class PlexaInterface final : public orvane::plexa::api5::IPlexaMessageListener {
  public:
    /// The singleton, destroyed at process exit. What is called later still finds an unconnected one.
    static PlexaInterface& Instance();

    /// `inReady` is set for the one that takes the place of a singleton that was ready.
    explicit PlexaInterface(bool inReady = false);
    void Receive(const orvane::plexa::api5::PlexaMessage& inMessage) override;
    ~PlexaInterface() override;

    /// Connects; true when a dispatcher was obtained. Waits neither for readiness nor for end points.
    bool Initialize(const char* inSAPCode, const char* inClientVersion, PlexaMessageCallback* inCallback);
    [[nodiscard]] bool IsReady();
    /// Refreshes the end points.
    void GetEndPoints();
    /// Handles the dispatcher's notice that its end point list has been refreshed.
    void EndPointRefreshComplete();
    static void EndPointRefreshCompleteStatic(void* inThis);
    /// Disconnects. Pending messages and the ready flag stay.
    void Terminate();

    /// Sends, or queues while not ready. Reports nothing: without a dispatcher the message is dropped.
    void Send(const std::string& inMessageType, const std::string& inPayload,
              const std::string& inDestinationAppId);

    /// Whether a code means success; a failure is traced.
    static bool CheckPlexaResult(PlexaMessageErrorCode inCode);

  private:
    using EndPointList = std::vector<orvane::plexa::api5::EndPoint>;

    /// Sends what was queued; what fails is logged, and the rest goes on.
    void SendPending(orvane::plexa::api5::IPlexaMessageDispatcher& inDispatcher,
                     const std::vector<PendingPlexaMessage>& inPending) const;
    /// The first end point with an app id, or `INVALID_ENDPOINT`.
    orvane::plexa::api5::EndPoint FindEndPoint(std::string inAppId) const;
    static void DeliverSuiteMessage(orvane::plexa::api5::IPlexaMessageDispatcher& inDispatcher,
                                    const std::string& inMessageType, const std::string& inPayload,
                                    const orvane::plexa::api5::EndPoint& inDestination);
    orvane::plexa::api5::IPlexaMessageDispatcher* Dispatcher(const char* inAcquirer);

    PlexaMessageCallback* mCallback NUOCORE_GUARDED_BY(mMutex) = nullptr;
    nuocore::thread::RecursiveMutex mMutex;
    /// Changed with the mutex held; atomic for the end of the process, which looks at it while a client's
    /// last call may still be on its way.
    std::atomic<orvane::plexa::api5::IPlexaMessageDispatcher*> mDispatcher = nullptr;
    bool mReady NUOCORE_GUARDED_BY(mMutex);
    std::vector<PendingPlexaMessage> mPending NUOCORE_GUARDED_BY(mMutex);
    boost::atomic_shared_ptr<const EndPointList> mEndPoints;
};

}  // namespace nuoplexasupport
