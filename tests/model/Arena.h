// A block of memory that everything made while it is open lives in, so that copying the block copies the
// whole world: a search can go back to any moment without the cores knowing how to be copied.
#pragma once

#include <cstddef>
#include <vector>

namespace orvane::plexa::test {

/// One in a program, used by one thread.
class Arena {
  public:
    /// While one lives, operator new takes from the arena. Not to be nested.
    class Open {
      public:
        Open() noexcept;
        ~Open();
        Open(const Open&) = delete;
        Open& operator=(const Open&) = delete;
    };

    /// Forgets everything in it; nothing in it is destroyed.
    static void Clear() noexcept;
    static void Save(std::vector<std::byte>& outImage);
    /// Everything in it is as it was, at the same addresses.
    static void Restore(const std::vector<std::byte>& inImage) noexcept;
};

}  // namespace orvane::plexa::test
