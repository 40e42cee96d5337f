/// Memory that the processes of a campaign share, so that none has to be asked for what it saw, least of all
/// one that stands still.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>
#include <type_traits>

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace campaign {

/// One `Board` in a file, mapped by every process that names it; zero at first. Pages that nobody touches
/// cost nothing.
template <typename Board>
class SharedBoard {
  public:
    /// Throws `std::system_error`.
    explicit SharedBoard(const std::string& inPath) {
        static_assert(std::is_trivially_destructible_v<Board>);
        const int file = ::open(inPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        const bool sized = file >= 0 && ::ftruncate(file, sizeof(Board)) == 0;
        void* const memory =
            sized ? ::mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0) : MAP_FAILED;
        const int error = errno;
        if (file >= 0) ::close(file);
        if (memory == MAP_FAILED) throw std::system_error(error, std::system_category(), inPath);
        mBoard = static_cast<Board*>(memory);
    }
    ~SharedBoard() { ::munmap(mBoard, sizeof(Board)); }
    SharedBoard(const SharedBoard&) = delete;
    SharedBoard& operator=(const SharedBoard&) = delete;

    Board& operator*() const noexcept { return *mBoard; }
    Board* operator->() const noexcept { return mBoard; }

  private:
    Board* mBoard;
};

/// Waits, in whatever process, until ioWord isn't inValue any more.
inline void WaitWhile(std::atomic<std::uint32_t>& ioWord, std::uint32_t inValue) {
    while (ioWord.load() == inValue)
        ::syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&ioWord), FUTEX_WAIT, inValue, nullptr);
}

/// Sets ioWord and wakes everybody who waits for that, in every process.
inline void SetAndWake(std::atomic<std::uint32_t>& ioWord, std::uint32_t inValue) {
    ioWord.store(inValue);
    ::syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&ioWord), FUTEX_WAKE, INT32_MAX);
}

}  // namespace campaign
