// One number for everything in a world that can matter later. Two worlds that differ in nothing but the
// numbers of their connections have the same.
#pragma once

#include <cstdint>

#include "Setup.h"
#include "World.h"

namespace orvane::plexa::test {

/// In a search of ten million states the chance that two are taken for one is three in a million.
class Hash {
  public:
    void Add(std::uint64_t inWord) noexcept {
        mValue = (mValue ^ inWord) * 0x9E3779B97F4A7C15U;
        mValue ^= mValue >> 29U;
        mValue *= 0xBF58476D1CE4E5B9U;
        mValue ^= mValue >> 32U;
    }
    std::uint64_t Value() const noexcept { return mValue; }

  private:
    std::uint64_t mValue = 0x243F6A8885A308D3U;
};

/// Left out is what cannot matter in a search of inSetup: bytes on the way where no window is ever full,
/// times between two of its leaps, and what only saves the cores a look.
void AddWorld(Hash& ioHash, World& inWorld, const Setup& inSetup);

}  // namespace orvane::plexa::test
