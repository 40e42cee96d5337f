/// The thread's membership in a COM apartment, which the core parser needs on Windows.
#pragma once

#include <cstdint>

namespace nuoplexasupport {

/// The operations of the system, or those of a test.
struct ComApartment {
    static constexpr std::int32_t kOk = 0;     ///< joined
    static constexpr std::int32_t kFalse = 1;  ///< was in this apartment already; counts as one more join

    /// Joins the calling thread; gets no reserved pointer and the concurrency model (0: multithreaded).
    std::int32_t (*mInitialize)(void* inReserved, std::uint32_t inConcurrencyModel);
    /// Undoes one join.
    void (*mUninitialize)();
};

/// The operations of this system.
const ComApartment& SystemComApartment() noexcept;

}  // namespace nuoplexasupport
