#include "install/Intake.h"

#include <atomic>
#include <utility>

#include "common/Failure.h"
#include "unpack/Unpack.h"

namespace orvane::plexa::zarnd {

namespace {

// Another content would unpack no better: the disk, or the system, refuses.
bool IsOfSystem(ErrorCode inCode) {
    return inCode == ErrorCode::kDiskFull || inCode == ErrorCode::kCannotWrite;
}

}  // namespace

/// The second thread and what it works on.
struct Intake::Unpacking {
    explicit Unpacking(StagedModule inStaged) : mStaged(std::move(inStaged)) {}

    void Run(std::uint64_t inMaxBytes, const std::function<void(std::uint64_t)>& inOnBytes) noexcept {
        try {
            ArchiveLimits limits;
            limits.mMaxBytes = inMaxBytes;
            mFiles = Unpack([this] { return mPipe.Read(); }, mStaged.Files().string(), limits, inOnBytes);
        } catch (const Failure& failure) {
            mFailure = std::current_exception();
            mIsHopeless = IsOfSystem(failure.Code());
        } catch (...) {
            mFailure = std::current_exception();
        }
        mPipe.Leave();
    }

    StagedModule mStaged;
    BytePipe mPipe;
    std::map<std::string, ManifestEntry> mFiles;
    std::exception_ptr mFailure;
    std::atomic<bool> mIsHopeless{false};
    std::thread mThread;
};

Intake::Intake(const ModuleSpec& inModule, Stager inStager, Progress inProgress, std::stop_token inStop)
    : mModule(inModule),
      mStager(std::move(inStager)),
      mProgress(std::move(inProgress)),
      mStop(std::move(inStop)) {}

Intake::~Intake() { Stop(); }

void Intake::Stop() {
    if (!mUnpacking) return;
    mUnpacking->mPipe.Abandon();
    if (mUnpacking->mThread.joinable()) mUnpacking->mThread.join();
    mUnpacking.reset();
}

void Intake::Begin() {
    Stop();
    mDigest.Finish();
    mReceived = 0;
    mUnpacking = std::make_unique<Unpacking>(mStager());
    mUnpacking->mThread = std::thread([this, unpacking = mUnpacking.get()] {
        unpacking->Run(mModule.mUnpackedSize, mProgress.mOnUnpacked);
    });
}

void Intake::Take(std::span<const std::byte> inBytes) {
    mDigest.Update(inBytes);
    mUnpacking->mPipe.Write(inBytes, mStop);
    if (mUnpacking->mIsHopeless) {
        mUnpacking->mThread.join();
        std::rethrow_exception(mUnpacking->mFailure);
    }
    mReceived += inBytes.size();
    mProgress.mOnReceived(mReceived);
}

Intake::Result Intake::Finish() {
    mUnpacking->mPipe.End();
    if (mDigest.Finish() != mModule.mSha256) {
        throw Failure(ErrorCode::kOtherDigest,
                      "the archive is not the one that the catalogue describes: its digest is another");
    }
    {
        // Unpacking is behind, and may take long yet.
        const std::stop_callback stop(mStop, [this] { mUnpacking->mPipe.Abandon(); });
        mUnpacking->mThread.join();
    }
    if (mUnpacking->mFailure) std::rethrow_exception(mUnpacking->mFailure);
    return {std::move(mUnpacking->mStaged), std::move(mUnpacking->mFiles)};
}

}  // namespace orvane::plexa::zarnd
