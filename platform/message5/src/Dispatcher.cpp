// The process's one dispatcher: references and configuration. What it does is the session's business.
#include "PlexaMessage5/Dispatcher.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <pthread.h>
#include <unistd.h>

#include "BrokerSearch.h"
#include "PlexaMessage5/Interest.h"
#include "Session.h"
#include "Socket.h"
#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::api5 {

namespace {

using message5::Session;

constexpr std::size_t kLongestAppId = 255;
/// What wanted types may take in one frame, which carries the app id as well; each text costs a little more
/// than its bytes.
constexpr std::size_t kMostInterestBytes = std::size_t{96} << 10U;
constexpr std::size_t kBytesBesideText = 16;

struct Process {
    std::mutex mutex;
    bool configured = false;
    std::string sapCode;
    std::string clientVersion;
    orvane::plexa::wire::Interest interest;
    int references = 0;
    std::shared_ptr<Session> session;
    bool watchesForks = false;
    std::shared_ptr<Session> inherited;  // another process's: dead here
};

/// Never destroyed: threads of this library and late callers may outlive the host's statics.
Process& TheProcess() {
    static auto& sProcess = *new Process;
    return sProcess;
}

void BeforeFork() {
    Process& process = TheProcess();
    process.mutex.lock();
    if (process.session) {
        process.session->BeforeFork();
    }
}

void AfterForkInParent() {
    Process& process = TheProcess();
    if (process.session) {
        process.session->AfterForkInParent();
    }
    process.mutex.unlock();
}

/// The new process starts without an instance, with the configuration it had.
void AfterForkInChild() {
    Process& process = TheProcess();
    if (process.session) {
        process.session->AfterForkInChild(std::move(process.inherited));
        process.inherited = std::move(process.session);
        process.references = 0;
    }
    process.mutex.unlock();
}

std::shared_ptr<Session> CurrentSession() {
    Process& process = TheProcess();
    const std::scoped_lock lock(process.mutex);
    return process.session;
}

bool IsName(const char* inText) {
    const std::string_view text = inText == nullptr ? std::string_view() : inText;
    return !text.empty() && std::none_of(text.begin(), text.end(), [](char inCharacter) {
        const auto byte = static_cast<unsigned char>(inCharacter);
        return byte < 0x20 || byte == 0x7F;
    });
}

/// Calls inOperation with the session. Nothing that goes wrong inside reaches the host as an exception.
template <typename Operation>
PlexaMessageErrorCode With(const Operation& inOperation) {
    try {
        const std::shared_ptr<Session> session = CurrentSession();
        return session ? inOperation(*session) : kPlexaMessageErrorCode_NotConfigured;
    } catch (const std::exception&) {
        return kPlexaMessageErrorCode_Unknown;
    }
}

class Dispatcher final : public IPlexaMessageDispatcher {
  public:
    void Reserved0() override {}
    void Reserved8() override {}
    void Reserved9() override {}

    PlexaMessageErrorCode SendMessage(const SuiteMessage& inMessage) override {
        return With([&](Session& inSession) { return inSession.Send(inMessage); });
    }
    PlexaMessageErrorCode AddListener(IPlexaMessageListener* inListener) override {
        return With([&](Session& inSession) { return inSession.AddListener(inListener); });
    }
    PlexaMessageErrorCode RemoveListener(IPlexaMessageListener* inListener) override {
        return With([&](Session& inSession) { return inSession.RemoveListener(inListener); });
    }
    PlexaMessageErrorCode EnableListener(IPlexaMessageListener* inListener) override {
        return With([&](Session& inSession) { return inSession.EnableListener(inListener); });
    }
    PlexaMessageErrorCode DisableListener(IPlexaMessageListener* inListener) override {
        return With([&](Session& inSession) { return inSession.DisableListener(inListener); });
    }
    PlexaMessageErrorCode RegisterEndPointRefreshCallback(EndPointRefreshCallback inCallback,
                                                          void* inContext) override {
        return With([&](Session& inSession) { return inSession.Register(inCallback, inContext); });
    }
    PlexaMessageErrorCode UnregisterEndPointRefreshCallback(EndPointRefreshCallback inCallback,
                                                            void* inContext) override {
        return With([&](Session& inSession) { return inSession.Unregister(inCallback, inContext); });
    }

    EndPoint GetSelfEndPoint() override {
        EndPoint self;
        With([&](Session& inSession) {
            self = inSession.Self();
            return kPlexaMessageErrorCode_None;
        });
        return self;
    }
    bool IsDispatcherReady() override {
        const std::shared_ptr<Session> session = CurrentSession();
        return session && session->IsReady();
    }

