/// The core library's allocator. Strings, variant objects and shared objects of the core library use it, so
/// that memory handed from one library to another is always released where it was taken. Every function may
/// be called on any thread.
#pragma once

#include <cstddef>
#include <limits>
#include <new>
#include <type_traits>

#include "nuocore/export.h"

namespace nuocore::allocator {

/// Takes `inBytes` bytes, aligned for every fundamental type. Throws `std::bad_alloc`.
NUOCORE_API void* Allocate(std::size_t inBytes);

/// Gives back memory taken with `Allocate`, on any thread; `inBytes` is what was asked for. A null pointer is
/// ignored.
NUOCORE_API void Free(void* inMemory, std::size_t inBytes) noexcept;

/// Standard allocator over `Allocate` and `Free`. Stateless: all instances are equal.
template <typename T>
class STLAllocator {
  public:
    using value_type = T;
    using is_always_equal = std::true_type;
    using propagate_on_container_move_assignment = std::true_type;

    STLAllocator() noexcept = default;
    template <typename U>
    STLAllocator(const STLAllocator<U>& /*inOther*/) noexcept {}  // NOLINT: converting by contract

    /// Room for `inCount` objects. Throws `std::bad_array_new_length` or `std::bad_alloc`.
    [[nodiscard]] T* allocate(std::size_t inCount) {
        static_assert(alignof(T) <= alignof(std::max_align_t), "over-aligned types are not supported");
        if (inCount > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(Allocate(inCount * sizeof(T)));
    }
    void deallocate(T* inMemory, std::size_t inCount) noexcept { Free(inMemory, inCount * sizeof(T)); }

    friend bool operator==(const STLAllocator& /*inA*/, const STLAllocator& /*inB*/) noexcept { return true; }
};

}  // namespace nuocore::allocator
