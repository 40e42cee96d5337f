#include "install/Intake.h"

#include <atomic>
#include <utility>

#include "common/Failure.h"
#include "install/FileList.h"
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

    void Run(std::uint64_t inMaxBytes, const std::function<void(std::uint64_t)>& inOnBytes,
             const std::stop_token& inStop) noexcept {
        try {
            ArchiveLimits limits;
            limits.mMaxBytes = inMaxBytes;
            FileListWriter list(mStaged.List());
            Unpack([&] { return mPipe.Read(inStop); }, mStaged.Files().string(), limits,
                   {inOnBytes, [&list](const ListedFile& inFile) { list.Add(inFile); }}, inStop);
            mFiles = list.Finish();
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
    FileListSummary mFiles;
    std::exception_ptr mFailure;
    std::atomic<bool> mIsHopeless{false};
    std::jthread mThread;  // stopped and joined when this goes, before what it works on
};

Intake::Intake(const ModuleSpec& inModule, Stager inStager, Progress inProgress, std::stop_token inStop)
    : mModule(inModule),
      mStager(std::move(inStager)),
      mProgress(std::move(inProgress)),
      mStop(std::move(inStop)) {}

Intake::~Intake() = default;

void Intake::Begin() {
    mUnpacking.reset();
    mDigest.Finish();
    mReceived = 0;
    mUnpacking = std::make_unique<Unpacking>(mStager());
    mUnpacking->mThread = std::jthread([this, unpacking = mUnpacking.get()](const std::stop_token& inStop) {
        unpacking->Run(mModule.mUnpackedSize, mProgress.mOnUnpacked, inStop);
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
        const std::stop_callback stop(mStop, [this] { mUnpacking->mThread.request_stop(); });
        mUnpacking->mThread.join();
    }
    if (mUnpacking->mFailure) std::rethrow_exception(mUnpacking->mFailure);
    return {std::move(mUnpacking->mStaged), mUnpacking->mFiles};
}

}  // namespace orvane::plexa::zarnd
