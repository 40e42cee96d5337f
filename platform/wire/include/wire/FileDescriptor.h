/// Owns one file descriptor. Any thread, one at a time.
#pragma once

#include <utility>

#include <unistd.h>

namespace orvane::plexa::wire {

class FileDescriptor {
  public:
    FileDescriptor() = default;
    /// Takes inDescriptor over; -1 is none.
    explicit FileDescriptor(int inDescriptor) noexcept : mDescriptor(inDescriptor) {}
    FileDescriptor(FileDescriptor&& inOther) noexcept : mDescriptor(std::exchange(inOther.mDescriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& inOther) noexcept {
        if (this != &inOther) {
            Close();
            mDescriptor = std::exchange(inOther.mDescriptor, -1);
        }
        return *this;
    }
    ~FileDescriptor() { Close(); }

    int Get() const noexcept { return mDescriptor; }
    explicit operator bool() const noexcept { return mDescriptor >= 0; }
    void Close() noexcept {
        if (mDescriptor >= 0) ::close(std::exchange(mDescriptor, -1));
    }

  private:
    int mDescriptor = -1;
};

}  // namespace orvane::plexa::wire
