#include "modules/ModuleSupport.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <cstdint>
#include <exception>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include "client/MessageNames.h"
#include "nuocore/Assertion.h"
#include "nuocore/RecursiveMutex.h"
#include "nuoplexasupport/Messaging.h"
#include "nuoplexasupport/ModuleDownload.h"

namespace nuoplexasupport {

using nuocore::async::Future;
using nuocore::async::GetDefaultExecutor;
using nuocore::thread::RecursiveMutex;
using nuocore::thread::ScopedLock;

namespace {

constexpr std::uint32_t kLockTimeoutMilliseconds = 60000;
constexpr const char* kHandleInstallMessage =
    "nuoplexasupport::`anonymous-namespace'::ModuleDownloadClient::HandleInstallMessage";

using ProgressCallback = std::function<void(const ImmutableString&, float)>;
using Promises = std::multimap<ImmutableString, nuocore::async::Promise<void>>;
using ProgressCallbacks = std::multimap<ImmutableString, ProgressCallback>;

// Moves a module's entries out of a table, in its order, destroying nothing.
template <typename Table>
Table TakeEntries(Table& ioTable, const ImmutableString& inModuleId) noexcept {
    Table taken;
    auto [entry, end] = ioTable.equal_range(inModuleId);
    while (entry != end) {
        taken.insert(taken.end(), ioTable.extract(entry++));
    }
    return taken;
}

// Follows the downloads of the process. The futures of pending downloads own it: it goes with the last one,
// which may be inside the call that completes that one.
class ModuleDownloadClient final : public IPlexaClient {
  public:
    ModuleDownloadClient() = default;
    ModuleDownloadClient(const ModuleDownloadClient&) = delete;
    ModuleDownloadClient& operator=(const ModuleDownloadClient&) = delete;
    ~ModuleDownloadClient() override;

    Future<void> RequestDownload(const ImmutableString& inModuleId, ProgressCallback inProgress,
                                 bool inSilentMode);
    void ReceiveSubscribedMessage(const ImmutableString& inMessageType,
                                  const VariantObject& inPayload) override;

  private:
    void HandleInstallMessage(const VariantObject& inPayload);
    Promises TakePromises(const ImmutableString& inModuleId);
    std::vector<ProgressCallback> CopyProgressCallbacks(const ImmutableString& inModuleId);

