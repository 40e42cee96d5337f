/// One client's socket: reads frames, writes what is queued, never waits. Single-threaded.
#pragma once

#include <cstdint>

#include "FileDescriptor.h"
#include "wire/FrameReader.h"
#include "wire/OutputQueue.h"

namespace orvane::plexa::broker {

enum class ReadResult : std::uint8_t {
    /// The buffer was filled: more may be there.
    kFull,
    /// All there was has been read.
    kSome,
    /// There was nothing.
    kNothing,
    /// The peer has closed; everything before has been read.
    kEnd,
};

enum class WriteResult : std::uint8_t {
    /// The queue is empty.
    kEmpty,
    /// The socket takes no more for now.
    kBlocked,
    /// The peer does not read any more; it may have written something before.
    kBroken,
};

class Channel {
  public:
    /// inPool and inLimits must outlive the channel.
    Channel(FileDescriptor inSocket, wire::BufferPool& inPool, const wire::Limits& inLimits);

    int Descriptor() const noexcept { return mSocket.Get(); }
    /// Reads once. Then take the frames out of Reader. Throws std::bad_alloc.
    ReadResult Read();
    wire::FrameReader& Reader() noexcept { return mReader; }
    /// Gives the read buffer back, but for the part of a frame that is in it: an idle client costs no memory,
    /// and the next one to be served gets a buffer that is still in the processor's cache. Throws
    /// std::bad_alloc.
    void Rest();
    /// Gives the read buffer back with all that is in it: nothing is read any more.
    void StopReading() noexcept { mReader.Reset(); }
    WriteResult Write(wire::OutputQueue& inQueue);

  private:
    FileDescriptor mSocket;
    wire::FrameReader mReader;
};

}  // namespace orvane::plexa::broker
