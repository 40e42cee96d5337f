#include "service/Workers.h"

#include <atomic>
#include <exception>

#include "service/Notes.h"

namespace orvane::plexa::zarnd {

namespace {

const char* NameOf(InstallStep inStep) {
    switch (inStep) {
        case InstallStep::kFetching:
            return "fetching";
        case InstallStep::kCompleting:
            return "writing to the disk";
        case InstallStep::kSwitching:
            return "switching";
        case InstallStep::kInstalled:
            return "installed";
    }
    return "";
}

/// Shares that are worth an input: whole thousandths, each once.
class Thousandths {
  public:
    /// Whether the share is further than all before. Any thread.
    bool IsFurther(double inShare) {
        const int now = static_cast<int>(inShare * 1000);
        int told = mTold;
        while (now > told) {
            if (mTold.compare_exchange_weak(told, now)) return true;
        }
        return false;
    }

  private:
    std::atomic<int> mTold{-1};
};

}  // namespace

void Workers::Start(const ModuleKey& inKey, const ModuleSpec& inModule) {
    std::jthread thread([this, inKey, inModule](const std::stop_token& inStop) {
        mInputs.Put(WorkDone{inKey, Work(inKey, inModule, inStop)});
    });
    mThreads[inKey] = std::move(thread);
}

void Workers::Stop(const ModuleKey& inKey) {
    const auto found = mThreads.find(inKey);
    if (found != mThreads.end()) found->second.request_stop();
}

void Workers::Install(const ModuleKey& inKey, const ModuleSpec& inModule, const std::stop_token& inStop) {
    const auto installed = mStore.Installed(inKey.mProduct, inKey.mModule);
    if (installed && installed->mArchiveSha256 == inModule.mSha256 &&
        mStore.Verify(inKey.mProduct, inKey.mModule, 1, inStop).empty()) {
        return;
    }
    Thousandths told;
    const InstallWatch watch{
        [&](InstallStep inStep) {
            NoteProvoked("module " + inKey.mModule + " of " + inKey.mProduct + ": " + NameOf(inStep));
        },
        [&](double inShare) {
            if (told.IsFurther(inShare)) mInputs.Put(ShareReport{inKey, inShare});
        }};
    zarnd::Install(inKey.mProduct, inModule, mStore, mSettings, mConflicts, watch, inStop);
}

Outcome Workers::Work(const ModuleKey& inKey, const ModuleSpec& inModule,
                      const std::stop_token& inStop) noexcept {
    try {
        Install(inKey, inModule, inStop);
        return Completed{};
    } catch (const Failure& failure) {
        NoteProvoked("module " + inKey.mModule + " of " + inKey.mProduct +
                     " can't be installed: " + failure.what());
        return Error{failure.Code(), failure.what()};
    } catch (const Cancelled&) {
        return CancelledByAsker{};
    } catch (const std::exception& error) {
        NoteProvoked("module " + inKey.mModule + " of " + inKey.mProduct +
                     " can't be installed, by a fault of this service: " + error.what());
        return Error{ErrorCode::kInternal, std::string("this service fails: ") + error.what()};
    }
}

}  // namespace orvane::plexa::zarnd
