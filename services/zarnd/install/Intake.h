/// From the bytes of an archive to a staged module, while they come.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

#include "catalogue/Catalogue.h"
#include "digest/Sha256.h"
#include "fetch/Fetch.h"
#include "install/BytePipe.h"
#include "install/ModuleStore.h"

namespace orvane::plexa::zarnd {

/// Takes an archive as it comes: one thread digests it, a second unpacks it, so that neither waits for the
/// other and the archive is never stored. What is unpacked counts only once `Finish` has found the digest
/// right.
class Intake final : public IByteSink {
  public:
    using Stager = std::function<StagedModule()>;
    /// Told from both threads: bytes of the archive that have come, and that have been unpacked.
    struct Progress {
        std::function<void(std::uint64_t)> mOnReceived;
        std::function<void(std::uint64_t)> mOnUnpacked;
    };

    Intake(const ModuleSpec& inModule, Stager inStager, Progress inProgress, std::stop_token inStop);
    Intake(const Intake&) = delete;
    Intake& operator=(const Intake&) = delete;
    ~Intake() override;

    /// Stages anew; what came before is removed.
    void Begin() override;
    /// Throws `Cancelled`, and what the disk refuses.
    void Take(std::span<const std::byte> inBytes) override;

    struct Result {
        StagedModule mStaged;
        FileListSummary mFiles;
    };
    /// After the last byte. Throws `Failure`: a wrong digest first, because it explains whatever else is
    /// wrong.
    Result Finish();

  private:
    struct Unpacking;

    const ModuleSpec& mModule;
    Stager mStager;
    Progress mProgress;
    std::stop_token mStop;
    Sha256 mDigest;
    std::uint64_t mReceived = 0;
    std::unique_ptr<Unpacking> mUnpacking;
};

}  // namespace orvane::plexa::zarnd
