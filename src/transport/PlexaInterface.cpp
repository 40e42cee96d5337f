#include "transport/PlexaInterface.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "nuocore/Assertion.h"
#include "nuocore/Trace.h"
#include "transport/PlexaResult.h"

namespace nuoplexasupport {

namespace api = orvane::plexa::api5;
using nuocore::debug::TraceSwitch;
using nuocore::thread::ScopedLock;

namespace {

constexpr std::uint32_t kLockTimeoutMilliseconds = 60000;
constexpr const char* kTraceCategory = "nuoplexasupport::PlexaInterface";
constexpr int kTraceLevel = 5;

void Assert(bool inHolds, const char* inFunction, const char* inExpression, std::string inMessage = {}) {
    if (!inHolds) {
        nuocore::debug::RaiseAssertion({"PlexaInterface", 0, inFunction, inExpression, std::move(inMessage)});
    }
}

alignas(PlexaInterface) std::byte sInstance[sizeof(PlexaInterface)];

// A client in a host's static may call in after the singleton's end: it meets a new, unconnected one, which
// is never destroyed.
struct InstanceLifetime {
    InstanceLifetime() { new (sInstance) PlexaInterface; }
    InstanceLifetime(const InstanceLifetime&) = delete;
    InstanceLifetime& operator=(const InstanceLifetime&) = delete;
    ~InstanceLifetime() {
        auto* const instance = std::launder(reinterpret_cast<PlexaInterface*>(sInstance));
        const bool ready = instance->IsReady();
        instance->~PlexaInterface();
        new (sInstance) PlexaInterface(ready);
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
    Instance().EndPointRefreshComplete();
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
    constexpr const char* kFunction = "nuoplexasupport::PlexaInterface::EndPointRefreshComplete";
    GetEndPoints();
    api::IPlexaMessageDispatcher* dispatcher = Dispatcher(kFunction);
    Assert(dispatcher != nullptr && dispatcher->IsDispatcherReady(), kFunction,
           "dispatcher && dispatcher->IsDispatcherReady()");
    if (dispatcher == nullptr || !dispatcher->IsDispatcherReady()) {
        return;
    }
    std::vector<PendingPlexaMessage> pending;
    {
        const ScopedLock lock(mMutex, kFunction, kLockTimeoutMilliseconds);
        pending.swap(mPending);
        mReady = true;
    }
    for (const PendingPlexaMessage& message : pending) {
        DeliverSuiteMessage(*dispatcher, message.mMessageType, message.mPayload,
                            FindEndPoint(message.mDestinationAppId));
    }
}

void PlexaInterface::Terminate() {
    api::IPlexaMessageDispatcher* dispatcher = nullptr;
    {
        const ScopedLock lock(mMutex, "nuoplexasupport::PlexaInterface::Terminate", kLockTimeoutMilliseconds);
        std::swap(dispatcher, mDispatcher);
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
