/// Asking for an add-on module of this product. Any thread, also inside a client's receive operations.
#pragma once

#include <functional>

#include "nuocore/Async.h"
#include "nuocore/Exception.h"
#include "nuoplexasupport/Export.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

// Result codes of downloads that failed. Every other error of the desktop's service is `nuocore::eUnknown`.

inline constexpr int kModuleInstallError118 = static_cast<int>(0xED440076U);
/// Processes that must not run meanwhile are running.
inline constexpr int kModuleOperationsBlockedByConflictingProcess = static_cast<int>(0xED440083U);
inline constexpr int kModuleInstallError413 = static_cast<int>(0xED44019DU);
inline constexpr int kModuleInstallError414 = static_cast<int>(0xED44019EU);
/// The download was cancelled.
inline constexpr int kModuleDownloadCancelled = static_cast<int>(0xA00F0007U);
/// The code of a default-constructed `ModuleDownloadFailedException`.
inline constexpr int kModuleDownloadFailedDefault = static_cast<int>(0xF865001EU);

/// A module could not be installed, or its installation was cancelled; the code says which. The message is
/// always "Failed to download the requested module".
class NUOPLEXASUPPORT_API ModuleDownloadFailedException : public nuocore::config::nuo_exception {
  public:
    /// With the code `kModuleDownloadFailedDefault`.
    ModuleDownloadFailedException();
    explicit ModuleDownloadFailedException(int inCode);
    ModuleDownloadFailedException(const ModuleDownloadFailedException& inOther);
    ModuleDownloadFailedException& operator=(const ModuleDownloadFailedException& inOther);
    ~ModuleDownloadFailedException() override;
};

/// Asks the desktop's service to download and install one module of this product, and returns at once. The
/// id goes out as it is, an empty one too, of which no event will ever come back. `inSilentMode` asks the
/// service not to bother the user.
///
/// The future is completed when the module is installed, or fails with a `ModuleDownloadFailedException`, on
/// the delivery thread; its continuations run there, with no lock held. It fails at once, with a
/// `nuo_exception` without a message and with the code `nuocore::eUnknown`, when the request can't be handed
/// to the transport. While nobody answers it stays pending.
///
/// `inProgress` is called on the delivery thread with the module's id and the share that is done: 1 stands
/// for all of it, but nothing is clamped. It may do what a receive operation may do. An empty one is not
/// refused: the first progress event then throws `std::bad_function_call`, which is written to the log, and
/// the callbacks of later requests for the same module hear nothing of that event.
///
/// Requests for the same module share its events. Whoever drops the future, and everything derived from it,
/// gives the download up: nothing is completed any more, though the service is not told. A pending download
/// holds one `Startup`; a host needs one of its own nevertheless (see `Startup`). Throws `std::bad_alloc`,
/// and `std::runtime_error` when the system gives no randomness.
NUOPLEXASUPPORT_API nuocore::async::Future<void> RequestModuleDownload(
    const ImmutableString& inModuleId, std::function<void(const ImmutableString&, float)> inProgress,
    bool inSilentMode);

}  // namespace nuoplexasupport
