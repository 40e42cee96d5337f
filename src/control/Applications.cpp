#include "nuoplexasupport/Applications.h"

#include <cstddef>
#include <memory>
#include <utility>

#include "PlexaControl/Controller.h"
#include "control/PlexaControllerRetainRef.h"
#include "control/TraceTimer.h"
#include "nuocore/StringConversion.h"

namespace nuoplexasupport {

using orvane::plexa::api5::IPlexaController;
using orvane::plexa::api5::kPlexaControlErrorCode_None;

namespace {

constexpr std::int32_t kPathTraceLevel = 6;

/// Does something at the end of a scope, however it is left.
template <typename Action>
class ScopeExit {
  public:
    explicit ScopeExit(Action inAction) : mAction(std::move(inAction)) {}
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;
    ~ScopeExit() { mAction(); }

  private:
    Action mAction;
};

/// A reference to the controller for the duration of one call.
class ControllerRef {
  public:
    ControllerRef()
        : mHasReference(IPlexaController::GetInstance(&mController) == kPlexaControlErrorCode_None) {}
    ControllerRef(const ControllerRef&) = delete;
    ControllerRef& operator=(const ControllerRef&) = delete;
    ~ControllerRef() {
        if (mHasReference) IPlexaController::ReleaseInstance();
    }
    /// Null when there is none.
    [[nodiscard]] IPlexaController* Get() const { return mHasReference ? mController : nullptr; }

  private:
    const std::shared_ptr<PlexaControllerRetainRef> mRetainRef = GetControllerRetainRef();
    IPlexaController* mController = nullptr;
    bool mHasReference;
};

}  // namespace

UTF16String GetInstalledAppPath(const std::string& inAppId) {
    static constinit TraceTimerPlace sPlace("nuoplexasupport.GetAppPath", kPathTraceLevel);
    const ControllerRef reference;
    IPlexaController* const controller = reference.Get();
    if (controller == nullptr) return {};
    const char* path = nullptr;
    bool found = false;
    {
        const TraceTimer timer(sPlace, "GetAppPath", false);
        found = controller->GetAppPath(inAppId.c_str(), &path, nullptr);
    }
    if (!found || path == nullptr) return {};
    const ScopeExit giveBack([&] { controller->ReleaseAppPath(path); });
    return nuocore::string::StdToUTF16String(path);
}

int GetProcessIdEx(const char* inAppId) {
    const ControllerRef reference;
    IPlexaController* const controller = reference.Get();
    return controller != nullptr ? controller->GetProcessId(inAppId, nullptr) : 0;
}

void GetTargetSpecifiers(TargetSpecifiers& outSpecifiers) {
    outSpecifiers.clear();
    const ControllerRef reference;
    IPlexaController* const controller = reference.Get();
    const char** list = nullptr;
    std::size_t count = 0;
    if (controller == nullptr || !controller->GetTargetSpecifierList(&list, &count, nullptr)) return;
    // An empty one too, which may be null.
    const ScopeExit giveBack([&] { controller->ReleaseTargetSpecifierList(list, count); });
    for (std::size_t i = 0; i != count; ++i) outSpecifiers.emplace_back(list[i]);
}

bool IsAppInstalled(const std::string& inAppId) { return IsAppInstalledEx(inAppId.c_str()); }

bool IsAppInstalledEx(const char* inAppId) {
    const ControllerRef reference;
    IPlexaController* const controller = reference.Get();
    return controller != nullptr && controller->CheckAppInstalled(inAppId, nullptr);
}

bool LaunchAppEx(const char* inAppId, bool inFlag, const std::string& inText) {
    const ControllerRef reference;
    IPlexaController* const controller = reference.Get();
    return controller != nullptr && controller->LaunchApp(inAppId, inFlag, inText.c_str(), nullptr);
}

}  // namespace nuoplexasupport
