#include "PlexaControl/Controller.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Applications.h"
#include "Launch.h"
#include "Processes.h"
#include "Trouble.h"

namespace orvane::plexa::api5 {

namespace {

using control::Application;

// What an operation gives when it can't do its work.
template <typename Result, typename Operation>
Result Guarded(Result inFailure, const Operation& inOperation) noexcept {
    try {
        return inOperation();
    } catch (const std::exception& error) {
        control::TraceTrouble(error.what());
    } catch (...) {
        control::TraceTrouble("an unknown exception");
    }
    return inFailure;
}

std::unique_ptr<char[]> Copy(const std::string& inText) {
    auto copy = std::make_unique<char[]>(inText.size() + 1);
    std::memcpy(copy.get(), inText.c_str(), inText.size() + 1);
    return copy;
}

class Controller final : public IPlexaController {
  public:
    Controller() : mApplications(control::DataFolders()) {}

    void Reserved0() override {}
    void Reserved1() override {}
    void Reserved3() override {}
    void Reserved9() override {}

    bool LaunchApp(const char* inAppId, bool inNewInstance, const char* inArguments,
                   void* /*inReserved*/) override {
        return Guarded(false, [&] {
            const std::optional<Application> application = Find(inAppId);
            const auto arguments = inArguments != nullptr ? control::SplitWords(inArguments) : std::nullopt;
            if (!application || !arguments) return false;
            const control::TroubleDelay delay;
            // So that of two callers at the same time one finds what the other has started.
            const std::scoped_lock lock(mLaunching);
            if (!inNewInstance && control::FindProcess(*application, Known()) != 0) return arguments->empty();
            return control::Launch(*application, *arguments);
        });
    }

    int GetProcessId(const char* inAppId, void* /*inReserved*/) override {
        return Guarded(0, [&] {
            const std::optional<Application> application = Find(inAppId);
            return application ? control::FindProcess(*application, Known()) : 0;
        });
    }

    bool CheckAppInstalled(const char* inAppId, void* /*inReserved*/) override {
        return Guarded(false, [&] { return Find(inAppId).has_value(); });
    }

    bool GetAppPath(const char* inAppId, const char** outPath, void* /*inReserved*/) override {
        return Guarded(false, [&] {
            const std::optional<Application> application = outPath != nullptr ? Find(inAppId) : std::nullopt;
            if (application) *outPath = Copy(application->mPath).release();
            return application.has_value();
        });
    }

    void ReleaseAppPath(const char* inPath) override { delete[] inPath; }

    bool GetTargetSpecifierList(const char*** outSpecifiers, std::size_t* outCount,
                                void* /*inReserved*/) override {
        return Guarded(false, [&] {
            if (outSpecifiers == nullptr || outCount == nullptr) return false;
            const std::vector<std::string> ids = AppIds();
            auto list = std::make_unique<const char*[]>(ids.size());
            std::vector<std::unique_ptr<char[]>> texts;
            texts.reserve(ids.size());
            for (const std::string& id : ids) texts.push_back(Copy(id));
            for (std::size_t i = 0; i != ids.size(); ++i) list[i] = texts[i].release();
            *outSpecifiers = list.release();
            *outCount = ids.size();
            return true;
        });
    }

    void ReleaseTargetSpecifierList(const char** inSpecifiers, std::size_t inCount) override {
        if (inSpecifiers == nullptr) return;
        for (std::size_t i = 0; i != inCount; ++i) delete[] inSpecifiers[i];
        delete[] inSpecifiers;
    }

    // Of each, in order.
    std::vector<int> ProcessIds(std::span<const char* const> inAppIds) {
        std::vector<Application> installed;
        std::vector<std::size_t> places;
        for (std::size_t i = 0; i != inAppIds.size(); ++i) {
            std::optional<Application> application = Find(inAppIds[i]);
            if (!application) continue;
            installed.push_back(*std::move(application));
            places.push_back(i);
        }
        const std::vector<int> found = control::FindProcesses(installed, Known());
        std::vector<int> ids(inAppIds.size(), 0);
        for (std::size_t i = 0; i != found.size(); ++i) ids[places[i]] = found[i];
        return ids;
    }

  private:
    std::optional<Application> Find(const char* inAppId) {
        if (inAppId == nullptr) return std::nullopt;
        const control::TroubleDelay delay;
        const std::scoped_lock lock(mLooking);
        return mApplications.Find(inAppId);
    }
    std::vector<std::string> AppIds() {
        const control::TroubleDelay delay;
        const std::scoped_lock lock(mLooking);
        return mApplications.AppIds();
    }
    std::vector<control::KnownEntry> Known() {
        const std::scoped_lock lock(mLooking);
        return mApplications.Known();
    }

    std::mutex mLooking;
    control::Applications mApplications;
    std::mutex mLaunching;
};

// Never destroyed: a host's statics may let go of the controller after this library's would be gone.
struct Instance {
    std::mutex mLock;
    std::size_t mReferences = 0;
    std::unique_ptr<Controller> mController;
};

Instance& TheInstance() {
    static auto& sInstance = *new Instance;
    return sInstance;
}

}  // namespace

PlexaControlErrorCode IPlexaController::GetInstance(IPlexaController** outController) noexcept {
    if (outController == nullptr) return kPlexaControlErrorCode_InvalidParameter;
    *outController = nullptr;
    return Guarded(kPlexaControlErrorCode_Unknown, [&] {
        Instance& instance = TheInstance();
        const std::scoped_lock lock(instance.mLock);
        if (instance.mController == nullptr) instance.mController = std::make_unique<Controller>();
        ++instance.mReferences;
        *outController = instance.mController.get();
        return kPlexaControlErrorCode_None;
    });
}

void IPlexaController::ReleaseInstance() noexcept {
    Instance& instance = TheInstance();
    std::unique_ptr<Controller> last;
    const std::scoped_lock lock(instance.mLock);
    if (instance.mReferences != 0 && --instance.mReferences == 0) last = std::move(instance.mController);
}

PlexaControlErrorCode IPlexaController::GetProcessIds(const char* const* inAppIds, std::size_t inCount,
                                                      int* outProcessIds) noexcept {
    if (inCount == 0) return kPlexaControlErrorCode_None;
    if (inAppIds == nullptr || outProcessIds == nullptr) return kPlexaControlErrorCode_InvalidParameter;
    IPlexaController* controller = nullptr;
    const PlexaControlErrorCode code = GetInstance(&controller);
    if (code != kPlexaControlErrorCode_None) return code;
    const auto result = Guarded(kPlexaControlErrorCode_Unknown, [&] {
        const auto ids = static_cast<Controller*>(controller)->ProcessIds({inAppIds, inCount});
        std::copy(ids.begin(), ids.end(), outProcessIds);
        return kPlexaControlErrorCode_None;
    });
    ReleaseInstance();
    return result;
}

}  // namespace orvane::plexa::api5
