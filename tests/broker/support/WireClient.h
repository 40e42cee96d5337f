/// A client that speaks the raw wire, honestly or not.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "FileDescriptor.h"
#include "Identity.h"
#include "wire/FrameReader.h"
#include "wire/Messages.h"

namespace wire = orvane::plexa::wire;

/// A frame, copied out of the stream.
struct ReceivedFrame {
    wire::FrameKind kind{};
    wire::Slot source = 0;
    wire::Slot destination = 0;
    wire::Sequence sequence = 0;
    std::string type;
    std::string payload;
    /// Of Peer frames.
    wire::PeerNotice peer;
    /// Of Joined frames.
    wire::Joined joined;
    /// Of Refuse frames.
    wire::Refusal refusal;
};

class WireClient {
  public:
    /// Connects as inIdentity, or as a process of its own. Throws std::system_error when nobody listens
    /// there.
    explicit WireClient(const std::string& inSocketPath,
                        std::shared_ptr<Identity> inIdentity = std::make_shared<Identity>());

    Identity& Process() { return *mIdentity; }
    /// The process, to connect as once more.
    const std::shared_ptr<Identity>& Shared() const { return mIdentity; }

    /// Greets and joins; returns what was told up to Joined. Throws std::runtime_error when that doesn't
    /// come.
    std::vector<ReceivedFrame> Join(const std::string& inAppId, bool inReceives = true);
    /// The same, as the member it was before.
    std::vector<ReceivedFrame> Resume(const std::string& inAppId, wire::MemberId inMember);
    void Greet();
    wire::Slot Slot() const { return mJoined.slot; }
    wire::MemberId Member() const { return mJoined.member; }

    /// inWrite puts frames into the queue and pool it is given; they are then sent.
    template <typename Writer>
    void Send(Writer inWrite) {
        inWrite(mOutput, mPool);
        Flush();
    }
    void SendMessage(wire::Sequence inSequence, wire::Slot inDestination, std::string_view inType,
                     std::string_view inPayload, wire::Slot inSource = 0);
    /// Waits until the bytes are taken; false when the broker has closed.
    bool SendBytes(std::string_view inBytes);
    /// Sends as much as is taken at once; returns how much.
    std::size_t SendWhatFits(std::string_view inBytes);

    /// The next frame; none when the connection ends, or when nothing comes in time.
    std::optional<ReceivedFrame> Next(std::chrono::milliseconds inPatience = std::chrono::seconds(20));
    /// The next frame of that kind, passing over others.
    std::optional<ReceivedFrame> Next(wire::FrameKind inKind);
    /// True when the broker closes the connection, whatever it sends before.
    bool IsClosed();
    /// Nothing more comes before the answer to a status request does; returns what came.
    std::vector<ReceivedFrame> EverythingSoFar();
    std::string Status();
    void Close() { mSocket.Close(); }
    int Descriptor() const { return mSocket.Get(); }

  private:
    std::vector<ReceivedFrame> Join(const wire::Join& inJoin);
    void Flush();

    wire::Limits mLimits;
    wire::BufferPool mPool{std::size_t{256} << 10U};
    wire::OutputQueue mOutput;
    std::shared_ptr<Identity> mIdentity;
    orvane::plexa::broker::FileDescriptor mSocket;
    wire::FrameReader mReader{mPool, mLimits, wire::Direction::kToClient};
    wire::Joined mJoined;
    bool mEnded = false;
};

/// A message's frame as bytes.
std::string MessageFrame(wire::Sequence inSequence, wire::Slot inDestination, std::string_view inType,
                         std::string_view inPayload, wire::Slot inSource = 0);