    // Nothing but the tables is touched under it: what callbacks have captured, and what waits for a promise,
    // is other people's code.
    RecursiveMutex mMutex;
    Promises mPromises NUOCORE_GUARDED_BY(mMutex);
    ProgressCallbacks mProgressCallbacks NUOCORE_GUARDED_BY(mMutex);
};

ModuleDownloadClient::~ModuleDownloadClient() {
    // Nobody can get hold of this client any more, so its subscription counts as expired.
    try {
        UnsubscribeFromMessage({}, sProductModuleDeploymentEventMessageType);
    } catch (...) {  // NOLINT(bugprone-empty-catch): without memory the next event purges it
    }
}

Future<void> ModuleDownloadClient::RequestDownload(const ImmutableString& inModuleId,
                                                   ProgressCallback inProgress, bool inSilentMode) {
    const VariantObject payload = modules::CreateModuleDownloadPayload(inModuleId, inSilentMode);
    auto [promise, future] = nuocore::async::MakePromise<void>(GetDefaultExecutor());
    Promises promises;
    promises.emplace(inModuleId, std::move(promise));
    ProgressCallbacks callbacks;
    callbacks.emplace(inModuleId, std::move(inProgress));
    {
        const ScopedLock lock(mMutex,
                              "nuoplexasupport::`anonymous-namespace'::ModuleDownloadClient::RequestDownload",
                              kLockTimeoutMilliseconds);
        // This is what keeps the client alive: the future's state holds it until it is completed or gone.
        (void)future.Then([self = shared_from_this()](const Future<void>&) {});
        mProgressCallbacks.merge(callbacks);
        mPromises.merge(promises);
    }
    if (!SendClientRequest(weak_from_this(), sInstallAppModuleMessageType,
                           sProductModuleDeploymentEventMessageType, Guid(), payload,
                           kPlexaSerializationFlavor_XML, kPlexaRequestIDKeyType_RequestId,
                           kXMLRootTagDefault_Request)) {
        // The entries stay until an event for the module, or the end of this client, takes them.
        return Future<void>::MakeFailed(
            GetDefaultExecutor(),
            std::make_exception_ptr(nuocore::config::nuo_exception({}, nuocore::eUnknown)));
    }
    return std::move(future);
}

void ModuleDownloadClient::ReceiveSubscribedMessage(const ImmutableString& inMessageType,
                                                    const VariantObject& inPayload) {
    if (inMessageType == sProductModuleDeploymentEventMessageType) {
        HandleInstallMessage(inPayload);
    }
}

void ModuleDownloadClient::HandleInstallMessage(const VariantObject& inPayload) {
    const ImmutableString moduleID(modules::ExtractTextIfPresent(inPayload, "module-id"));
    if (moduleID.empty()) {
        nuocore::debug::RaiseAssertion(
            {"ModuleSupport", 111, kHandleInstallMessage, "!moduleID.empty()", {}});
        return;
    }
    const UTF8String eventType = modules::ExtractTextIfPresent(inPayload, "event-type");
    // After the last promise this object may be gone.
    if (eventType == "completed") {
        for (const auto& [id, promise] : TakePromises(moduleID)) {
            promise.SetValue();
        }
    } else if (eventType == "error" || eventType == "cancelled") {
        const int code = eventType == "error" ? modules::ExtractResultFromPlexaErrorMessage(inPayload)
                                              : kModuleDownloadCancelled;
        const Promises promises = TakePromises(moduleID);
        const std::exception_ptr failure = std::make_exception_ptr(ModuleDownloadFailedException(code));
        for (const auto& [id, promise] : promises) {
            promise.SetException(failure);
        }
    } else if (eventType == "progress") {
        const std::vector<ProgressCallback> callbacks = CopyProgressCallbacks(moduleID);
        const float value = modules::ExtractValueFromPlexaProgressMessage(inPayload);
        for (const ProgressCallback& callback : callbacks) {
            callback(moduleID, value);
        }
    }
}

// The callbacks go with them.
Promises ModuleDownloadClient::TakePromises(const ImmutableString& inModuleId) {
    Promises promises;
    ProgressCallbacks callbacks;  // destroyed after the lock
    const ScopedLock lock(mMutex, kHandleInstallMessage, kLockTimeoutMilliseconds);
    promises = TakeEntries(mPromises, inModuleId);
    callbacks = TakeEntries(mProgressCallbacks, inModuleId);
    return promises;
}

std::vector<ProgressCallback> ModuleDownloadClient::CopyProgressCallbacks(const ImmutableString& inModuleId) {
    std::vector<ProgressCallback> callbacks;  // should copying one throw: destroyed after the lock
    const ScopedLock lock(mMutex, kHandleInstallMessage, kLockTimeoutMilliseconds);
    const auto [begin, end] = mProgressCallbacks.equal_range(inModuleId);
    callbacks.reserve(static_cast<std::size_t>(std::distance(begin, end)));
    for (auto entry = begin; entry != end; ++entry) {
        callbacks.push_back(entry->second);
    }
    return callbacks;
}

// Never destroyed: a host's static may ask for a module at the end of the process.
RecursiveMutex& sModuleDownloadClientLock = *new RecursiveMutex;
boost::weak_ptr<ModuleDownloadClient>& sModuleDownloadClient NUOCORE_GUARDED_BY(sModuleDownloadClientLock) =
    *new boost::weak_ptr<ModuleDownloadClient>;

boost::shared_ptr<ModuleDownloadClient> GetModuleDownloadClient() {
    boost::shared_ptr<ModuleDownloadClient> client;  // what goes, should anything throw, goes after the lock
    const ScopedLock lock(sModuleDownloadClientLock,
                          "nuoplexasupport::`anonymous-namespace'::GetModuleDownloadClient",
                          kLockTimeoutMilliseconds);
    client = sModuleDownloadClient.lock();
    if (!client) {
        client = boost::allocate_shared<ModuleDownloadClient>(
            nuocore::allocator::STLAllocator<ModuleDownloadClient>());
        sModuleDownloadClient = client;
        SubscribeToMessage(client, sProductModuleDeploymentEventMessageType);
    }
    return client;
}

}  // namespace

Future<void> RequestModuleDownload(const ImmutableString& inModuleId, ProgressCallback inProgress,
                                   bool inSilentMode) {
    return GetModuleDownloadClient()->RequestDownload(inModuleId, std::move(inProgress), inSilentMode);
}

}  // namespace nuoplexasupport
