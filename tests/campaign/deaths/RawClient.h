/// A client that writes its frames by hand, so that it can stop anywhere in them. One thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "wire/Buffer.h"
#include "wire/FileDescriptor.h"
#include "wire/FrameReader.h"
#include "wire/Messages.h"

namespace campaign::deaths {

namespace wire = orvane::plexa::wire;

class RawClient {
  public:
    /// Connects to the broker of this environment, waiting until there is one. Throws `std::system_error`.
    RawClient();

    /// The bytes that inWrite puts into the queue and pool it is given.
    template <typename Writer>
    std::string BytesOf(Writer inWrite) {
        wire::OutputQueue queue;
        inWrite(queue, mPool);
        return Bytes(queue);
    }
    /// The bytes of a greeting, or of a request to join.
    std::string Greeting();
    std::string Request(const wire::Join& inJoin);
    /// Writes them all; false when the connection is no more.
    bool Send(std::string_view inBytes) const;

    bool Greet() { return Send(Greeting()); }
    /// Asks to join, after the greeting; false when it is refused.
    bool Join(const wire::Join& inJoin);
    /// Why Join was refused.
    wire::RefuseCode Refusal() const noexcept { return mRefusal.code; }
    wire::MemberId Member() const noexcept { return mJoined.member; }
    /// The slot of the member with that app id, as it was when this one joined; 0 if there was none.
    wire::Slot Observer() const noexcept { return mObserver; }

  private:
    static std::string Bytes(const wire::OutputQueue& inQueue);
    /// Reads frames up to one that ends the joining; false at the connection's end.
    bool AwaitJoined();

    wire::Limits mLimits;
    wire::BufferPool mPool{std::size_t{256} << 10U};
    wire::FrameReader mReader{mPool, mLimits, wire::Direction::kToClient};
    wire::FileDescriptor mSocket;
    wire::Joined mJoined;
    wire::Refusal mRefusal;
    wire::Slot mObserver = wire::kNoSlot;
};

/// A message's frame.
std::string MessageFrame(wire::Sequence inSequence, wire::Slot inTo, std::string_view inType,
                         std::string_view inPayload);

}  // namespace campaign::deaths