    PlexaMessageErrorCode GetEndPointList(EndPoint** outEndPoints, std::size_t* outCount) override {
        if (outEndPoints == nullptr || outCount == nullptr) {
            return kPlexaMessageErrorCode_InvalidParameter;
        }
        *outEndPoints = nullptr;
        *outCount = 0;
        return With([&](Session& inSession) {
            const auto list = inSession.EndPoints();
            if (list && !list->empty()) {
                auto array = std::make_unique<EndPoint[]>(list->size());
                std::copy(list->begin(), list->end(), array.get());
                *outEndPoints = array.release();
                *outCount = list->size();
            }
            return kPlexaMessageErrorCode_None;
        });
    }
    void ReleaseEndPointList(EndPoint* inEndPoints) override {
        const std::unique_ptr<EndPoint[]> array(inEndPoints);
    }
};

IPlexaMessageDispatcher& TheDispatcher() {
    static auto& sDispatcher = *new Dispatcher;
    return sDispatcher;
}

}  // namespace

IPlexaMessageListener::IPlexaMessageListener() = default;
IPlexaMessageListener::~IPlexaMessageListener() = default;

PlexaMessageErrorCode IPlexaMessageDispatcher::SetConfig(const char* inSAPCode, const char* inClientVersion) {
    if (!IsName(inSAPCode) || !IsName(inClientVersion) ||
        std::string_view(inSAPCode).size() + 1 + std::string_view(inClientVersion).size() > kLongestAppId) {
        return kPlexaMessageErrorCode_InvalidParameter;
    }
    Process& process = TheProcess();
    const std::scoped_lock lock(process.mutex);
    if (process.configured && process.sapCode == inSAPCode && process.clientVersion == inClientVersion) {
        return kPlexaMessageErrorCode_AlreadyDone;
    }
    if (process.references != 0) {
        return kPlexaMessageErrorCode_InvalidParameter;
    }
    try {
        std::string sapCode = inSAPCode;
        process.clientVersion = inClientVersion;
        process.sapCode = std::move(sapCode);
    } catch (const std::bad_alloc&) {
        return kPlexaMessageErrorCode_Unknown;
    }
    process.configured = true;
    return kPlexaMessageErrorCode_None;
}

PlexaMessageErrorCode IPlexaMessageDispatcher::GetInstance(IPlexaMessageDispatcher** outDispatcher) {
    if (outDispatcher == nullptr) {
        return kPlexaMessageErrorCode_InvalidParameter;
    }
    *outDispatcher = nullptr;
    Process& process = TheProcess();
    const std::scoped_lock lock(process.mutex);
    if (!process.configured) {
        return kPlexaMessageErrorCode_NotConfigured;
    }
    try {
        if (!process.watchesForks) {
            process.watchesForks = ::pthread_atfork(&BeforeFork, &AfterForkInParent, &AfterForkInChild) == 0;
        }
        if (!process.session) {
            message5::SessionSetup setup{process.sapCode + "-" + process.clientVersion,
                                         wire::RuntimeDirectoryPath(), message5::FindBroker(),
                                         process.interest, message5::ReadSettings()};
            if (!setup.brokerProgram &&
                !message5::Connect(wire::RuntimePath(setup.runtimeDirectory, wire::kSocketName)).socket) {
                return kPlexaMessageErrorCode_BrokerFileDoesNotExist;
            }
            process.session = Session::Start(std::move(setup));
        }
    } catch (const std::exception&) {
        return kPlexaMessageErrorCode_Unknown;
    }
    ++process.references;
    *outDispatcher = &TheDispatcher();
    return kPlexaMessageErrorCode_None;
}

void IPlexaMessageDispatcher::ReleaseInstance() {
    std::shared_ptr<Session> session;
    {
        Process& process = TheProcess();
        const std::scoped_lock lock(process.mutex);
        if (process.references == 0 || --process.references != 0) {
            return;
        }
        session.swap(process.session);
    }
    session->Leave();
}

namespace {

/// False when they are more than a connection carries.
bool ReadInterest(const char* const* inTypes, std::size_t inCount, wire::Interest& outInterest) {
    if (inTypes == nullptr) {
        return true;
    }
    const wire::Limits limits;
    if (inCount > limits.maxInterestTypes) {
        return false;
    }
    std::size_t bytes = 0;
    outInterest.emplace();
    for (std::size_t i = 0; i != inCount; ++i) {
        const std::string_view type = inTypes[i] == nullptr ? std::string_view() : inTypes[i];
        bytes += type.size() + kBytesBesideText;
        if (inTypes[i] == nullptr || type.size() > limits.maxTypeText || bytes > kMostInterestBytes) {
            return false;
        }
        outInterest->emplace_back(type);
    }
    return true;
}

}  // namespace

PlexaMessageErrorCode SetInterest(const char* const* inTypes, std::size_t inCount) {
    try {
        wire::Interest interest;
        if (!ReadInterest(inTypes, inCount, interest)) {
            return kPlexaMessageErrorCode_InvalidParameter;
        }
        Process& process = TheProcess();
        const std::scoped_lock lock(process.mutex);
        process.interest = interest;
        if (process.session) {
            process.session->SetInterest(std::move(interest));
        }
        return kPlexaMessageErrorCode_None;
    } catch (const std::bad_alloc&) {
        return kPlexaMessageErrorCode_Unknown;
    }
}

}  // namespace orvane::plexa::api5
