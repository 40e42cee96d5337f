#include "control/PlexaControllerRetainRef.h"

#include "nuocore/Singleton.h"

namespace nuoplexasupport {

using orvane::plexa::api5::IPlexaController;
using orvane::plexa::api5::kPlexaControlErrorCode_None;

namespace {

using Holder = std::shared_ptr<PlexaControllerRetainRef>;

// The termination may run when the statics of this library are gone: it then finds no holder any more.
void Terminate(const std::weak_ptr<PlexaControllerRetainRef>& inHolder) {
    const Holder holder = inHolder.lock();
    if (holder != nullptr && holder->mController != nullptr) {
        IPlexaController::ReleaseInstance();
        holder->mController = nullptr;
    }
}

Holder MakeHolder() {
    auto holder = std::make_shared<PlexaControllerRetainRef>();
    if (IPlexaController::GetInstance(&holder->mController) != kPlexaControlErrorCode_None) {
        holder->mController = nullptr;
        return holder;
    }
    try {
        nuocore::singleton::AddTerminationForSingleton("PlexaControllerRetainRef",
                                                       [weak = std::weak_ptr(holder)] { Terminate(weak); });
    } catch (...) {
        // The next call makes another one.
        IPlexaController::ReleaseInstance();
        throw;
    }
    return holder;
}

}  // namespace

Holder GetControllerRetainRef() {
    static const Holder sHolder = MakeHolder();
    return sHolder;
}

}  // namespace nuoplexasupport
