/// One process's part in the exchange: sends, checks what arrives, answers requests, and keeps the board.
#pragma once

#include <PlexaMessage5/PlexaMessage5.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include "Board.h"
#include "Letter.h"
#include "support/Random.h"

namespace campaign::kills {

/// Its operations are one thread's; what arrives is handled on the delivery thread.
class Peer final : public orvane::plexa::api5::IPlexaMessageListener {
  public:
    /// Joins the bus. inAwaitsAll: it was there before anybody sent, so no broadcast may be missing.
    Peer(Board& ioBoard, std::size_t inPlace, std::uint64_t inSeed, bool inAwaitsAll);
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    /// Leaves once what it sent is handed over.
    ~Peer() override;

    /// Whether it is ready and all members are in the list.
    bool KnowsAll();
    /// From now on no broadcast of a member may be missing.
    void AwaitAllFromNowOn();
    /// Whether every member's first broadcast since then has come, and every answer.
    bool HasWhatItAwaits() const;

    void Broadcast(std::size_t inSize);
    /// One message of any kind, to anybody.
    void SendAny();
    /// Whether as much is on the way as may be.
    bool HasSentALot() const;

    /// Notes what must not happen.
    void Trouble(const std::string& inText);

  private:
    using EndPoint = orvane::plexa::api5::EndPoint;

    void Receive(const orvane::plexa::api5::PlexaMessage& inMessage) override;
    void CheckError(const orvane::plexa::api5::ErrorMessage& inError);
    void Check(const Letter& inLetter, std::size_t inSize);
    bool CheckNumber(Lane& ioLane, const Letter& inLetter);
    /// What is wrong on a lane; the first thing is kept.
    void Note(Lane& ioLane, const Letter& inLetter, Wrong inWrong, std::uint64_t inExpected,
              std::uint64_t inGot);
    void CheckAnswer(Lane& ioLane, const Letter& inLetter);

    std::optional<EndPoint> Find(std::size_t inPlace);
    std::size_t AnySize();
    void SendTo(std::size_t inPlace, const EndPoint& inEndPoint, Letter inLetter, std::size_t inSize);
    void Send(Letter inLetter, std::size_t inSize, const EndPoint& inEndPoint);

    Board& mBoard;
    const std::size_t mPlace;
    Place& mOwn;
    Random mRandom;  // the sending thread's
    Random mAnswerRandom;
    orvane::plexa::api5::IPlexaMessageDispatcher* mDispatcher = nullptr;

    // Both threads send, and the order of sending is to be known.
    std::mutex mSending;
    std::uint64_t mSequence = 0;
    std::array<std::deque<std::uint64_t>, kPlaces> mRequests;  // unanswered, by receiver

    std::array<std::uint64_t, kPlaces> mLastSequence{};
    std::array<std::atomic<std::uint64_t>, kPlaces> mAwaited{};  // the first broadcast that must come
};

}  // namespace campaign::kills
