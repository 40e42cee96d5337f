/// Chance that a seed repeats.
#pragma once

#include <cstdint>
#include <random>

namespace campaign {

/// A seed that nobody chose.
inline std::uint64_t NewSeed() { return std::random_device{}(); }

/// One thread at a time.
class Random {
  public:
    /// inStream: tells apart those that share a seed.
    explicit Random(std::uint64_t inSeed, std::uint64_t inStream = 0)
        : mEngine(inSeed * 0x9E3779B97F4A7C15U + inStream) {}

    /// 0 to inLimit - 1; inLimit isn't 0.
    std::uint64_t Below(std::uint64_t inLimit) { return mEngine() % inLimit; }
    bool OneIn(std::uint64_t inLimit) { return Below(inLimit) == 0; }
    /// For std::shuffle.
    std::mt19937_64& Engine() noexcept { return mEngine; }

  private:
    std::mt19937_64 mEngine;
};

}  // namespace campaign
