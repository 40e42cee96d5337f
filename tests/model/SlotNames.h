// Names for the slots of connections that do not depend on how many there were before.
#pragma once

#include <array>
#include <vector>

#include "wire/Types.h"

namespace orvane::plexa::test {

/// Slots that are set first have fixed names; all others are named in the order of their first appearance.
class SlotNames {
  public:
    void Set(wire::Slot inSlot, std::uint64_t inName) { mNames[mCount++] = {inSlot, inName}; }
    std::uint64_t operator()(wire::Slot inSlot) {
        if (inSlot == wire::kNoSlot || inSlot == wire::kEveryone) {
            return inSlot;
        }
        for (std::size_t i = 0; i != mCount; ++i) {
            if (mNames[i].slot == inSlot) {
                return mNames[i].name;
            }
        }
        if (mCount < mNames.size()) {
            Set(inSlot, 100 + mCount);
        }
        return 100 + mCount;
    }

  private:
    struct Named {
        wire::Slot slot = wire::kNoSlot;
        std::uint64_t name = 0;
    };
    std::array<Named, 32> mNames{};
    std::size_t mCount = 0;
};

}  // namespace orvane::plexa::test
