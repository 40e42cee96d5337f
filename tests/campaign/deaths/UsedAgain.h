/// Deaths that no broker sees, after which the process id may belong to somebody else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "Stage.h"

namespace campaign::deaths {

/// Of members that died unseen.
struct UnseenToll {
    std::size_t mGone = 0;       ///< while no broker ran, and nobody has the process id
    std::size_t mReused = 0;     ///< the same, and a stranger has the process id
    std::size_t mTakenOver = 0;  ///< while the broker stood still, and a stranger has the process id
    std::size_t mSkipped = 0;    ///< of the two with strangers, which cannot be made here

    [[nodiscard]] std::size_t Deaths() const { return mGone + mReused + mTakenOver; }
};

/// inCount such deaths, one after another. Throws `std::runtime_error` as soon as a stranger is taken for the
/// dead one, or something is left over.
UnseenToll RunUnseenDeaths(Stage& ioStage, std::size_t inCount, Latencies& ioLatencies);

}  // namespace campaign::deaths
