/// The system calls on a connection to the broker. No function blocks, but `Await` on purpose, and none
/// raises a signal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "wire/FileDescriptor.h"
#include "wire/OutputQueue.h"

namespace orvane::plexa::message5 {

/// A connection, or why there is none.
struct ConnectResult {
    wire::FileDescriptor socket;
    /// Nobody listens: a broker has to be started.
    bool absent = false;
    /// What is wrong, as the system says it; empty with a socket.
    std::string trouble;
};

/// Connects to the socket at inPath, if it is one of this user's.
ConnectResult Connect(const std::string& inPath);

/// What became of reading or writing.
enum class Transfer : std::uint8_t {
    /// Some bytes went, or all that there were.
    kDone,
    /// Nothing goes now; wait for the socket.
    kWouldBlock,
    /// The system has no memory for it now. The socket does not tell when it has: try again after a pause.
    kShortage,
    /// The connection is no more.
    kClosed,
};

/// Reads what is there, at most inSpace; outBytes: how much.
Transfer Read(int inSocket, std::span<std::byte> inSpace, std::size_t& outBytes);
/// Writes from the front of inQueue what the socket takes in one call; outBytes: how much. The queue is not
/// changed, so that others may append meanwhile if inPieces were gathered before.
Transfer Write(int inSocket, std::span<iovec> inPieces, std::size_t& outBytes);
/// Ends a connection for both sides. Whoever reads or waits for it on any thread meets the end.
void ShutDown(int inSocket) noexcept;

/// Something another thread can be woken by while it waits for descriptors. Any thread.
class Waker {
  public:
    /// Throws std::system_error when the system gives no descriptor.
    Waker();
    void Wake() noexcept;
    /// Forgets all wake-ups so far.
    void Clear() noexcept;
    int Descriptor() const noexcept { return mEvent.Get(); }

  private:
    wire::FileDescriptor mEvent;
};

}  // namespace orvane::plexa::message5
