/// The campaign's own place on the bus: it sees who is there, sends to the victims, and talks to one that
/// lives on.
#pragma once

#include <PlexaMessage5/PlexaMessage5.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Book.h"
#include "support/Random.h"

namespace campaign::deaths {

using Time = std::chrono::steady_clock::time_point;

class Observer final : public orvane::plexa::api5::IPlexaMessageListener {
  public:
    /// Joins the bus. inVictimMessages: how many messages to victims there can be altogether.
    Observer(std::size_t inVictimMessages, std::uint64_t inSeed);
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;
    ~Observer() override;

    /// Whether just these two are in the list: this one and the one that lives on.
    bool SeesOnlySurvivors();
    /// Whether it has been listed, in this batch.
    bool HasSeen(const std::string& inVictim);
    bool Sees(const std::string& inVictim);
    /// When it went from the list the last time; nothing when it has never been there.
    std::optional<Time> Vanished(const std::string& inVictim);
    /// Forgets the victims of the batch before.
    void BeginBatch();

    /// A message to each victim in the list, up to a number for each, and one to the one that lives on.
    void Send();
    /// So many bytes at once to the one that lives on. False when the library does not take them at once.
    bool Fill(std::size_t inBytes);
    /// Whether everything has come back from the one that lives on.
    bool HasAllEchoes();

    Book& Messages() noexcept { return mBook; }
    std::uint64_t Echoes();
    /// Messages that came twice, out of order, or not at all between those who live.
    std::uint64_t Disordered();

  private:
    struct Victim {
        bool mListed = false;
        std::optional<Time> mVanished;
        std::uint64_t mLastReceived = 0;
        std::size_t mSent = 0;
    };

    void Receive(const orvane::plexa::api5::PlexaMessage& inMessage) override;
    static void OnRefresh(void* inSelf);
    void Look();
    void SendTo(const orvane::plexa::api5::EndPoint& inEndPoint);
    bool SendToSurvivor(std::size_t inSize);

    orvane::plexa::api5::IPlexaMessageDispatcher* mDispatcher = nullptr;
    Random mRandom;
    Book mBook;

    std::mutex mMutex;  // guards what follows
    std::map<std::string, Victim> mVictims;
    bool mOnlySurvivors = false;
    orvane::plexa::api5::EndPoint mSurvivor;
    std::uint64_t mAsked = 0;
    std::uint64_t mEchoed = 0;
    std::uint64_t mDisordered = 0;
};

}  // namespace campaign::deaths
