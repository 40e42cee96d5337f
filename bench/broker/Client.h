/// A client with just enough of the protocol to keep a broker busy: it honours windows and acknowledges in
/// batches.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "wire/FrameReader.h"
#include "wire/Messages.h"

namespace bench {

namespace wire = orvane::plexa::wire;

class Client {
  public:
    /// Connects and joins. Throws std::runtime_error or std::system_error.
    Client(const std::string& inSocketPath, const std::string& inAppId);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Waits until another receiver is there.
    void AwaitPeer();
    wire::Slot Peer() const { return mPeer; }

    /// Sends inCount messages of inPayload bytes to the peer, as many per write as fit 64 KiB, within the
    /// window; returns when all are consumed.
    void SendMany(std::uint64_t inCount, std::size_t inPayload);
    /// Receives inCount messages, acknowledging as it goes.
    void ReceiveMany(std::uint64_t inCount);
    /// Sends one message and waits for one.
    void Exchange(std::size_t inPayload);
    /// Waits for one message and sends one, inCount times.
    void Answer(std::uint64_t inCount, std::size_t inPayload);

  private:
    void SendOne(std::size_t inPayload);
    std::size_t AppendFrame(std::vector<std::byte>& outBytes, std::size_t inPayload);
    void Write(const std::byte* inBytes, std::size_t inLength);
    void FlushControl();
    /// Reads once, waiting if need be, and handles all that came.
    void Read();
    void Acknowledge();

    wire::Limits mLimits;
    wire::BufferPool mPool{std::size_t{256} << 10U};
    wire::FrameReader mReader{mPool, mLimits, wire::Direction::kToClient};
    wire::OutputQueue mControl;
    int mSocket;
    bool mJoined = false;
    wire::Slot mPeer = wire::kNoSlot;
    std::uint64_t mSent = 0;
    std::uint64_t mConfirmed = 0;
    std::size_t mWindow = std::size_t{64} << 10U;
    std::uint64_t mReceived = 0;
    /// How many of them have been asked for; the first may come together with the news of their sender.
    std::uint64_t mAwaited = 0;
    wire::Sequence mLastReceived = 0;
    std::size_t mUnacknowledged = 0;
};

}  // namespace bench
