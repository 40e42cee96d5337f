/// The deaths while one broker serves.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "Plan.h"
#include "Stage.h"

namespace campaign::deaths {

struct Toll {
    std::size_t mDeaths = 0;
    /// Had been in the observer's list.
    std::size_t mListed = 0;
};

/// What processes have grown by, between the first third of the deaths, without those before pools and caches
/// were full, and the last.
struct Growth {
    std::size_t mDeaths = 0;
    std::ptrdiff_t mBroker = 0;
    std::ptrdiff_t mObserver = 0;
};

class Batches {
  public:
    explicit Batches(Stage& ioStage) : mStage(ioStage) {}

    /// Lets all of them die, some at a time. Throws `std::runtime_error` as soon as something is left over.
    void Run(std::span<const Plan> inPlans, Latencies& ioLatencies);

    const std::array<Toll, kKinds>& Tolls() const noexcept { return mTolls; }
    /// Nothing when there were too few deaths, or memory means nothing here.
    std::optional<Growth> Grown() const;

  private:
    void RunBatch(std::span<const Plan> inPlans, Latencies& ioLatencies);
    void Measure(std::size_t inDone, std::size_t inAll);

    struct Sample {
        std::size_t mDeaths = 0;
        std::size_t mBroker = 0;
        std::size_t mObserver = 0;
    };

    Stage& mStage;
    std::array<Toll, kKinds> mTolls{};
    std::size_t mNamed = 0;
    std::vector<Sample> mSamples;
};

}  // namespace campaign::deaths
