#include "install/Install.h"

#include <atomic>
#include <utility>

#include "common/Failure.h"
#include "install/Intake.h"

namespace orvane::plexa::zarnd {

namespace {

/// Bytes that came and bytes unpacked, as one share.
class Share {
  public:
    Share(std::uint64_t inSize, const std::function<void(double)>& inOnShare)
        : mSize(inSize), mOnShare(inOnShare) {}

    void Received(std::uint64_t inBytes) { Tell(mReceived, inBytes); }
    void Unpacked(std::uint64_t inBytes) { Tell(mUnpacked, inBytes); }

  private:
    void Tell(std::atomic<std::uint64_t>& ioPart, std::uint64_t inBytes) {
        ioPart = inBytes;
        mOnShare(static_cast<double>(mReceived + mUnpacked) / (2.0 * static_cast<double>(mSize)));
    }

    std::uint64_t mSize;
    const std::function<void(double)>& mOnShare;
    std::atomic<std::uint64_t> mReceived{0};
    std::atomic<std::uint64_t> mUnpacked{0};
};

}  // namespace

void CheckConflicts(const std::vector<std::string>& inNames, const ConflictFinder& inConflicts) {
    if (inNames.empty()) return;
    std::string running;
    for (const std::string& name : inConflicts(inNames)) running += (running.empty() ? "" : ",") + name;
    if (!running.empty()) throw Failure(ErrorCode::kConflictingProcesses, running);
}

void Install(const std::string& inProduct, const ModuleSpec& inModule, const ModuleStore& inStore,
             const FetchSettings& inSettings, const ConflictFinder& inConflicts, const InstallWatch& inWatch,
             const std::stop_token& inStop) {
    CheckConflicts(inModule.mConflicts, inConflicts);
    inWatch.mOnStep(InstallStep::kFetching);
    Share share(inModule.mSize, inWatch.mOnShare);
    Intake intake(
        inModule, [&] { return inStore.Stage(inProduct, inModule.mId); },
        {[&](std::uint64_t inBytes) { share.Received(inBytes); },
         [&](std::uint64_t inBytes) { share.Unpacked(inBytes); }},
        inStop);
    Fetch(inModule.mArchive, inModule.mSize, inSettings, intake, inStop);
    Intake::Result result = intake.Finish();
    CheckStop(inStop);
    inWatch.mOnStep(InstallStep::kCompleting);
    ModuleStore::Complete(result.mStaged, {inProduct, inModule.mId, inModule.mVersion, inModule.mSha256,
                                           inModule.mNeeds, inModule.mConflicts, result.mFiles});
    // They may have been started meanwhile.
    CheckConflicts(inModule.mConflicts, inConflicts);
    CheckStop(inStop);
    inWatch.mOnStep(InstallStep::kSwitching);
    inStore.Switch(std::move(result.mStaged), inProduct, inModule.mId);
    inWatch.mOnStep(InstallStep::kInstalled);
}

}  // namespace orvane::plexa::zarnd
