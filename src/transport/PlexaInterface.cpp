#include "transport/PlexaInterface.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "nuocore/Assertion.h"
#include "nuocore/Log.h"
#include "nuocore/Trace.h"
#include "transport/ExceptionText.h"
#include "transport/PlexaResult.h"

namespace nuoplexasupport {

namespace api = orvane::plexa::api5;
using nuocore::debug::TraceSwitch;
using nuocore::thread::ScopedLock;

namespace {

constexpr std::uint32_t kLockTimeoutMilliseconds = 60000;
constexpr const char* kTraceCategory = "nuoplexasupport::PlexaInterface";
constexpr int kTraceLevel = 5;
constexpr const char* kRefreshFunction = "nuoplexasupport::PlexaInterface::EndPointRefreshComplete";

void Assert(bool inHolds, const char* inFunction, const char* inExpression, std::string inMessage = {}) {
    if (!inHolds) {
        nuocore::debug::RaiseAssertion({"PlexaInterface", 0, inFunction, inExpression, std::move(inMessage)});
    }
}

// Says what failed where nobody else hears of it. Without memory for the record there is none.
void LogFailure(const char* inMessage, const std::exception_ptr& inReason,
                std::uint64_t inMessagesLost) noexcept {
    try {
        nuocore::log::Log({kTraceCategory,
                           "PlexaInterface",
                           kRefreshFunction,
                           inMessage,
                           {{"messagesLost", VariantValue(inMessagesLost)},
                            {"reason", VariantValue(ExceptionText(inReason))}}});
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

alignas(PlexaInterface) std::byte sInstance[sizeof(PlexaInterface)];

// Whether the singleton was ready when it ended.
bool sEndedReady = false;

// A client in a host's static may call in after the singleton's end: it meets a new, unconnected one, which
// is never destroyed.
struct InstanceLifetime {
    InstanceLifetime() { new (sInstance) PlexaInterface; }
    InstanceLifetime(const InstanceLifetime&) = delete;
    InstanceLifetime& operator=(const InstanceLifetime&) = delete;
    ~InstanceLifetime() {
        auto* const instance = std::launder(reinterpret_cast<PlexaInterface*>(sInstance));
        instance->~PlexaInterface();
        new (sInstance) PlexaInterface(sEndedReady);
    }
};

}  // namespace

PlexaInterface& PlexaInterface::Instance() {
    static const InstanceLifetime sLifetime;
    return *std::launder(reinterpret_cast<PlexaInterface*>(sInstance));
}

PlexaInterface::PlexaInterface(bool inReady)
    : mReady(inReady), mEndPoints(boost::make_shared<const EndPointList>()) {}

PlexaInterface::~PlexaInterface() {
    static TraceSwitch sTrace(kTraceCategory, kTraceLevel);
    if (mDispatcher != nullptr && sTrace.IsEnabled()) {
        sTrace.Trace("Terminate() should be called before destroying PlexaInterface\r\n");
    }
    Terminate();
    sEndedReady = mReady;
}

bool PlexaInterface::Initialize(const char* inSAPCode, const char* inClientVersion,
                                PlexaMessageCallback* inCallback) {
    constexpr const char* kFunction = "nuoplexasupport::PlexaInterface::Initialize";
    if (!CheckPlexaResult(LocateBroker())) {
        Assert(false, kFunction, "0", "PlexaInterface::Initialize cannot find OrvaneIPCBroker file");
        return false;
    }
    CheckPlexaResult(api::IPlexaMessageDispatcher::SetConfig(inSAPCode, inClientVersion));
    api::IPlexaMessageDispatcher* dispatcher = nullptr;
    const PlexaMessageErrorCode result = api::IPlexaMessageDispatcher::GetInstance(&dispatcher);
    CheckPlexaResult(result);
    // The pointer decides, whatever the code says.
    Assert(dispatcher != nullptr, kFunction, "dispatcher",
           "result: " + std::to_string(static_cast<std::uint32_t>(result)));
    {
        const ScopedLock lock(mMutex, kFunction, kLockTimeoutMilliseconds);
        mCallback = inCallback;
        Assert(mDispatcher == nullptr, kFunction, "!mDispatcher");
        mDispatcher = dispatcher;
    }
    if (dispatcher == nullptr) {
        return false;
    }
    dispatcher->RegisterEndPointRefreshCallback(&EndPointRefreshCompleteStatic, this);
    dispatcher->AddListener(this);
    dispatcher->EnableListener(this);
    return true;
}

bool PlexaInterface::IsReady() {
    const ScopedLock lock(mMutex, "nuoplexasupport::PlexaInterface::IsReady", kLockTimeoutMilliseconds);
    return mReady;
}

void PlexaInterface::EndPointRefreshCompleteStatic(void* inThis) {
    Assert(inThis == &Instance(), "nuoplexasupport::PlexaInterface::EndPointRefreshCompleteStatic",
           "&Instance() == inThis");
    // Nothing may escape into the dispatcher.
    try {
        Instance().EndPointRefreshComplete();
    } catch (...) {
        LogFailure("End points could not be refreshed; queued messages wait for the next refresh",
                   std::current_exception(), 0);
    }
}

void PlexaInterface::GetEndPoints() {
    api::IPlexaMessageDispatcher* dispatcher = Dispatcher("nuoplexasupport::PlexaInterface::GetEndPoints");
    // A concurrent Terminate may have taken it; the refresh handling reports that.
    if (dispatcher == nullptr) {
        return;
    }
    api::EndPoint* array = nullptr;
    std::size_t count = 0;
    if (!CheckPlexaResult(dispatcher->GetEndPointList(&array, &count))) {
        return;
    }
    const auto giveBack = [dispatcher](api::EndPoint* inArray) { dispatcher->ReleaseEndPointList(inArray); };
    const std::unique_ptr<api::EndPoint, decltype(giveBack)> guard(array, giveBack);
    mEndPoints.store(boost::make_shared<const EndPointList>(array, array + (array != nullptr ? count : 0)));
}

void PlexaInterface::EndPointRefreshComplete() {
    GetEndPoints();
    api::IPlexaMessageDispatcher* dispatcher = Dispatcher(kRefreshFunction);
    Assert(dispatcher != nullptr && dispatcher->IsDispatcherReady(), kRefreshFunction,
           "dispatcher && dispatcher->IsDispatcherReady()");
    if (dispatcher == nullptr || !dispatcher->IsDispatcherReady()) {
        return;
    }
    std::vector<PendingPlexaMessage> pending;
    {
        const ScopedLock lock(mMutex, kRefreshFunction, kLockTimeoutMilliseconds);
        pending.swap(mPending);
        mReady = true;
    }
    SendPending(*dispatcher, pending);
}

void PlexaInterface::SendPending(api::IPlexaMessageDispatcher& inDispatcher,
                                 const std::vector<PendingPlexaMessage>& inPending) const {
    std::exception_ptr firstFailure;
    std::uint64_t lost = 0;
    for (const PendingPlexaMessage& message : inPending) {
        // One that can't be sent must not take the rest with it.
        try {
            DeliverSuiteMessage(inDispatcher, message.mMessageType, message.mPayload,
                                FindEndPoint(message.mDestinationAppId));
        } catch (...) {
            if (++lost == 1) {
                firstFailure = std::current_exception();
            }
        }
    }
    if (lost != 0) {
        LogFailure("Messages queued before the connection was ready could not be sent", firstFailure, lost);
    }
}

void PlexaInterface::Terminate() {
    api::IPlexaMessageDispatcher* dispatcher = nullptr;
    {
        const ScopedLock lock(mMutex, "nuoplexasupport::PlexaInterface::Terminate", kLockTimeoutMilliseconds);
        dispatcher = mDispatcher.exchange(nullptr);
        mCallback = nullptr;
    }
    if (dispatcher != nullptr) {
        dispatcher->UnregisterEndPointRefreshCallback(&EndPointRefreshCompleteStatic, this);
        dispatcher->DisableListener(this);
        dispatcher->RemoveListener(this);
        api::IPlexaMessageDispatcher::ReleaseInstance();
    }
}

bool PlexaInterface::CheckPlexaResult(PlexaMessageErrorCode inCode) {
    const char* text = PlexaResultText(inCode);
    if (*text == '\0') {
        return true;
    }
    static TraceSwitch sTrace(kTraceCategory, kTraceLevel);
    if (sTrace.IsEnabled()) {
        sTrace.Trace("PlexaMessageErrorCode= " + std::to_string(static_cast<std::uint32_t>(inCode)) +
                     " error type= " + text + "\r\n");
    }
    return false;
}

api::IPlexaMessageDispatcher* PlexaInterface::Dispatcher(const char* inAcquirer) {
    const ScopedLock lock(mMutex, inAcquirer, kLockTimeoutMilliseconds);
    return mDispatcher;
}

}  // namespace nuoplexasupport
